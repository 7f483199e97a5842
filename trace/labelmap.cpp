#include "labelmap.h"

#include "parallel.h"

namespace {

template<typename Label>
LabelMap labelsOf(const QImage &picture, Label label)
{
    const QImage rgb
            = picture.format() == QImage::Format_RGB32 || picture.format() == QImage::Format_ARGB32
            ? picture
            : picture.convertToFormat(QImage::Format_ARGB32);
    LabelMap map;
    map.width = rgb.width();
    map.height = rgb.height();
    map.labels.resize(size_t(map.width) * size_t(map.height));
    parallelBands(map.height, rowsOf(LightBandPixels, map.width), [&](int first, int end) {
        for (int y = first; y < end; ++y) {
            const QRgb *row = reinterpret_cast<const QRgb *>(rgb.constScanLine(y));
            quint32 *out = map.labels.data() + size_t(y) * size_t(map.width);
            for (int x = 0; x < map.width; ++x)
                out[x] = label(row[x]);
        }
    });
    return map;
}

} // namespace

LabelMap colourLabels(const QImage &picture)
{
    return labelsOf(picture, [](QRgb pixel) { return quint32(pixel & 0xFFFFFFu); });
}

LabelMap inkLabels(const QImage &drawing, int threshold)
{
    return labelsOf(drawing, [threshold](QRgb pixel) { return quint32(qGray(pixel) < threshold); });
}
