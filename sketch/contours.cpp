#include "contours.h"

#include "blurrows.h"
#include "levels.h"
#include "multiply.h"
#include "parallel.h"

#include <vector>

namespace {

// Every layer pixel is an opaque grey s = level(255 - edge): one table of
// 256 greys, then the channel products row by row, a loop the compiler
// vectorises.
template<int (*Channel)(int, int)>
KESTROVA_VECTOR_CLONES void multiplyRow(QRgb *line, const unsigned char *greys, int width)
{
    for (int x = 0; x < width; ++x) {
        const QRgb d = line[x];
        const int s = greys[x];
        line[x] = 0xFF000000u | (unsigned(Channel(int((d >> 16) & 0xFF), s)) << 16)
                | (unsigned(Channel(int((d >> 8) & 0xFF), s)) << 8)
                | unsigned(Channel(int(d & 0xFF), s));
    }
}

template<int (*Channel)(int, int)>
void multiplyGreyLayer(QImage &image, const unsigned char *edges, int black, int white)
{
    const int width = image.width();
    unsigned char greyOfEdge[256];
    for (int e = 0; e < 256; ++e)
        greyOfEdge[e] = static_cast<unsigned char>(qRed(level(255 - e, black, white)));
    uchar *bits = image.bits();
    const qsizetype bytesPerLine = image.bytesPerLine();
    parallelBands(image.height(), rowsOf(LightBandPixels, width), [&](int first, int end) {
        std::vector<unsigned char> greys(width);
        for (int y = first; y < end; ++y) {
            const unsigned char *row = edges + qsizetype(y) * width;
            for (int x = 0; x < width; ++x)
                greys[x] = greyOfEdge[row[x]];
            multiplyRow<Channel>(reinterpret_cast<QRgb *>(bits + y * bytesPerLine), greys.data(),
                                 width);
        }
    });
}

} // namespace

QImage contourLayer(QSize size, const unsigned char *edges, int black, int white)
{
    QImage layer(size, QImage::Format_ARGB32);
    penLevels(layer, edges, black, white);
    return layer;
}

void multiplyContours(QImage &image, const unsigned char *edges, int black, int white)
{
    if (!isOpaque32(image)) {
        multiply(image, contourLayer(image.size(), edges, black, white));
        return;
    }
    if (image.format() == QImage::Format_RGB32)
        multiplyGreyLayer<multiplyChannelRgb32>(image, edges, black, white);
    else
        multiplyGreyLayer<multiplyChannelArgb32>(image, edges, black, white);
}

QImage withContours(const QImage &picture, const unsigned char *edges,
                    const ContourSettings &contours)
{
    QImage result = picture.copy();
    if (contours.on && result.width() > 0 && result.height() > 0)
        multiplyContours(result, edges, contours.black, contours.white);
    return result;
}
