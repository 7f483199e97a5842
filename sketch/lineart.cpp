#include "lineart.h"

#include "picturemeta.h"
#include "workingformat.h"

QImage lineArt(const QImage &drawing)
{
    const QImage source = toWorkingFormat(drawing);
    QImage layer(source.size(), QImage::Format_ARGB32);
    if (layer.isNull() || source.isNull())
        return {};
    // RGB32 pixels are opaque whatever their top byte holds.
    const QRgb opaque = source.format() == QImage::Format_RGB32 ? 0xFF000000u : 0u;
    for (int y = 0; y < source.height(); ++y) {
        const auto *in = reinterpret_cast<const QRgb *>(source.constScanLine(y));
        auto *out = reinterpret_cast<QRgb *>(layer.scanLine(y));
        for (int x = 0; x < source.width(); ++x)
            out[x] = lineArtPixel(in[x] | opaque);
    }
    copyResolutionAndText(drawing, layer);
    return layer;
}
