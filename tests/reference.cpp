#include "reference.h"

#include <QMap>
#include <QSet>

#include <algorithm>
#include <cmath>

namespace reference {

// The sRGB transfer curve undone and put in percent: a channel byte as a
// fraction of 255 is divided by 12.92 up to 0.04045, and above it is
// ((fraction + 0.055) / 1.055) to the power 2.4.
static double linearPercent(int channelByte)
{
    const double fraction = channelByte / 255.0;
    const double linear
            = fraction <= 0.04045 ? fraction / 12.92 : std::pow((fraction + 0.055) / 1.055, 2.4);
    return linear * 100.0;
}

// CIE's f(t): a cube root above 0.008856, the straight line 7.787 t + 16/116
// below it.
static double cieF(double t)
{
    if (t <= 0.008856)
        return t * 7.787 + 0.13793103448275862;
    return std::pow(t, 0.3333333333333333);
}

int rgbtol(unsigned int rgb)
{
    int L, a, b;
    rgbtolab(rgb, &L, &a, &b);
    return L;
}

void rgbtolab(unsigned int rgb, int *L, int *a, int *b)
{
    const double red = linearPercent(int((rgb >> 16) & 0xFF));
    const double green = linearPercent(int((rgb >> 8) & 0xFF));
    const double blue = linearPercent(int(rgb & 0xFF));
    // X, Y and Z relative to the D65 white.
    const double x = (red * 0.4124 + green * 0.3576 + blue * 0.1805) / 95.047;
    const double y = (red * 0.2126 + green * 0.7152 + blue * 0.0722) / 100.0;
    const double z = (red * 0.0193 + green * 0.1192 + blue * 0.9505) / 108.883;
    *L = int(116 * cieF(y) - 16);
    *a = int(500 * (cieF(x) - cieF(y)));
    *b = int(200 * (cieF(y) - cieF(z)));
}

// f's inverse: the cube, unless that is not above 0.008856, then the line
// solved for t.
static double cieFInverse(double f)
{
    const double cube = std::pow(f, 3.0);
    return cube > 0.008856 ? cube : (f - 0.13793103448275862) / 7.787;
}

// The sRGB curve applied to a linear fraction, scaled to a byte and clamped.
static int companded(double linear)
{
    const double v = linear > 0.0031308 ? 1.055 * std::pow(linear, 0.4166666666666667) - 0.055
                                        : 12.92 * linear;
    const double scaled = v * 255.0;
    if (scaled < 0)
        return 0;
    if (scaled > 255)
        return 255;
    return int(scaled);
}

QRgb lab2rgb(int L, int a, int b)
{
    const double fy = (L + 16) / 116.0;
    const double fx = a / 500.0 + fy;
    const double fz = b / -200.0 + fy;
    const double X = cieFInverse(fx) * 95.047 / 100;
    const double Y = cieFInverse(fy) * 100 / 100;
    const double Z = cieFInverse(fz) * 108.883 / 100;
    const int red = companded(3.2406 * X - 1.5372 * Y - 0.4986 * Z);
    const int green = companded(-0.9689 * X + 1.8758 * Y + 0.0415 * Z);
    const int blue = companded(0.0557 * X - 0.204 * Y + 1.057 * Z);
    return qRgba(red, green, blue, 255);
}

std::vector<double> kernel(int n, double sigma)
{
    const int half = n / 2;
    std::vector<double> w(n);
    double sum = 0;
    for (int i = 0; i < n; ++i) {
        w[i] = sqrt(exp(-((i - half) * (i - half)) / (2 * sigma * sigma))
                    / (6.283 * sigma * sigma));
        sum += w[i];
    }
    for (int i = 0; i < n; ++i)
        w[i] /= sum;
    return w;
}

void blur(const QImage &source, QImage &destination, int n, double sigma)
{
    const int width = source.width(), height = source.height(), half = n / 2;
    const std::vector<double> w = kernel(n, sigma);
    const int bpl = source.bytesPerLine();
    std::vector<unsigned char> temp(size_t(width) * height * 4, 0xCD);
    const uchar *src = source.constBits();
    uchar *dst = destination.bits();
    if (!(half < width - half))
        return;
    for (int y = 0; y < height; ++y) {
        for (int x = half; x < width - half; ++x) {
            for (int c = 0; c < 3; ++c) {
                auto p = [&](int xx) { return int(src[y * bpl + xx * 4 + c]); };
                double sum = p(x) * w[half];
                for (int k = 1; k <= half; ++k)
                    sum += (p(x + k) + p(x - k)) * w[half - k];
                temp[y * bpl + x * 4 + c] = static_cast<unsigned char>(int(sum));
            }
        }
    }
    for (int y = half; y < height - half; ++y) {
        for (int x = half; x < width - half; ++x) {
            for (int c = 0; c < 3; ++c) {
                auto t = [&](int yy) { return int(temp[yy * bpl + x * 4 + c]); };
                uchar &d = dst[y * bpl + x * 4 + c];
                d = static_cast<unsigned char>(int(t(y) * w[half]));
                for (int k = 1; k <= half; ++k)
                    d = static_cast<unsigned char>(int(d + (t(y + k) + t(y - k)) * w[half - k]));
            }
        }
    }
}

QImage blurredCopy(const QImage &image)
{
    QImage blurred = image.copy();
    blur(image, blurred, 7, 1.4);
    const int width = image.width(), height = image.height();
    if (width < 7 || height < 7)
        return blurred;
    for (int x = 0; x < width; ++x) {
        for (int y = 0; y < height; ++y) {
            const int nx = qBound(3, x, width - 4), ny = qBound(3, y, height - 4);
            const QRgb near = blurred.pixel(nx, ny);
            const QRgb own = image.pixel(x, y);
            blurred.setPixel(x, y, (own & 0xFF000000u) | (near & 0x00FFFFFFu));
        }
    }
    return blurred;
}

void labsobellight2(const QImage &picture, unsigned char *edges, const Progress &progress)
{
    QImage image
            = picture.format() == QImage::Format_RGB32 || picture.format() == QImage::Format_ARGB32
            ? picture
            : picture.convertToFormat(QImage::Format_ARGB32);
    const int width = image.width(), height = image.height();
    std::vector<short> lightness(size_t(width) * size_t(height));
    const QImage blurred = blurredCopy(image);
    QSet<QRgb> colours;
    for (int x = 0; x < width; ++x) {
        for (int y = 0; y < height; ++y)
            colours.insert(blurred.pixel(x, y));
        progress.report(30 * x / width);
    }
    QMap<QRgb, short> cache;
    for (QRgb c : colours)
        cache[c] = short(rgbtol(c));
    progress.report(40);
    for (int x = 0; x < width; ++x) {
        for (int y = 0; y < height; ++y)
            lightness[y * width + x] = cache[blurred.pixel(x, y)];
        progress.report(30 * x / width + 40);
    }
    for (int i = 0; i < width * height; ++i)
        edges[i] = 0;
    for (int x = 1; x < width - 1; ++x) {
        for (int y = 1; y < height - 1; ++y) {
            auto P = [&](int dx, int dy) { return int(lightness[(y + dy) * width + x + dx]); };
            const int gx = P(1, -1) + 2 * P(1, 0) + P(1, 1) - P(-1, -1) - 2 * P(-1, 0) - P(-1, 1);
            const int gy = P(-1, 1) + 2 * P(0, 1) + P(1, 1) - P(-1, -1) - 2 * P(0, -1) - P(1, -1);
            const int m = int(sqrt(double(gx * gx + gy * gy)));
            edges[y * width + x] = static_cast<unsigned char>(m < 256 ? m : 255);
        }
        progress.report(30 * x / width + 70);
    }
}

// Above the white level white, below the black level black, and between
// them the span stretched over 0..255 (a span below 1 counts as 1), with
// anything past 255 white; the tests in that order.
QRgb level(int v, int black, int white)
{
    const QRgb whitePixel = qRgb(255, 255, 255);
    const QRgb blackPixel = qRgb(0, 0, 0);
    if (v > white)
        return whitePixel;
    if (v < black)
        return blackPixel;
    const int span = std::max(white - black, 1);
    const int grey = (v - black) * 255 / span;
    return grey > 255 ? whitePixel : qRgb(grey, grey, grey);
}

QImage pensketch(const QImage &source, const unsigned char *edges, int black, int white)
{
    QImage sketch = source.copy();
    sketch.fill(3);
    for (int x = 0; x < source.width(); ++x) {
        for (int y = 0; y < source.height(); ++y)
            sketch.setPixel(x, y, level(255 - edges[y * source.width() + x], black, white));
    }
    return sketch;
}

static QRgb grey(int g)
{
    return 0xFF000000u + unsigned(g) * 65536u + unsigned(g) * 256u + unsigned(g);
}

static int wrapped(qint64 product)
{
    return int(quint32(quint64(product)));
}

QImage pencilhatch(const QImage &source, int density, RandomSequence &random)
{
    QImage result = source.convertToFormat(QImage::Format_ARGB32);
    const int width = source.width(), height = source.height();
    std::vector<unsigned short> tone(size_t(width) * size_t(height));
    for (int x = 0; x < width; ++x) {
        for (int y = 0; y < height; ++y)
            tone[y * width + x]
                    = static_cast<unsigned short>(int(rgbtol(source.pixel(x, y)) * 2.5));
    }
    if (width <= 0)
        return result;
    auto J = [&]() { return wrapped(qint64(random.next()) * 20) / 2147483647; };
    auto stroke = [&](int x, int y, int c, int c2) {
        if (y + 1 < height && y >= 1) {
            result.setPixel(x, y, grey(c));
            result.setPixel(x, y + 1, grey(c2));
            result.setPixel(x, y - 1, grey(c2));
        }
    };
    for (int d = -width; d < width; d += 2) {
        for (int i = 0; i <= width; ++i) {
            const int x = d + i;
            if (0 <= x && x < width) {
                const int y = int(qint64(i) * height / width);
                if (0 <= y && y < height) {
                    const int g = tone[y * width + x];
                    const int t = qMin(g + 10, 255);
                    const int c = qMin(t - 10 + J(), 255);
                    const int c2 = qMin(c + 10, 255);
                    stroke(x, y, c, c2);
                }
            }
        }
    }
    for (int d = -width; d < width; d += density) {
        int offset = 0;
        for (int i = 0; i <= width; ++i) {
            const int yy = int(qint64(i) * height / width);
            const int r = random.next();
            if (i % 7 == 0)
                offset = offset + 1 - wrapped(qint64(r) * 3) / 2147483647;
            const int x = d + i;
            if (0 <= x && x < width) {
                const int y = height - yy + offset;
                if (0 <= y && y < height) {
                    const int g = qMin(int(tone[y * width + x]), 255);
                    int c = g - 10 + J();
                    if (c < 0)
                        c = 0;
                    if (c >= 255)
                        c = 255;
                    const int c2 = qMin(c + 10, 255);
                    random.next();
                    stroke(x, y, c, c2);
                }
            }
        }
    }
    return result;
}

} // namespace reference
