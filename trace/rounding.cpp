#include "rounding.h"

#include "parallel.h"

#include <algorithm>
#include <cmath>

namespace {

TracePoint twice(TracePoint p)
{
    return {2 * p.x, 2 * p.y};
}

// Whether the closed triangle abc (in doubled coordinates) meets the
// closed segment pq (doubled too).
bool triangleMeets(TracePoint a, TracePoint b, TracePoint c, TracePoint p, TracePoint q)
{
    auto inside = [&](TracePoint r) {
        const qint64 o1 = cross(a, b, r);
        const qint64 o2 = cross(b, c, r);
        const qint64 o3 = cross(c, a, r);
        return (o1 >= 0 && o2 >= 0 && o3 >= 0) || (o1 <= 0 && o2 <= 0 && o3 <= 0);
    };
    return inside(p) || inside(q) || segmentsMeet(a, b, p, q) || segmentsMeet(b, c, p, q)
            || segmentsMeet(c, a, p, q);
}

double distanceSquared(TracePoint p, TracePoint a, TracePoint b)
{
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double length = dx * dx + dy * dy;
    const double px = p.x - a.x;
    const double py = p.y - a.y;
    const double t = length > 0 ? std::clamp((px * dx + py * dy) / length, 0.0, 1.0) : 0.0;
    const double ex = px - t * dx;
    const double ey = py - t * dy;
    return ex * ex + ey * ey;
}

// Whether the curve of corner `at` between the kept points `before` and
// `after` stays within `tolerance` of the unsimplified points between them:
// the curve strays from its two segments by at most a quarter of
// |before + after - 2 at| / 2 (its distance from the corner at its middle),
// and the segments from the unsimplified points by the largest distance of
// those from them.
bool curveWithin(const std::vector<TracePoint> &points, qint32 before, qint32 at, qint32 after,
                 double tolerance)
{
    const TracePoint p = points[size_t(at)];
    const TracePoint b = points[size_t(before)];
    const TracePoint a = points[size_t(after)];
    const double bend = std::hypot(b.x + a.x - 2.0 * p.x, b.y + a.y - 2.0 * p.y) / 8;
    if (bend > tolerance)
        return false;
    double worst = 0;
    for (qint32 i = before + 1; i < at; ++i)
        worst = std::max(worst, distanceSquared(points[size_t(i)], b, p));
    for (qint32 i = at + 1; i < after; ++i)
        worst = std::max(worst, distanceSquared(points[size_t(i)], p, a));
    return std::sqrt(worst) + bend <= tolerance;
}

bool clearOfOthers(const Tracing &tracing, const SegmentGrid &grid,
                   const std::vector<Segment> &segments, qint32 segment)
{
    const auto &points = tracing.points;
    const Segment &in = segments[size_t(segment)];
    const Segment &out = segments[size_t(segment) + 1];
    const TracePoint p = points[size_t(in.b)];
    const TracePoint a {points[size_t(in.a)].x + p.x, points[size_t(in.a)].y + p.y};
    const TracePoint b = twice(p);
    const TracePoint c {p.x + points[size_t(out.b)].x, p.y + points[size_t(out.b)].y};
    const int x0 = std::min({a.x, b.x, c.x}) / 2 / SegmentGrid::CellSize;
    const int x1 = std::max({a.x, b.x, c.x}) / 2 / SegmentGrid::CellSize;
    const int y0 = std::min({a.y, b.y, c.y}) / 2 / SegmentGrid::CellSize;
    const int y1 = std::max({a.y, b.y, c.y}) / 2 / SegmentGrid::CellSize;
    for (int y = y0; y <= y1; ++y) {
        for (int x = x0; x <= x1; ++x) {
            for (const qint32 *s = grid.begin(x, y); s != grid.end(x, y); ++s) {
                if (*s == segment || *s == segment + 1)
                    continue;
                const Segment &other = segments[size_t(*s)];
                if (triangleMeets(a, b, c, twice(points[size_t(other.a)]),
                                  twice(points[size_t(other.b)])))
                    return false;
            }
        }
    }
    return true;
}

} // namespace

void roundCorners(Tracing &tracing, const std::vector<Segment> &segments,
                  const std::vector<qint32> &segmentStart, double tolerance)
{
    tracing.rounded.assign(tracing.points.size(), 0);
    const SegmentGrid grid(tracing, segments);
    const int count = int(tracing.chains.size());
    parallelBands(count, 64, [&](int first, int end) {
        for (int c = first; c < end; ++c) {
            for (qint32 s = segmentStart[size_t(c)]; s + 1 < segmentStart[size_t(c) + 1]; ++s) {
                const Segment &in = segments[size_t(s)];
                const Segment &out = segments[size_t(s) + 1];
                const auto &points = tracing.points;
                if (cross(points[size_t(in.a)], points[size_t(in.b)], points[size_t(out.b)]) == 0)
                    continue;
                if (curveWithin(points, in.a, in.b, out.b, tolerance)
                    && clearOfOthers(tracing, grid, segments, s))
                    tracing.rounded[size_t(in.b)] = 1;
            }
        }
    });
}
