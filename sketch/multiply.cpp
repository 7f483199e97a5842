#include "multiply.h"

#include "parallel.h"
#include "workingformat.h"

#include <QPainter>

bool isOpaque32(const QImage &image)
{
    return isWorkingFormat(image.format()) && hasOnlyOpaquePixels(image);
}

namespace {

template<int (*Channel)(int, int)>
void multiplyOpaque(QImage &destination, const QImage &layer)
{
    uchar *to = destination.bits();
    const qsizetype toBytesPerLine = destination.bytesPerLine();
    const uchar *from = layer.constBits();
    const qsizetype fromBytesPerLine = layer.bytesPerLine();
    const int width = destination.width();
    parallelBands(destination.height(), rowsOf(LightBandPixels, width), [&](int first, int end) {
        for (int y = first; y < end; ++y) {
            auto *d = reinterpret_cast<QRgb *>(to + y * toBytesPerLine);
            const auto *s = reinterpret_cast<const QRgb *>(from + y * fromBytesPerLine);
            for (int x = 0; x < width; ++x) {
                d[x] = qRgb(Channel(qRed(d[x]), qRed(s[x])), Channel(qGreen(d[x]), qGreen(s[x])),
                            Channel(qBlue(d[x]), qBlue(s[x])));
            }
        }
    });
}

} // namespace

void multiply(QImage &destination, const QImage &layer)
{
    // Opaque pictures of one size take the direct path; anything else is
    // left to QPainter itself.
    if (destination.size() == layer.size() && isOpaque32(destination) && isOpaque32(layer)) {
        if (destination.format() == QImage::Format_RGB32)
            multiplyOpaque<multiplyChannelRgb32>(destination, layer);
        else
            multiplyOpaque<multiplyChannelArgb32>(destination, layer);
        return;
    }
    QPainter painter(&destination);
    painter.setCompositionMode(QPainter::CompositionMode_Multiply);
    painter.drawImage(0, 0, layer);
    painter.end();
}
