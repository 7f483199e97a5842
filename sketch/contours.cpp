#include "contours.h"

#include "levels.h"
#include "multiply.h"

namespace {

// Every layer pixel is an opaque grey, so one product table per edge value
// and channel value covers the whole blend.
template<int (*Channel)(int, int)>
void multiplyGreyLayer(QImage &image, const unsigned char *edges, int black, int white)
{
    const int width = image.width();
    static thread_local unsigned char product[256][256];
    for (int e = 0; e < 256; ++e) {
        const int s = qRed(level(255 - e, black, white));
        for (int d = 0; d < 256; ++d)
            product[e][d] = static_cast<unsigned char>(Channel(d, s));
    }
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        const unsigned char *row = edges + qsizetype(y) * width;
        for (int x = 0; x < width; ++x) {
            const unsigned char *p = product[row[x]];
            const QRgb d = line[x];
            line[x] = qRgb(p[qRed(d)], p[qGreen(d)], p[qBlue(d)]);
        }
    }
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
