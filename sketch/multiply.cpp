#include "multiply.h"

#include <QPainter>

bool isOpaque32(const QImage &image)
{
    if (image.format() == QImage::Format_RGB32)
        return true;
    if (image.format() != QImage::Format_ARGB32)
        return false;
    for (int y = 0; y < image.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(line[x]) != 255)
                return false;
        }
    }
    return true;
}

namespace {

template<int (*Channel)(int, int)>
void multiplyOpaque(QImage &destination, const QImage &layer)
{
    for (int y = 0; y < destination.height(); ++y) {
        auto *d = reinterpret_cast<QRgb *>(destination.scanLine(y));
        const auto *s = reinterpret_cast<const QRgb *>(layer.constScanLine(y));
        for (int x = 0; x < destination.width(); ++x) {
            d[x] = qRgb(Channel(qRed(d[x]), qRed(s[x])), Channel(qGreen(d[x]), qGreen(s[x])),
                        Channel(qBlue(d[x]), qBlue(s[x])));
        }
    }
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
