#include "simplify.h"

#include "parallel.h"

#include <algorithm>
#include <mutex>

namespace {

qint64 cross(TracePoint o, TracePoint a, TracePoint b)
{
    return qint64(a.x - o.x) * (b.y - o.y) - qint64(a.y - o.y) * (b.x - o.x);
}

int sign(qint64 v)
{
    return (v > 0) - (v < 0);
}

// The square of p's distance from the segment ab.
double distanceSquared(TracePoint p, TracePoint a, TracePoint b)
{
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double px = p.x - a.x;
    const double py = p.y - a.y;
    const double length = dx * dx + dy * dy;
    const double t = length > 0 ? std::clamp((px * dx + py * dy) / length, 0.0, 1.0) : 0.0;
    const double ex = px - t * dx;
    const double ey = py - t * dy;
    return ex * ex + ey * ey;
}

// The corner of first + 1 .. end - 1 farthest from the segment between
// them, the first of equals; -1 when there is none.
qint32 farthest(const std::vector<TracePoint> &points, qint32 first, qint32 end, double *squared)
{
    qint32 best = -1;
    double most = -1;
    for (qint32 i = first + 1; i < end; ++i) {
        const double d
                = distanceSquared(points[size_t(i)], points[size_t(first)], points[size_t(end)]);
        if (d > most) {
            most = d;
            best = i;
        }
    }
    if (squared)
        *squared = most;
    return best;
}

void douglasPeucker(const std::vector<TracePoint> &points, std::vector<unsigned char> &kept,
                    qint32 first, qint32 end, double limit,
                    std::vector<std::pair<qint32, qint32>> &stack)
{
    stack.clear();
    stack.emplace_back(first, end);
    while (!stack.empty()) {
        const auto [a, b] = stack.back();
        stack.pop_back();
        double squared = 0;
        const qint32 at = farthest(points, a, b, &squared);
        if (at < 0 || squared <= limit)
            continue;
        kept[size_t(at)] = 1;
        stack.emplace_back(at, b);
        stack.emplace_back(a, at);
    }
}

void simplifyChain(const std::vector<TracePoint> &points, std::vector<unsigned char> &kept,
                   const Chain &chain, double limit, std::vector<std::pair<qint32, qint32>> &stack)
{
    const qint32 first = chain.first;
    const qint32 last = chain.first + chain.count - 1;
    kept[size_t(first)] = 1;
    kept[size_t(last)] = 1;
    if (points[size_t(first)] != points[size_t(last)]) {
        douglasPeucker(points, kept, first, last, limit, stack);
        return;
    }
    // A ring: split at the corner farthest from its start, and keep at
    // least a triangle so that it still encloses something.
    qint32 middle = first + 1;
    double most = -1;
    for (qint32 i = first + 1; i < last; ++i) {
        const TracePoint p = points[size_t(i)];
        const TracePoint s = points[size_t(first)];
        const double d = double(p.x - s.x) * (p.x - s.x) + double(p.y - s.y) * (p.y - s.y);
        if (d > most) {
            most = d;
            middle = i;
        }
    }
    kept[size_t(middle)] = 1;
    douglasPeucker(points, kept, first, middle, limit, stack);
    douglasPeucker(points, kept, middle, last, limit, stack);
    const bool inner = std::count(kept.begin() + first + 1, kept.begin() + last, 1) > 1;
    if (!inner) {
        double before = 0;
        double after = 0;
        const qint32 a = farthest(points, first, middle, &before);
        const qint32 b = farthest(points, middle, last, &after);
        const qint32 pick = before >= after ? a : b;
        if (pick >= 0)
            kept[size_t(pick)] = 1;
    }
}

struct Segment
{
    qint32 a;
    qint32 b;
};

// Whether two segments meet anywhere but at one shared end, or overlap.
bool clash(const std::vector<TracePoint> &points, Segment s, Segment t)
{
    const TracePoint a = points[size_t(s.a)];
    const TracePoint b = points[size_t(s.b)];
    const TracePoint c = points[size_t(t.a)];
    const TracePoint d = points[size_t(t.b)];
    const bool ac = a == c;
    const bool ad = a == d;
    const bool bc = b == c;
    const bool bd = b == d;
    if ((ac && bd) || (ad && bc))
        return true;
    if (ac || ad || bc || bd) {
        const TracePoint shared = ac || ad ? a : b;
        const TracePoint u = ac || ad ? b : a;
        const TracePoint w = ac || bc ? d : c;
        const qint64 along = qint64(u.x - shared.x) * (w.x - shared.x)
                + qint64(u.y - shared.y) * (w.y - shared.y);
        return cross(shared, u, w) == 0 && along > 0;
    }
    const int o1 = sign(cross(a, b, c));
    const int o2 = sign(cross(a, b, d));
    const int o3 = sign(cross(c, d, a));
    const int o4 = sign(cross(c, d, b));
    if (o1 * o2 < 0 && o3 * o4 < 0)
        return true;
    auto within = [](TracePoint p, TracePoint q, TracePoint r) {
        return std::min(p.x, q.x) <= r.x && r.x <= std::max(p.x, q.x) && std::min(p.y, q.y) <= r.y
                && r.y <= std::max(p.y, q.y);
    };
    return (o1 == 0 && within(a, b, c)) || (o2 == 0 && within(a, b, d))
            || (o3 == 0 && within(c, d, a)) || (o4 == 0 && within(c, d, b));
}

constexpr int CellSize = 16;

// Every pair of segments that clash; each segment by its first point.
std::vector<qint32> clashingSegments(const Tracing &tracing, const std::vector<Segment> &segments)
{
    const auto &points = tracing.points;
    const int columns = tracing.width / CellSize + 1;
    const int rows = tracing.height / CellSize + 1;
    auto box = [&](const Segment &s, int &x0, int &y0, int &x1, int &y1) {
        const TracePoint a = points[size_t(s.a)];
        const TracePoint b = points[size_t(s.b)];
        x0 = std::min(a.x, b.x) / CellSize;
        x1 = std::max(a.x, b.x) / CellSize;
        y0 = std::min(a.y, b.y) / CellSize;
        y1 = std::max(a.y, b.y) / CellSize;
    };
    std::vector<qint64> cellStart(size_t(columns) * size_t(rows) + 1, 0);
    for (const Segment &s : segments) {
        int x0, y0, x1, y1;
        box(s, x0, y0, x1, y1);
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x)
                ++cellStart[size_t(y) * size_t(columns) + size_t(x) + 1];
    }
    for (size_t i = 1; i < cellStart.size(); ++i)
        cellStart[i] += cellStart[i - 1];
    std::vector<qint32> cells(size_t(cellStart.back()));
    std::vector<qint64> fill(cellStart.begin(), cellStart.end() - 1);
    for (qint32 i = 0; i < qint32(segments.size()); ++i) {
        int x0, y0, x1, y1;
        box(segments[size_t(i)], x0, y0, x1, y1);
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x)
                cells[size_t(fill[size_t(y) * size_t(columns) + size_t(x)]++)] = i;
    }
    std::vector<qint32> found;
    std::mutex lock;
    parallelBands(rows, 1, [&](int first, int end) {
        std::vector<qint32> mine;
        for (int y = first; y < end; ++y) {
            for (int x = 0; x < columns; ++x) {
                const size_t cell = size_t(y) * size_t(columns) + size_t(x);
                for (qint64 i = cellStart[cell]; i < cellStart[cell + 1]; ++i) {
                    const Segment &s = segments[size_t(cells[size_t(i)])];
                    int sx0, sy0, sx1, sy1;
                    box(s, sx0, sy0, sx1, sy1);
                    for (qint64 j = i + 1; j < cellStart[cell + 1]; ++j) {
                        const Segment &t = segments[size_t(cells[size_t(j)])];
                        int tx0, ty0, tx1, ty1;
                        box(t, tx0, ty0, tx1, ty1);
                        // Each pair once: in the first cell both boxes share.
                        if (std::max(sx0, tx0) != x || std::max(sy0, ty0) != y)
                            continue;
                        if (clash(points, s, t)) {
                            mine.push_back(cells[size_t(i)]);
                            mine.push_back(cells[size_t(j)]);
                        }
                    }
                }
            }
        }
        const std::lock_guard<std::mutex> guard(lock);
        found.insert(found.end(), mine.begin(), mine.end());
    });
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

