#include "colour.h"

#include <QColor>

#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

// One channel linearised by the sRGB curve and scaled to 0..100.
double linearised(int channel)
{
    double v = channel / 255.0;
    if (v > 0.04045)
        v = pow((v + 0.055) / 1.055, 2.4);
    else
        v = v / 12.92;
    return v * 100.0;
}

double cubeRoot(double t)
{
    if (t > 0.008856)
        return pow(t, 0.3333333333333333);
    return t * 7.787 + 0.13793103448275862;
}

int lightnessOfY(double y)
{
    return int(116.0 * cubeRoot(y) - 16.0);
}

double labDistance(int dL, int da, int db)
{
    return sqrt(double(dL * dL + da * da + db * db));
}

} // namespace

int rgbtol(unsigned int rgb, int *L)
{
    const double R = linearised(qRed(rgb));
    const double G = linearised(qGreen(rgb));
    const double B = linearised(qBlue(rgb));
    const double Y = (R * 0.2126 + G * 0.7152 + B * 0.0722) / 100.0;
    *L = lightnessOfY(Y);
    return *L;
}

void rgbtolab(unsigned int rgb, int *L, int *a, int *b)
{
    const double R = linearised(qRed(rgb));
    const double G = linearised(qGreen(rgb));
    const double B = linearised(qBlue(rgb));
    const double X = (R * 0.4124 + G * 0.3576 + B * 0.1805) / 95.047;
    const double Y = (R * 0.2126 + G * 0.7152 + B * 0.0722) / 100.0;
    const double Z = (R * 0.0193 + G * 0.1192 + B * 0.9505) / 108.883;
    const double fx = cubeRoot(X);
    const double fy = cubeRoot(Y);
    const double fz = cubeRoot(Z);
    *L = int(116 * fy - 16);
    *a = int(500 * (fx - fy));
    *b = int(200 * (fy - fz));
}

namespace {

double uncubed(double f)
{
    double t = pow(f, 3.0);
    if (!(t > 0.008856))
        t = (f - 0.13793103448275862) / 7.787;
    return t;
}

double companded(double v)
{
    if (v > 0.0031308)
        return 1.055 * pow(v, 0.4166666666666667) - 0.055;
    return 12.92 * v;
}

int clampedChannel(double v)
{
    v = v * 255.0;
    if (v < 0)
        return 0;
    if (v > 255)
        return 255;
    return int(v);
}

} // namespace

QRgb lab2rgb(int L, int a, int b)
{
    const double fy = (L + 16) / 116.0;
    const double fx = a / 500.0 + fy;
    const double fz = b / -200.0 + fy;
    const double X = uncubed(fx) * 95.047 / 100;
    const double Y = uncubed(fy) * 100 / 100;
    const double Z = uncubed(fz) * 108.883 / 100;
    const double r = 3.2406 * X - 1.5372 * Y - 0.4986 * Z;
    const double g = -0.9689 * X + 1.8758 * Y + 0.0415 * Z;
    const double bl = 0.0557 * X - 0.204 * Y + 1.057 * Z;
    QColor colour;
    colour.setRgb(clampedChannel(companded(r)), clampedChannel(companded(g)),
                  clampedChannel(companded(bl)));
    return colour.rgb();
}

int labdiff(short L1, short a1, short b1, short L2, short a2, short b2)
{
    return int(labDistance(L1 - L2, a1 - a2, b1 - b2));
}

int labdiff(unsigned int rgb1, unsigned int rgb2)
{
    int L1, a1, b1, L2, a2, b2;
    rgbtolab(rgb1, &L1, &a1, &b1);
    rgbtolab(rgb2, &L2, &a2, &b2);
    return int(labDistance(L1 - L2, a1 - a2, b1 - b2));
}

const LightnessTable &LightnessTable::instance()
{
    static const LightnessTable table;
    return table;
}

namespace {

// The smallest non-negative sum s with lightnessOfY(s / 100.0) >= L.
// Positive doubles order like their bit patterns, so the search runs on
// those.
double firstSumOf(int L)
{
    uint64_t low = 0;
    double top = 200.0;
    uint64_t high;
    memcpy(&high, &top, sizeof high);
    while (low < high) {
        const uint64_t mid = low + (high - low) / 2;
        double sum;
        memcpy(&sum, &mid, sizeof sum);
        if (lightnessOfY(sum / 100.0) >= L)
            high = mid;
        else
            low = mid + 1;
    }
    double sum;
    memcpy(&sum, &low, sizeof sum);
    return sum;
}

} // namespace

LightnessTable::LightnessTable()
{
    for (int c = 0; c < 256; ++c) {
        const double v = linearised(c);
        m_red[c] = v * 0.2126;
        m_green[c] = v * 0.7152;
        m_blue[c] = v * 0.0722;
    }
    // Lightness reaches 100 (white) at most; the thresholds of 1..101 cover
    // every sum a colour can give.
    double thresholds[102];
    for (int L = 1; L <= 101; ++L)
        thresholds[L] = firstSumOf(L);
    int L = lightnessOfY(0.0);
    for (int bucket = 0; bucket <= Buckets; ++bucket) {
        const double start = double(bucket) / BucketsPerUnit;
        const double end = double(bucket + 1) / BucketsPerUnit;
        while (L < 101 && thresholds[L + 1] <= start)
            ++L;
        m_low[bucket] = static_cast<unsigned char>(L);
        m_threshold[bucket] = (L < 101 && thresholds[L + 1] < end) ? thresholds[L + 1] : 1e300;
    }
}
