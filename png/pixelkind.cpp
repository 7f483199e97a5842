#include "pixelkind.h"

PixelKind rowKind(const QRgb *row, int width)
{
    // Branch-free, so that the loop vectorises: any bit that differs between
    // red and green or green and blue stays set in `difference`, and any
    // alpha bit that is clear stays clear in `alpha`.
    quint32 difference = 0;
    quint32 alpha = 0xFF;
    for (int x = 0; x < width; ++x) {
        const quint32 pixel = row[x];
        difference |= (pixel ^ (pixel >> 8)) & 0xFFFFu;
        alpha &= pixel >> 24;
    }
    return {difference == 0, alpha == 0xFF};
}

PixelKind rowsKind(const QImage &image, int first, int end)
{
    const bool alphaMatters = image.format() != QImage::Format_RGB32;
    PixelKind kind;
    for (int y = first; y < end && (kind.grey || (alphaMatters && kind.opaque)); ++y) {
        PixelKind row
                = rowKind(reinterpret_cast<const QRgb *>(image.constScanLine(y)), image.width());
        if (!alphaMatters)
            row.opaque = true;
        kind &= row;
    }
    return kind;
}
