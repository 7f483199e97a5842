#include "levels.h"

#include "colour.h"
#include "parallel.h"

#include <cmath>
#include <cstdlib>

QRgb level(int v, int black, int white)
{
    if (v > white)
        return 0xFFFFFFFF;
    if (v < black)
        return 0xFF000000;
    int d = white - black;
    if (d < 1)
        d = 1;
    const int g = ((v - black) * 255) / d;
    if (g > 255)
        return 0xFFFFFFFF;
    return opaqueGrey(g);
}

int testw(int a, int b)
{
    Q_UNUSED(b);
    return a;
}

namespace {

// Replaces every pixel by table[red channel]. Direct access for the 32-bit
// formats; any other format goes through pixel() and setPixel().
void mapRedChannel(QImage &image, const QRgb *table)
{
    const int width = image.width();
    const int height = image.height();
    if (image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32) {
        uchar *bits = image.bits();
        const qsizetype bytesPerLine = image.bytesPerLine();
        parallelBands(height, rowsOf(LightBandPixels, width), [&](int first, int end) {
            for (int y = first; y < end; ++y) {
                auto *line = reinterpret_cast<QRgb *>(bits + y * bytesPerLine);
                for (int x = 0; x < width; ++x)
                    line[x] = table[qRed(line[x])];
            }
        });
        return;
    }
    for (int x = 0; x < width; ++x) {
        for (int y = 0; y < height; ++y)
            image.setPixel(x, y, table[qRed(image.pixel(x, y))]);
    }
}

int contrastValue(int v, double k)
{
    double r;
    if (v < 63)
        r = v - k * log(v > 2 ? v : 2);
    else if (v < 127)
        r = v - k * log(126 - v > 2 ? 126 - v : 2);
    else if (v < 191)
        r = v + k * log(v - 126 > 2 ? v - 126 : 2);
    else
        r = v + k * log(abs(v - 252) > 2 ? abs(v - 252) : 2);
    const int g = int(r);
    return g < 0 ? 0 : (g > 255 ? 255 : g);
}

} // namespace

void levelimg(QImage &image, int black, int white)
{
    if (image.width() < 1)
        return;
    QRgb table[256];
    for (int v = 0; v < 256; ++v)
        table[v] = level(v, black, white);
    mapRedChannel(image, table);
}

void contrastimg(QImage &image, int strength)
{
    if (strength < 0 || strength > 255 || image.width() < 1)
        return;
    const double k = strength / 5;
    QRgb table[256];
    for (int v = 0; v < 256; ++v)
        table[v] = opaqueGrey(contrastValue(v, k));
    mapRedChannel(image, table);
}

namespace {

// Every pixel of `layer` takes table[edge] for its edge.
template<typename Pixel>
void mapEdges(QImage &layer, const unsigned char *edges, const Pixel *table,
              const std::function<void(int)> &rowsDone)
{
    const int width = layer.width();
    const qsizetype bytesPerLine = layer.bytesPerLine();
    uchar *bits = layer.bits();
    parallelBands(
            layer.height(), rowsOf(LightBandPixels, width),
            [&](int first, int end) {
                for (int y = first; y < end; ++y) {
                    const unsigned char *row = edges + qsizetype(y) * width;
                    auto *line = reinterpret_cast<Pixel *>(bits + y * bytesPerLine);
                    for (int x = 0; x < width; ++x)
                        line[x] = table[row[x]];
                }
            },
            rowsDone);
}

} // namespace

void penLevels(QImage &layer, const unsigned char *edges, int black, int white,
               const std::function<void(int)> &rowsDone)
{
    if (layer.format() == QImage::Format_Grayscale8) {
        uchar table[256];
        for (int e = 0; e < 256; ++e)
            table[e] = uchar(qRed(level(255 - e, black, white)));
        mapEdges(layer, edges, table, rowsDone);
        return;
    }
    if (layer.depth() != 32)
        return;
    QRgb table[256];
    for (int e = 0; e < 256; ++e)
        table[e] = level(255 - e, black, white);
    mapEdges(layer, edges, table, rowsDone);
}
