#include "boundaries.h"

#include "parallel.h"

#include <algorithm>

namespace {

// Directions: up, right, down, left on the screen.
constexpr int StepX[4] = {0, 1, 0, -1};
constexpr int StepY[4] = {-1, 0, 1, 0};

// The region of each of the four pixels around the grid corner (x, y), in
// the order upper left, upper right, lower right, lower left: the step in
// direction d from the corner runs between pixel d (on its left) and pixel
// d + 1 (on its right).
struct Corner
{
    qint32 region[4];

    Corner(const Regions &regions, int x, int y)
    {
        const bool up = y > 0;
        const bool down = y < regions.height;
        const bool left = x > 0;
        const bool right = x < regions.width;
        region[0] = up && left ? regions.at(x - 1, y - 1) : -1;
        region[1] = up && right ? regions.at(x, y - 1) : -1;
        region[2] = down && right ? regions.at(x, y) : -1;
        region[3] = down && left ? regions.at(x - 1, y) : -1;
    }
    bool side(int d) const { return region[d] != region[(d + 1) % 4]; }
    int sides() const { return side(0) + side(1) + side(2) + side(3); }
    // The way on from this corner after arriving in direction `arrived`,
    // the region on the left kept on the left and turned around as tightly
    // as possible.
    int onward(int arrived) const
    {
        int d = (arrived + 3) % 4;
        while (!side(d))
            d = (d + 1) % 4;
        return d;
    }
};

class Follower
{
public:
    explicit Follower(const Regions &regions, Tracing &tracing)
        : m_regions(regions)
        , m_tracing(tracing)
        , m_w(regions.width)
        , m_h(regions.height)
        , m_across(size_t(m_w) * size_t(m_h + 1), 0)
        , m_down(size_t(m_w + 1) * size_t(m_h), 0)
    {
    }

    bool isNode(int x, int y, const Corner &corner) const
    {
        const bool picturesCorner = (x == 0 || x == m_w) && (y == 0 || y == m_h);
        return picturesCorner || corner.sides() > 2;
    }

    // Nodes are found in bands of rows on several threads, then followed
    // in order, row by row.
    void fromNodes()
    {
        const int rows = m_h + 1;
        const int grain = rowsOf(LightBandPixels, m_w + 1);
        const int bands = (rows + grain - 1) / grain;
        std::vector<std::vector<qint64>> nodes(static_cast<size_t>(bands));
        parallelBands(bands, 1, [&](int first, int end) {
            for (int band = first; band < end; ++band)
                findNodes(band * grain, std::min(rows, (band + 1) * grain), nodes[size_t(band)]);
        });
        for (const std::vector<qint64> &band : nodes) {
            for (const qint64 node : band) {
                const int x = int(node % (m_w + 1));
                const int y = int(node / (m_w + 1));
                const Corner corner(m_regions, x, y);
                for (int d = 0; d < 4; ++d) {
                    if (corner.side(d) && !seen(x, y, d))
                        follow(x, y, d, corner.region[d], corner.region[(d + 1) % 4], false);
                }
            }
        }
    }

    void rings()
    {
        const qint32 *ids = m_regions.id.data();
        for (int y = 0; y <= m_h; ++y) {
            const qint32 *up = y > 0 ? ids + size_t(y - 1) * size_t(m_w) : nullptr;
            const qint32 *down = y < m_h ? ids + size_t(y) * size_t(m_w) : nullptr;
            const unsigned char *seenAcross = m_across.data() + size_t(y) * size_t(m_w);
            for (int x = 0; x < m_w; ++x) {
                if (seenAcross[x] || (up && down && up[x] == down[x]))
                    continue;
                const Corner corner(m_regions, x, y);
                if (corner.side(1))
                    follow(x, y, 1, corner.region[1], corner.region[2], true);
            }
        }
    }

private:
    // The nodes of rows first .. end - 1 of corners, as y * (width + 1) + x.
    void findNodes(int first, int end, std::vector<qint64> &out) const
    {
        const qint32 *ids = m_regions.id.data();
        for (int y = first; y < end; ++y) {
            if (y == 0 || y == m_h || m_w < 2) {
                for (int x = 0; x <= m_w; ++x) {
                    if (isNode(x, y, Corner(m_regions, x, y)))
                        out.push_back(qint64(y) * (m_w + 1) + x);
                }
                continue;
            }
            const qint32 *up = ids + size_t(y - 1) * size_t(m_w);
            const qint32 *down = ids + size_t(y) * size_t(m_w);
            // The picture's left and right edges: three sides or more where
            // a boundary between rows meets them.
            if (up[0] != down[0])
                out.push_back(qint64(y) * (m_w + 1));
            for (int x = 1; x < m_w; ++x) {
                const int sides = (up[x - 1] != up[x]) + (up[x] != down[x])
                        + (down[x] != down[x - 1]) + (down[x - 1] != up[x - 1]);
                if (sides > 2)
                    out.push_back(qint64(y) * (m_w + 1) + x);
            }
            if (up[m_w - 1] != down[m_w - 1])
                out.push_back(qint64(y) * (m_w + 1) + m_w);
        }
    }

    unsigned char &mark(int x, int y, int d)
    {
        switch (d) {
        case 0:
            return m_down[size_t(y - 1) * size_t(m_w + 1) + size_t(x)];
        case 1:
            return m_across[size_t(y) * size_t(m_w) + size_t(x)];
        case 2:
            return m_down[size_t(y) * size_t(m_w + 1) + size_t(x)];
        default:
            return m_across[size_t(y) * size_t(m_w) + size_t(x - 1)];
        }
    }
    bool seen(int x, int y, int d) { return mark(x, y, d) != 0; }

