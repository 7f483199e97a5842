#include "distinctcolours.h"

#include <algorithm>

namespace {

// Columns are read a strip at a time: the strip is copied row by row, which
// reads the picture in memory order, and then walked column by column.
constexpr int Strip = 64;
// Look-ups are prefetched this many at a time.
constexpr int Batch = 32;

} // namespace

// Inserts in order, so that the numbers follow the scan.
void DistinctColours::insertAll(const QRgb *colours, int count)
{
    for (int i = 0; i < count; ++i) {
        if (m_index.insert(colours[i]) == quint32(m_colours.size()))
            m_colours.push_back(colours[i]);
    }
}

DistinctColours::DistinctColours(const QImage &image)
{
    const int width = image.width();
    const int height = image.height();
    // QImage::pixel reads an RGB32 pixel as opaque whatever its top byte.
    const QRgb opaque = image.format() == QImage::Format_RGB32 ? 0xFF000000u : 0u;
    std::vector<QRgb> strip(size_t(std::min(Strip, std::max(width, 1))) * size_t(height));
    bool havePrevious = false;
    QRgb previous = 0;
    for (int left = 0; left < width; left += Strip) {
        const int columns = std::min(Strip, width - left);
        for (int y = 0; y < height; ++y) {
            const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y)) + left;
            for (int c = 0; c < columns; ++c)
                strip[size_t(c) * size_t(height) + size_t(y)] = line[c] | opaque;
        }
        const size_t count = size_t(columns) * size_t(height);
        QRgb batch[Batch];
        int batched = 0;
        for (size_t i = 0; i < count; ++i) {
            const QRgb colour = strip[i];
            // A run of one colour down a column needs one look-up.
            if (havePrevious && colour == previous)
                continue;
            previous = colour;
            havePrevious = true;
            m_index.prefetch(colour);
            batch[batched++] = colour;
            if (batched == Batch) {
                insertAll(batch, batched);
                batched = 0;
            }
        }
        insertAll(batch, batched);
    }
}
