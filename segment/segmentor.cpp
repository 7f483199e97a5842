#include "segmentor.h"

#include "flatindex.h"
#include "imagebuffer.h"
#include "labconvert.h"
#include "segmentlog.h"
#include "workingformat.h"

#include "colour.h"
#include "vectorclones.h"

#include <algorithm>
#include <cmath>

Q_LOGGING_CATEGORY(lcSegment, "kestrova.segment", QtInfoMsg)

// The records start on a cache line; large arrays start on a huge page
// already.
ClusterArray::ClusterArray(size_t size)
    : m_bytes(size * sizeof(CCluster) + 64)
    , m_size(size)
{
    m_memory = allocateLarge(m_bytes);
    const auto start = (reinterpret_cast<quintptr>(m_memory) + 63) & ~quintptr(63);
    m_data = reinterpret_cast<CCluster *>(start);
}

ClusterArray::~ClusterArray()
{
    releaseLarge(m_memory, m_bytes);
}

CSegmentor::CSegmentor(const QImage &image, int clusterSize, Entries entries)
    : m_image(toWorkingFormat(image))
    , m_width(image.width())
    , m_height(image.height())
    , m_clusterthresh(qint16(clusterSize))
    , m_wide(entries == Entries::Wide || !packs(size_t(m_width) * size_t(m_height)))
    , m_clusters(size_t(m_width) * size_t(m_height))
    , m_eaters(m_clusters.size(), LargeArray<qint32>::Uninitialized)
{
    const std::vector<quint32> colours = makeClusters();
    qCDebug(lcSegment) << "Clusters created";
    wire(colours);
    m_prevval = 0;
}

// The colour of the cluster of every pixel, numbered column by column: the
// number of the pixel's Lab colour. The colours are converted once per
// distinct value, and numbered once per distinct Lab colour.
std::vector<quint32> CSegmentor::makeClusters()
{
    FlatIndex values;
    std::vector<QRgb> distinct;
    std::vector<quint32> valueOf(m_clusters.size());
    const QRgb opaque = m_image.format() == QImage::Format_RGB32 ? 0xFF000000u : 0u;
    for (int y = 0; y < m_height; ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(m_image.constScanLine(y));
        for (int x = 0; x < m_width; ++x) {
            const QRgb value = line[x] | opaque;
            const quint32 number = values.insert(value);
            if (number == distinct.size())
                distinct.push_back(value);
            valueOf[size_t(clusterAt(x, y))] = number;
        }
    }
    std::vector<qint16> L(distinct.size()), a(distinct.size()), b(distinct.size());
    rgbtolabMany(distinct.data(), distinct.size(), L.data(), a.data(), b.data());
    // Lab colours fit in 10 bits a component.
    FlatIndex labs;
    std::vector<quint32> colourOfValue(distinct.size());
    for (size_t i = 0; i < distinct.size(); ++i) {
        const quint32 key = (quint32(L[i] & 0x3FF) << 20) | (quint32(a[i] & 0x3FF) << 10)
                | quint32(b[i] & 0x3FF);
        colourOfValue[i] = labs.insert(key);
        if (colourOfValue[i] == m_colourLabs.size())
            m_colourLabs.push_back(Labstruct {L[i], a[i], b[i]});
    }
    m_colourRgbs.assign(m_colourLabs.size(), 0);
    m_colourRgbKnown.assign(m_colourLabs.size(), false);
    for (quint32 &value : valueOf)
        value = colourOfValue[value];
    if (m_clusters.size() > 0)
        qCDebug(lcSegment) << "sizeof cluster is" << sizeof(CCluster);
    return valueOf;
}

namespace {

// The distance from every cluster to the cluster `step` numbers on, for the
// clusters 0 .. count - step - 1, as clabdiff() gives it (the sum of the
// squares is an exact integer either way).
KESTROVA_VECTOR_CLONES
void distancesAhead(const qint16 *L, const qint16 *a, const qint16 *b, int count, int step,
                    quint16 *out)
{
    for (int c = 0; c + step < count; ++c) {
        const int dL = L[c] - L[c + step];
        const int da = a[c] - a[c + step];
        const int db = b[c] - b[c + step];
        out[c] = quint16(int(std::sqrt(double(dL * dL + da * da + db * db))));
    }
}

} // namespace

// The distances from each cluster to the four clusters after it among its
// neighbours: towards (x, y + 1), (x + 1, y), (x + 1, y + 1) and
// (x + 1, y - 1).
struct DistancesAhead
{
    std::vector<quint16> down, right, downRight, upRight;
};