    void follow(int x, int y, int d, qint32 left, qint32 right, bool ring)
    {
        Chain chain;
        chain.first = qint32(m_tracing.points.size());
        chain.left = left;
        chain.right = right;
        const int startX = x;
        const int startY = y;
        m_tracing.points.push_back({x, y});
        for (;;) {
            mark(x, y, d) = 1;
            x += StepX[d];
            y += StepY[d];
            const Corner corner(m_regions, x, y);
            if (ring ? x == startX && y == startY : isNode(x, y, corner)) {
                m_tracing.points.push_back({x, y});
                break;
            }
            const int next = corner.onward(d);
            if (next != d)
                m_tracing.points.push_back({x, y});
            d = next;
        }
        chain.count = qint32(m_tracing.points.size()) - chain.first;
        m_tracing.chains.push_back(chain);
    }

    const Regions &m_regions;
    Tracing &m_tracing;
    int m_w;
    int m_h;
    // Sides already followed: along rows of the grid, and down its columns.
    std::vector<unsigned char> m_across;
    std::vector<unsigned char> m_down;
};

int direction(TracePoint from, TracePoint to)
{
    if (to.y < from.y)
        return 0;
    if (to.x > from.x)
        return 1;
    if (to.y > from.y)
        return 2;
    return 3;
}

// Links the halves of the chains into each region's loops.
void linkLoops(const Regions &regions, Tracing &tracing)
{
    const auto &points = tracing.points;
    const qint64 stride = qint64(regions.width) + 1;
    auto key = [&](TracePoint p, int d) { return (qint64(p.y) * stride + p.x) * 4 + d; };
    const qint32 halves = qint32(tracing.chains.size()) * 2;
    std::vector<std::pair<qint64, qint32>> starts;
    starts.reserve(size_t(halves));
    for (qint32 h = 0; h < halves; ++h) {
        const Chain &c = tracing.chains[size_t(h / 2)];
        const qint32 a = h % 2 == 0 ? c.first : c.first + c.count - 1;
        const qint32 b = h % 2 == 0 ? a + 1 : a - 1;
        starts.emplace_back(key(points[size_t(a)], direction(points[size_t(a)], points[size_t(b)])),
                            h);
    }
    std::sort(starts.begin(), starts.end());
    auto next = [&](qint32 h) {
        const Chain &c = tracing.chains[size_t(h / 2)];
        const qint32 end = h % 2 == 0 ? c.first + c.count - 1 : c.first;
        const qint32 before = h % 2 == 0 ? end - 1 : end + 1;
        const TracePoint at = points[size_t(end)];
        const Corner corner(regions, at.x, at.y);
        const int d = corner.onward(direction(points[size_t(before)], at));
        const auto found = std::lower_bound(starts.begin(), starts.end(),
                                            std::make_pair(key(at, d), qint32(-1)));
        return found->second;
    };
    std::vector<unsigned char> used(size_t(halves), 0);
    std::vector<qint32> loopRegion;
    std::vector<qint32> loopHalves;
    std::vector<qint32> loopFirst;
    for (qint32 h = 0; h < halves; ++h) {
        const Chain &c = tracing.chains[size_t(h / 2)];
        const qint32 region = h % 2 == 0 ? c.left : c.right;
        if (region < 0 || used[size_t(h)])
            continue;
        loopFirst.push_back(qint32(loopHalves.size()));
        loopRegion.push_back(region);
        qint32 at = h;
        do {
            used[size_t(at)] = 1;
            loopHalves.push_back(at);
            at = next(at);
        } while (at != h);
    }
    loopFirst.push_back(qint32(loopHalves.size()));
    // Loops grouped by region, each region's in the order they were found.
    const int count = regions.count();
    tracing.regionLoopStart.assign(size_t(count) + 1, 0);
    for (qint32 region : loopRegion)
        ++tracing.regionLoopStart[size_t(region) + 1];
    for (int r = 0; r < count; ++r)
        tracing.regionLoopStart[size_t(r) + 1] += tracing.regionLoopStart[size_t(r)];
    std::vector<qint32> slot(tracing.regionLoopStart.begin(), tracing.regionLoopStart.end() - 1);
    std::vector<qint32> order(loopRegion.size());
    for (size_t l = 0; l < loopRegion.size(); ++l)
        order[size_t(slot[size_t(loopRegion[l])]++)] = qint32(l);
    tracing.halves.clear();
    tracing.halves.reserve(loopHalves.size());
    tracing.loopStart.clear();
    for (qint32 l : order) {
        tracing.loopStart.push_back(qint32(tracing.halves.size()));
        tracing.halves.insert(tracing.halves.end(), loopHalves.begin() + loopFirst[size_t(l)],
                              loopHalves.begin() + loopFirst[size_t(l) + 1]);
    }
    tracing.loopStart.push_back(qint32(tracing.halves.size()));
}

} // namespace

Tracing findBoundaries(const Regions &regions)
{
    Tracing tracing;
    tracing.width = regions.width;
    tracing.height = regions.height;
    tracing.regionLabel = regions.label;
    tracing.regionArea = regions.area;
    Follower follower(regions, tracing);
    follower.fromNodes();
    follower.rings();
    linkLoops(regions, tracing);
    return tracing;
}
