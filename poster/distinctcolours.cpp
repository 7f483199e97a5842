#include "distinctcolours.h"

#include "parallel.h"
#include "workingformat.h"

#include <algorithm>
#include <memory>
#include <mutex>

namespace {

// Columns are read a strip at a time: the strip is copied row by row, which
// reads the picture in memory order, and then walked column by column.
constexpr int Strip = 64;
constexpr int ColourGrain = 16384;
// Look-ups are prefetched this many at a time.
constexpr int Batch = 32;

// The tables pay off from pictures of this size up.
constexpr qint64 TablePixels = qint64(1) << 16;

bool isOpaque(const QImage &image)
{
    return qint64(image.width()) * image.height() >= TablePixels && hasOnlyOpaquePixels(image);
}

constexpr size_t RgbValues = size_t(1) << 24;

// The values a scan has met: a bitmap of every RGB value for opaque
// pictures, a hash index otherwise, which numbers them in the order met.
class ColourSet
{
public:
    explicit ColourSet(bool opaque)
        : m_opaque(opaque)
    {
        if (opaque)
            m_bits = LargeArray<quint64>(RgbValues / 64);
    }

    void prefetch(QRgb colour) const
    {
        if (m_opaque)
            __builtin_prefetch(&m_bits[(colour & 0xFFFFFF) >> 6]);
        else
            m_index.prefetch(colour);
    }
    // True when `colour` is new.
    bool insert(QRgb colour)
    {
        if (m_opaque) {
            const quint32 rgb = colour & 0xFFFFFF;
            quint64 &word = m_bits[rgb >> 6];
            const quint64 bit = quint64(1) << (rgb & 63);
            const bool fresh = !(word & bit);
            word |= bit;
            return fresh;
        }
        const int before = m_index.size();
        m_index.insert(colour);
        return m_index.size() > before;
    }
    FlatIndex &index() { return m_index; }

    // The strip being scanned, column by column.
    std::vector<QRgb> strip;
    // The first column of the last band this set scanned.
    int lastBand = -1;

private:
    bool m_opaque;
    LargeArray<quint64> m_bits;
    FlatIndex m_index;
};

// Appends to `found` the values of `colours` that `seen` did not hold, in
// order.
void insertAll(ColourSet &seen, const QRgb *colours, int count, std::vector<QRgb> &found)
{
    for (int i = 0; i < count; ++i) {
        if (seen.insert(colours[i]))
            found.push_back(colours[i]);
    }
}

// Scans the columns of strips first .. end - 1, x outer and y inner, and
// appends to `found` every value that `seen` did not hold yet, in the order
// met.
void scanStrips(const QImage &image, int first, int end, ColourSet &seen, std::vector<QRgb> &found)
{
    const int width = image.width();
    const int height = image.height();
    // QImage::pixel reads an RGB32 pixel as opaque whatever its top byte.
    const QRgb opaque = image.format() == QImage::Format_RGB32 ? 0xFF000000u : 0u;
    WorkingRows rows(image);
    std::vector<QRgb> &strip = seen.strip;
    strip.resize(size_t(std::min(Strip, std::max(width, 1))) * size_t(height));
    bool havePrevious = false;
    QRgb previous = 0;
    for (int left = first * Strip; left < std::min(width, end * Strip); left += Strip) {
        const int columns = std::min(Strip, width - left);
        for (int y = 0; y < height; ++y) {
            const QRgb *line = rows.row(y, left, columns);
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
            seen.prefetch(colour);
            batch[batched++] = colour;
            if (batched == Batch) {
                insertAll(seen, batch, batched, found);
                batched = 0;
            }
        }
        insertAll(seen, batch, batched, found);
    }
}

// The sets of one scan's bands. A set that has scanned only bands before a
// band may scan that band too: what it already holds was met earlier in the
// scan, so leaving it out of the band's list changes no number.
class SetPool
{
public:
    explicit SetPool(bool opaque)
        : m_opaque(opaque)
    {
    }

    std::unique_ptr<ColourSet> take(int band)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            auto usable = m_free.end();
            for (auto it = m_free.begin(); it != m_free.end(); ++it) {
                if ((*it)->lastBand < band
                    && (usable == m_free.end() || (*it)->lastBand > (*usable)->lastBand))
                    usable = it;
            }
            if (usable != m_free.end()) {
                std::unique_ptr<ColourSet> set = std::move(*usable);
                m_free.erase(usable);
                return set;
            }
            ++m_made;
        }
        return std::make_unique<ColourSet>(m_opaque);
    }
    void give(std::unique_ptr<ColourSet> set, int band)
    {
        set->lastBand = band;
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_free.push_back(std::move(set));
    }
    // Once the scan is over.
    int made() const { return m_made; }
    std::unique_ptr<ColourSet> takeAny()
    {
        std::unique_ptr<ColourSet> set = std::move(m_free.back());
        m_free.pop_back();
        return set;
    }

private:
    bool m_opaque;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<ColourSet>> m_free;
    int m_made = 0;
};

} // namespace

DistinctColours::DistinctColours(const QImage &image)
    : m_opaque(isOpaque(image))
{
    if (m_opaque)
        m_clusters = LargeArray<quint8>(RgbValues, LargeArray<quint8>::Uninitialized);
    collect(image);
}

void DistinctColours::setClusters(const std::vector<quint8> &clusters)
{
    if (m_opaque) {
        // Every value has a place of its own in the table.
        parallelBands(size(), ColourGrain, [&](int first, int end) {
            for (int i = first; i < end; ++i)
                m_clusters[m_colours[size_t(i)] & 0xFFFFFF] = clusters[size_t(i)];
        });
        return;
    }
    m_index.remap(std::vector<quint32>(clusters.begin(), clusters.end()));
}

void DistinctColours::collect(const QImage &image)
{
    const int strips = (image.width() + Strip - 1) / Strip;
    // Each band's list, filed under its first strip.
    std::vector<std::vector<QRgb>> found(size_t(std::max(strips, 1)));
    SetPool sets(m_opaque);
    const int grain = int(std::max<qint64>(1, HeavyBandPixels / (qint64(Strip) * image.height())));
    parallelBands(strips, grain, [&](int first, int end) {
        std::unique_ptr<ColourSet> set = sets.take(first);
        scanStrips(image, first, end, *set, found[size_t(first)]);
        sets.give(std::move(set), first);
    });
    if (sets.made() <= 1) {
        // One set scanned every band in order: the lists hold each value
        // once, and its index numbers them already.
        for (const std::vector<QRgb> &list : found)
            m_colours.insert(m_colours.end(), list.begin(), list.end());
        if (sets.made() == 1 && !m_opaque)
            m_index = std::move(sets.takeAny()->index());
        return;
    }
    ColourSet all(m_opaque);
    for (const std::vector<QRgb> &list : found)
        insertAll(all, list.data(), int(list.size()), m_colours);
    if (!m_opaque)
        m_index = std::move(all.index());
}
