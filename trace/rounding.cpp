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

// Whether the triangle the curve of corner `at` cuts off meets no segment
// but the corner's own two.
bool clearOfOthers(const Tracing &tracing, const CurrentSegments &segments, qint32 before,
                   qint32 at, qint32 after)
{
    const auto &points = tracing.points;
    const TracePoint p = points[size_t(at)];
    const TracePoint a {points[size_t(before)].x + p.x, points[size_t(before)].y + p.y};
    const TracePoint b = twice(p);
    const TracePoint c {p.x + points[size_t(after)].x, p.y + points[size_t(after)].y};
    const int x0 = std::min({a.x, b.x, c.x}) / 2 / SegmentGrid::CellSize;
    const int x1 = std::max({a.x, b.x, c.x}) / 2 / SegmentGrid::CellSize;
    const int y0 = std::min({a.y, b.y, c.y}) / 2 / SegmentGrid::CellSize;
    const int y1 = std::max({a.y, b.y, c.y}) / 2 / SegmentGrid::CellSize;
    bool clear = true;
    for (int y = y0; y <= y1 && clear; ++y) {
        for (int x = x0; x <= x1 && clear; ++x) {
            segments.forEachIn(x, y, [&](const Segment &other) {
                if (!clear || (other.a == before && other.b == at)
                    || (other.a == at && other.b == after))
                    return;
                if (triangleMeets(a, b, c, twice(points[size_t(other.a)]),
                                  twice(points[size_t(other.b)])))
                    clear = false;
            });
        }
    }
    return clear;
}

} // namespace

void roundCorners(Tracing &tracing, const std::vector<unsigned char> &kept,
                  const CurrentSegments &segments, double tolerance)
{
    tracing.rounded.assign(tracing.points.size(), 0);
    const int count = int(tracing.chains.size());
    parallelBands(count, 64, [&](int first, int end) {
        const auto &points = tracing.points;
        for (int c = first; c < end; ++c) {
            const Chain &chain = tracing.chains[size_t(c)];
            qint32 before = chain.first;
            qint32 at = -1;
            for (qint32 i = chain.first + 1; i < chain.first + chain.count; ++i) {
                if (!kept[size_t(i)])
                    continue;
                if (at >= 0
                    && cross(points[size_t(before)], points[size_t(at)], points[size_t(i)]) != 0
                    && curveWithin(points, before, at, i, tolerance)
                    && clearOfOthers(tracing, segments, before, at, i))
                    tracing.rounded[size_t(at)] = 1;
                if (at >= 0)
                    before = at;
                at = i;
            }
        }
    });
}