namespace {

// The neighbours of the cluster at (x, y) in the order of their numbers
// (x outer, y inner), each with its distance; each distance was computed
// once for the pair.
template<typename Add>
void neighbourhood(const DistancesAhead &ahead, int w, int h, int x, int y, Add add)
{
    const int c = x * h + y;
    if (x > 0) {
        if (y > 0)
            add(c - h - 1, ahead.downRight[size_t(c - h - 1)]);
        add(c - h, ahead.right[size_t(c - h)]);
        if (y + 1 < h)
            add(c - h + 1, ahead.upRight[size_t(c - h + 1)]);
    }
    if (y > 0)
        add(c - 1, ahead.down[size_t(c - 1)]);
    if (y + 1 < h)
        add(c + 1, ahead.down[size_t(c)]);
    if (x + 1 < w) {
        if (y > 0)
            add(c + h - 1, ahead.upRight[size_t(c)]);
        add(c + h, ahead.right[size_t(c)]);
        if (y + 1 < h)
            add(c + h + 1, ahead.downRight[size_t(c)]);
    }
}

} // namespace

// Every cluster gets its eight neighbours (fewer at the border) with their
// distances, and its likeness, and is filed, row by row. The records are
// large and filed across the order they lie in, so the likenesses and the
// slots are worked out first in small arrays, and each record is then
// written once, in order.
void CSegmentor::wire(const std::vector<quint32> &colours)
{
    const size_t size = m_clusters.size();
    const int count = int(size);
    const int h = m_height;
    // At a size below 1 every cluster is full from the start: it keeps no
    // neighbours, tells no one, and waits at NeverMerges.
    const bool full = m_clusterthresh < 1;
    DistancesAhead ahead;
    std::vector<quint16> likeness(size, NeverMerges);
    if (!full && size > 0) {
        std::vector<qint16> L(size), a(size), b(size);
        for (size_t c = 0; c < size; ++c) {
            const Labstruct &colour = m_colourLabs[colours[c]];
            L[c] = colour.L;
            a[c] = colour.a;
            b[c] = colour.b;
        }
        for (auto *distances : {&ahead.down, &ahead.right, &ahead.downRight, &ahead.upRight})
            distances->resize(size);
        distancesAhead(L.data(), a.data(), b.data(), count, 1, ahead.down.data());
        distancesAhead(L.data(), a.data(), b.data(), count, h, ahead.right.data());
        distancesAhead(L.data(), a.data(), b.data(), count, h + 1, ahead.downRight.data());
        distancesAhead(L.data(), a.data(), b.data(), count, h - 1, ahead.upRight.data());
        for (int x = 0, c = 0; x < m_width; ++x) {
            for (int y = 0; y < h; ++y, ++c) {
                quint16 least = LikenessCeiling;
                bool any = false;
                neighbourhood(ahead, m_width, h, x, y, [&](int, quint16 distance) {
                    least = std::min(least, distance);
                    any = true;
                });
                likeness[size_t(c)] = any ? least : NeverMerges;
            }
        }
    }
    std::vector<qint32> filedSlots(size);
    for (int y = 0; y < m_height; ++y) {
        for (int x = 0; x < m_width; ++x) {
            const int c = clusterAt(x, y);
            const qint64 handle = m_queue.Register(c, likeness[size_t(c)]);
            filedSlots[size_t(c)] = handle2index(quint64(handle));
        }
    }
    withEntries([&](auto form) {
        writeClusters<decltype(form)>(colours, full ? nullptr : &ahead, likeness, filedSlots);
    });
}

template<typename Form>
void CSegmentor::writeClusters(const std::vector<quint32> &colours, const DistancesAhead *ahead,
                               const std::vector<quint16> &likeness,
                               const std::vector<qint32> &filedSlots)
{
    NeighbourPool<Form> &pool = lists<Form>().pool;
    for (int x = 0, c = 0; x < m_width; ++x) {
        for (int y = 0; y < m_height; ++y, ++c) {
            CCluster &cluster = at(c);
            cluster.m_likeness = likeness[size_t(c)];
            cluster.m_filedAt = likeness[size_t(c)];
            cluster.m_slot = filedSlots[size_t(c)];
            cluster.m_pixelCount = 1;
            cluster.m_colour = qint32(colours[size_t(c)]);
            cluster.m_lab = m_colourLabs[colours[size_t(c)]];
            cluster.m_deleted = false;
            m_eaters[size_t(c)] = c;
            NeighbourPool<Form>::clear(cluster.m_neighbours);
            if (!ahead)
                continue;
            // Eight packed entries fill the record's room as they are.
            typename Form::Word entries[8]
                    = {Form::Unused, Form::Unused, Form::Unused, Form::Unused,
                       Form::Unused, Form::Unused, Form::Unused, Form::Unused};
            quint32 n = 0;
            neighbourhood(*ahead, m_width, m_height, x, y, [&](int key, quint16 distance) {
                entries[n++] = Form::make(quint32(key), distance);
            });
            if constexpr (NeighbourPool<Form>::Inline == 8) {
                std::copy(entries, entries + 8, cluster.m_neighbours.words(entries));
                cluster.m_neighbours.setSize(n);
            } else {
                pool.assign(cluster.m_neighbours, entries, n);
            }
        }
    }
}

