#include "distinctcolours.h"

#include <algorithm>

namespace {

// Columns are read a strip at a time: the strip is copied row by row, which
// reads the picture in memory order, and then walked column by column.
constexpr int Strip = 64;
// Look-ups are prefetched this many at a time.
constexpr int Batch = 32;

} // namespace

namespace {

// The tables pay off from pictures of this size up.
constexpr qint64 TablePixels = qint64(1) << 16;

bool isOpaque(const QImage &image)
{
    if (qint64(image.width()) * image.height() < TablePixels)
        return false;
    if (image.format() == QImage::Format_RGB32)
        return true;
    for (int y = 0; y < image.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        QRgb all = 0xFF000000u;
        for (int x = 0; x < image.width(); ++x)
            all &= line[x];
        if (all < 0xFF000000u)
            return false;
    }
    return true;
}

constexpr size_t RgbValues = size_t(1) << 24;

} // namespace

// Inserts in order, so that the numbers follow the scan.
void DistinctColours::insertAll(const QRgb *colours, int count)
{
    if (m_opaque) {
        for (int i = 0; i < count; ++i) {
            const quint32 rgb = colours[i] & 0xFFFFFF;
            quint64 &word = m_seen[rgb >> 6];
            const quint64 bit = quint64(1) << (rgb & 63);
            if (!(word & bit)) {
                word |= bit;
                m_colours.push_back(colours[i]);
            }
        }
        return;
    }
    for (int i = 0; i < count; ++i) {
        if (m_index.insert(colours[i]) == quint32(m_colours.size()))
            m_colours.push_back(colours[i]);
    }
}

DistinctColours::DistinctColours(const QImage &image)
    : m_opaque(isOpaque(image))
{
    if (m_opaque) {
        m_seen = LargeArray<quint64>(RgbValues / 64);
        m_clusters = LargeArray<quint8>(RgbValues, LargeArray<quint8>::Uninitialized);
    }
    collect(image);
}

void DistinctColours::setClusters(const std::vector<quint8> &clusters)
{
    if (m_opaque) {
        for (size_t i = 0; i < m_colours.size(); ++i)
            m_clusters[m_colours[i] & 0xFFFFFF] = clusters[i];
        return;
    }
    m_index.remap(std::vector<quint32>(clusters.begin(), clusters.end()));
}

void DistinctColours::collect(const QImage &image)
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
            if (m_opaque)
                __builtin_prefetch(&m_seen[(colour & 0xFFFFFF) >> 6]);
            else
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