std::vector<Segment> segmentsOf(const Tracing &tracing, const std::vector<unsigned char> &kept)
{
    std::vector<Segment> segments;
    for (const Chain &chain : tracing.chains) {
        qint32 from = chain.first;
        for (qint32 i = chain.first + 1; i < chain.first + chain.count; ++i) {
            if (kept[size_t(i)]) {
                segments.push_back({from, i});
                from = i;
            }
        }
    }
    return segments;
}

// Drops the corners left out, chain by chain.
void compact(Tracing &tracing, const std::vector<unsigned char> &kept)
{
    qint32 out = 0;
    for (Chain &chain : tracing.chains) {
        const qint32 first = out;
        for (qint32 i = chain.first; i < chain.first + chain.count; ++i) {
            if (kept[size_t(i)])
                tracing.points[size_t(out++)] = tracing.points[size_t(i)];
        }
        chain.first = first;
        chain.count = out - first;
    }
    tracing.points.resize(size_t(out));
    tracing.points.shrink_to_fit();
}

} // namespace

void simplifyChains(Tracing &tracing, double tolerance, const Progress &progress)
{
    progress.report(0);
    std::vector<unsigned char> kept(tracing.points.size(), 0);
    const double limit = tolerance * tolerance;
    const int count = int(tracing.chains.size());
    parallelBands(count, 256, [&](int first, int end) {
        std::vector<std::pair<qint32, qint32>> stack;
        for (int c = first; c < end; ++c)
            simplifyChain(tracing.points, kept, tracing.chains[size_t(c)], limit, stack);
    });
    progress.report(50);
    for (;;) {
        const std::vector<Segment> segments = segmentsOf(tracing, kept);
        const std::vector<qint32> clashing = clashingSegments(tracing, segments);
        bool refined = false;
        for (qint32 i : clashing) {
            const Segment &s = segments[size_t(i)];
            const qint32 at = farthest(tracing.points, s.a, s.b, nullptr);
            if (at >= 0) {
                kept[size_t(at)] = 1;
                refined = true;
            }
        }
        if (!refined)
            break;
    }
    progress.report(90);
    compact(tracing, kept);
    progress.report(100);
}