void CSegmentor::remove(int c)
{
    CCluster &cluster = at(c);
    if (!cluster.m_deleted)
        recordRemoval(c);
    cluster.m_deleted = true;
    cluster.m_slot = -1;
    withEntries([&](auto form) { lists<decltype(form)>().pool.release(cluster.m_neighbours); });
}

void CSegmentor::setJournaling(bool on)
{
    m_journaling = on;
    checkpoint();
}

// A cluster removed since the checkpoint was alive then, and every live
// cluster is its own eater.
void CSegmentor::rollback()
{
    for (auto entry = m_recoloured.rbegin(); entry != m_recoloured.rend(); ++entry) {
        CCluster &cluster = at(entry->first);
        cluster.m_colour = entry->second;
        cluster.m_lab = m_colourLabs[size_t(entry->second)];
    }
    for (qint32 c : m_removed) {
        at(c).m_deleted = false;
        m_eaters[size_t(c)] = c;
    }
    checkpoint();
}

void CSegmentor::discard(int c)
{
    if (at(c).m_slot >= 0)
        m_queue.Remove(at(c).handle());
    remove(c);
}

int CSegmentor::rootOf(int c)
{
    int root = c;
    while (m_eaters[size_t(root)] != root)
        root = m_eaters[size_t(root)];
    // Every cluster on the way now points at the root.
    while (m_eaters[size_t(c)] != root) {
        const int next = m_eaters[size_t(c)];
        m_eaters[size_t(c)] = root;
        c = next;
    }
    return root;
}

QRgb CSegmentor::color(int c)
{
    const size_t colour = size_t(at(c).m_colour);
    if (!m_colourRgbKnown[colour]) {
        const Labstruct &lab = m_colourLabs[colour];
        m_colourRgbs[colour] = lab2rgb(lab.L, lab.a, lab.b);
        m_colourRgbKnown[colour] = true;
    }
    return m_colourRgbs[colour];
}

// The regions' pixels are disjoint, so each pixel is simply painted with the
// colour of the live region it belongs to, or keeps the fill value. Columns
// are resolved a strip at a time, in cluster order, and written row by row.
QImage CSegmentor::CurrentImage()
{
    QImage image = newImage(m_image, m_image.format());
    // Pixels of no live region keep this value, a transparent near-black.
    image.fill(2u);
    if (m_width < 1 || m_height < 1)
        return image;
    const QRgb fill = image.pixel(0, 0);
    constexpr int Strip = 16;
    std::vector<QRgb> strip(size_t(Strip) * size_t(m_height));
    for (int left = 0; left < m_width; left += Strip) {
        const int columns = std::min(Strip, m_width - left);
        for (int column = 0; column < columns; ++column) {
            QRgb *out = strip.data() + size_t(column) * size_t(m_height);
            const int first = clusterAt(left + column, 0);
            for (int y = 0; y < m_height; ++y) {
                const int root = rootOf(first + y);
                out[y] = at(root).m_deleted ? fill : color(root);
            }
        }
        for (int y = 0; y < m_height; ++y) {
            auto *line = reinterpret_cast<QRgb *>(image.scanLine(y)) + left;
            for (int column = 0; column < columns; ++column)
                line[column] = strip[size_t(column) * size_t(m_height) + size_t(y)];
        }
    }
    return image;
}

std::vector<QPoint> CSegmentor::pixels(int c)
{
    std::vector<QPoint> points;
    for (int x = 0; x < m_width; ++x) {
        for (int y = 0; y < m_height; ++y) {
            if (rootOf(clusterAt(x, y)) == c && !at(c).m_deleted)
                points.push_back(QPoint(x, y));
        }
    }
    return points;
}

std::vector<std::pair<int, int>> CSegmentor::neighbours(int c) const
{
    std::vector<std::pair<int, int>> list;
    withEntries([&](auto form) {
        const auto own = lists<decltype(form)>().pool.view(cluster(c).m_neighbours);
        for (quint32 i = 0; i < own.size; ++i)
            list.emplace_back(int(own.key(i)), int(own.distance(i)));
    });
    return list;
}
