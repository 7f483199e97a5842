// The picture of the segmentation kept up to date from level to level.

#include "segmentor.h"

#include "changemap.h"
#include "colour.h"
#include "parallel.h"

#include <algorithm>
#include <mutex>

namespace {

constexpr int Strip = 16;
// No pixel takes the value 0: regions are opaque, and the value of no region
// is 2.
constexpr QRgb Unchanged = 0;

} // namespace

QRgb CSegmentor::noRegion() const
{
    // What QImage::fill(2) leaves, as pixel() reads it back.
    return m_image.format() == QImage::Format_RGB32 ? 0xFF000002u : 0x00000002u;
}

void CSegmentor::knowAllColours()
{
    if (m_allColoursKnown)
        return;
    for (size_t colour = 0; colour < m_colourLabs.size(); ++colour) {
        if (!m_colourRgbKnown[colour]) {
            const Labstruct &lab = m_colourLabs[colour];
            m_colourRgbs[colour] = lab2rgb(lab.L, lab.a, lab.b);
            m_colourRgbKnown[colour] = true;
        }
    }
    m_allColoursKnown = true;
}

void CSegmentor::updateImage(QImage &image, bool whole, ChangeMap &changed)
{
    changed.reset(m_width, m_height);
    if (m_width > 0 && m_height > 0)
        paintRegions(image, whole, changed);
    checkpoint();
}

// A pixel keeps its value unless the region it was painted with was removed
// (eaten, or deleted) or recoloured since: only these are journaled, and
// only they are painted again. Their regions are found in bands of strips
// of columns on several threads, which only read the eaters. The eaters of
// the strips painted then point at the regions, as rootOf() would leave them.
void CSegmentor::paintRegions(QImage &image, bool whole, ChangeMap &changed)
{
    knowAllColours();
    if (m_regions.size() != m_eaters.size())
        m_regions = LargeArray<qint32>(m_eaters.size(), LargeArray<qint32>::Uninitialized);
    if (!whole) {
        m_marks.resize(m_clusters.size(), 0);
        for (const qint32 c : m_removed)
            m_marks[size_t(c)] = 1;
        for (const auto &entry : m_recoloured)
            m_marks[size_t(entry.first)] = 1;
    }
    // Taken once: no thread detaches the picture.
    uchar *const bits = image.bits();
    const qsizetype stride = image.bytesPerLine();
    const int strips = (m_width + Strip - 1) / Strip;
    std::vector<char> painted(size_t(strips), 0);
    std::mutex joining;
    parallelBands(strips, 1, [&](int first, int end) {
        ChangeMap found;
        found.reset(m_width, m_height);
        std::vector<QRgb> strip(size_t(Strip) * size_t(m_height));
        for (int s = first; s < end; ++s)
            painted[size_t(s)] = paintStrip(bits, stride, whole, s * Strip, strip, found);
        const std::lock_guard<std::mutex> lock(joining);
        changed.add(found);
    });
    parallelBands(strips, 1, [&](int first, int end) {
        for (int s = first; s < end; ++s) {
            if (!painted[size_t(s)])
                continue;
            const size_t begin = size_t(clusterAt(s * Strip, 0));
            const size_t last = size_t(clusterAt(std::min(m_width, (s + 1) * Strip), 0));
            std::copy(m_regions.begin() + begin, m_regions.begin() + last,
                      m_eaters.begin() + begin);
        }
    });
    if (whole) {
        changed.markAll();
        return;
    }
    for (const qint32 c : m_removed)
        m_marks[size_t(c)] = 0;
    for (const auto &entry : m_recoloured)
        m_marks[size_t(entry.first)] = 0;
}

// The columns left .. left + Strip - 1 are resolved column by column, in
// cluster order, and written row by row when any of them changed. A pixel's
// region is where the chain of eaters from the region it was painted with
// ends (from its eater, the first time): pixels one below the other mostly
// share that start, and then their region. Says whether any pixel was
// painted.
bool CSegmentor::paintStrip(uchar *bits, qsizetype stride, bool whole, int left,
                            std::vector<QRgb> &strip, ChangeMap &changed)
{
    const QRgb fill = noRegion();
    const int columns = std::min(Strip, m_width - left);
    bool painted = false;
    for (int column = 0; column < columns; ++column) {
        QRgb *out = strip.data() + size_t(column) * size_t(m_height);
        const int first = clusterAt(left + column, 0);
        qint32 lastStart = -1;
        qint32 root = -1;
        QRgb value = Unchanged;
        for (int y = 0; y < m_height; ++y) {
            const int p = first + y;
            const qint32 start = whole ? m_eaters[size_t(p)] : m_regions[size_t(p)];
            if (!whole && !m_marks[size_t(start)]) {
                out[y] = Unchanged;
                continue;
            }
            if (start != lastStart) {
                root = start;
                while (m_eaters[size_t(root)] != root)
                    root = m_eaters[size_t(root)];
                const CCluster &region = m_clusters[size_t(root)];
                value = region.m_deleted ? fill : m_colourRgbs[size_t(region.m_colour)];
                lastStart = start;
            }
            m_regions[size_t(p)] = root;
            out[y] = value;
            painted = true;
        }
    }
    if (!painted)
        return false;
    for (int y = 0; y < m_height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(bits + stride * y) + left;
        for (int column = 0; column < columns; ++column) {
            const QRgb value = strip[size_t(column) * size_t(m_height) + size_t(y)];
            if (value != Unchanged && line[column] != value) {
                line[column] = value;
                changed.mark(left + column, y);
            }
        }
    }
    return true;
}
