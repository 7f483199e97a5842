#include "simplify.h"

#include "parallel.h"
#include "rounding.h"
#include "segmentgrid.h"
#include "stagetimer.h"

#include <algorithm>
#include <mutex>

namespace {

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
    return segmentsMeet(a, b, c, d);
}

// A segment to refine and its chain.
struct Refinement
{
    Segment segment;
    qint32 chain;

    bool operator<(const Refinement &o) const
    {
        return std::make_pair(segment.a, segment.b) < std::make_pair(o.segment.a, o.segment.b);
    }
    bool operator==(const Refinement &o) const
    {
        return segment.a == o.segment.a && segment.b == o.segment.b;
    }
};

std::vector<Refinement> sorted(std::vector<Refinement> found)
{
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

// Every segment that clashes with another.
std::vector<Refinement> clashingSegments(const Tracing &tracing, const SegmentGrid &grid,
                                         const std::vector<Segment> &segments,
                                         const std::vector<qint32> &chainOf)
{
    const auto &points = tracing.points;
    const int columns = grid.columns();
    std::vector<Refinement> found;
    std::mutex lock;
    parallelBands(grid.rows(), 1, [&](int first, int end) {
        std::vector<Refinement> mine;
        for (int y = first; y < end; ++y) {
            for (int x = 0; x < columns; ++x) {
                const qint32 *cellEnd = grid.end(x, y);
                for (const qint32 *i = grid.begin(x, y); i != cellEnd; ++i) {
                    int sx0, sy0, sx1, sy1;
                    grid.box(*i, sx0, sy0, sx1, sy1);
                    for (const qint32 *j = i + 1; j != cellEnd; ++j) {
                        int tx0, ty0, tx1, ty1;
                        grid.box(*j, tx0, ty0, tx1, ty1);
                        // Each pair once: in the first cell both boxes share.
                        if (std::max(sx0, tx0) != x || std::max(sy0, ty0) != y)
                            continue;
                        if (clash(points, segments[size_t(*i)], segments[size_t(*j)])) {
                            mine.push_back({segments[size_t(*i)], chainOf[size_t(*i)]});
                            mine.push_back({segments[size_t(*j)], chainOf[size_t(*j)]});
                        }
                    }
                }
            }
        }
        const std::lock_guard<std::mutex> guard(lock);
        found.insert(found.end(), mine.begin(), mine.end());
    });
    return sorted(std::move(found));
}

// The current segments of the chains flagged in `changed`.
void gatherChanged(const Tracing &tracing, const std::vector<unsigned char> &kept,
                   const std::vector<unsigned char> &changed, std::vector<Segment> &fresh,
                   std::vector<qint32> &freshChain)
{
    for (qint32 c = 0; c < qint32(tracing.chains.size()); ++c) {
        if (!changed[size_t(c)])
            continue;
        const Chain &chain = tracing.chains[size_t(c)];
        qint32 from = chain.first;
        for (qint32 i = chain.first + 1; i < chain.first + chain.count; ++i) {
            if (kept[size_t(i)]) {
                fresh.push_back({from, i});
                freshChain.push_back(c);
                from = i;
            }
        }
    }
}

// The first round's segments and their grid, which later rounds keep: they
// test only the chains refined since (`changed`), whose segments they
// gather anew, against the first round's segments of the other chains and
// against each other; and of those only the chains refined in the round
// before (`recheck`), since every other pair was found clear already.
struct FirstRound
{
    const std::vector<Segment> &segments;
    const std::vector<qint32> &chainOf;
    const SegmentGrid &grid;
};

std::vector<Refinement> laterClashes(const Tracing &tracing, const std::vector<unsigned char> &kept,
                                     const FirstRound &firstRound,
                                     const std::vector<unsigned char> &changed,
                                     const std::vector<unsigned char> &recheck)
{
    const auto &points = tracing.points;
    std::vector<Segment> fresh;
    std::vector<qint32> freshChain;
    gatherChanged(tracing, kept, changed, fresh, freshChain);
    const SegmentGrid grid(tracing, fresh);
    std::vector<Refinement> found;
    std::mutex lock;
    parallelBands(int(fresh.size()), 256, [&](int first, int end) {
        std::vector<Refinement> mine;
        for (int i = first; i < end; ++i) {
            if (!recheck[size_t(freshChain[size_t(i)])])
                continue;
            const Segment &s = fresh[size_t(i)];
            int x0, y0, x1, y1;
            grid.box(i, x0, y0, x1, y1);
            for (int y = y0; y <= y1; ++y) {
                for (int x = x0; x <= x1; ++x) {
                    for (const qint32 *j = firstRound.grid.begin(x, y);
                         j != firstRound.grid.end(x, y); ++j) {
                        const qint32 chain = firstRound.chainOf[size_t(*j)];
                        const Segment &t = firstRound.segments[size_t(*j)];
                        if (!changed[size_t(chain)] && clash(points, s, t)) {
                            mine.push_back({s, freshChain[size_t(i)]});
                            mine.push_back({t, chain});
                        }
                    }
                    for (const qint32 *j = grid.begin(x, y); j != grid.end(x, y); ++j) {
                        if (*j != i && clash(points, s, fresh[size_t(*j)])) {
                            mine.push_back({s, freshChain[size_t(i)]});
                            mine.push_back({fresh[size_t(*j)], freshChain[size_t(*j)]});
                        }
                    }
                }
            }
        }
        const std::lock_guard<std::mutex> guard(lock);
        found.insert(found.end(), mine.begin(), mine.end());
    });
    return sorted(std::move(found));
}

// Drops the corners left out, chain by chain.
void compact(Tracing &tracing, const std::vector<unsigned char> &kept)
{
    qint32 out = 0;
    for (Chain &chain : tracing.chains) {
        const qint32 first = out;
        for (qint32 i = chain.first; i < chain.first + chain.count; ++i) {
            if (!kept[size_t(i)])
                continue;
            if (!tracing.rounded.empty())
                tracing.rounded[size_t(out)] = tracing.rounded[size_t(i)];
            tracing.points[size_t(out++)] = tracing.points[size_t(i)];
        }
        chain.first = first;
        chain.count = out - first;
    }
    tracing.points.resize(size_t(out));
    tracing.points.shrink_to_fit();
    if (!tracing.rounded.empty()) {
        tracing.rounded.resize(size_t(out));
        tracing.rounded.shrink_to_fit();
    }
}

} // namespace

void simplifyChains(Tracing &tracing, double tolerance, bool curves, const Progress &progress)
{
    StageTimer timer("simplify");
    progress.report(0);
    std::vector<unsigned char> kept(tracing.points.size(), 0);
    const double limit = tolerance * tolerance;
    const int count = int(tracing.chains.size());
    parallelBands(count, 256, [&](int first, int end) {
        std::vector<std::pair<qint32, qint32>> stack;
        for (int c = first; c < end; ++c)
            simplifyChain(tracing.points, kept, tracing.chains[size_t(c)], limit, stack);
    });
    timer.stage("Douglas-Peucker");
    progress.report(50);
    std::vector<qint32> segmentStart;
    const std::vector<Segment> segments = segmentsOf(tracing, kept, &segmentStart);
    std::vector<qint32> chainOf(segments.size());
    for (size_t c = 0; c + 1 < segmentStart.size(); ++c)
        std::fill(chainOf.begin() + segmentStart[c], chainOf.begin() + segmentStart[c + 1],
                  qint32(c));
    const SegmentGrid grid(tracing, segments);
    const FirstRound firstRound {segments, chainOf, grid};
    std::vector<unsigned char> changed(tracing.chains.size(), 0);
    std::vector<unsigned char> recheck(tracing.chains.size(), 0);
    std::vector<Refinement> clashing = clashingSegments(tracing, grid, segments, chainOf);
    while (!clashing.empty()) {
        timer.stage("round");
        std::fill(recheck.begin(), recheck.end(), 0);
        bool refined = false;
        for (const Refinement &r : clashing) {
            const qint32 at = farthest(tracing.points, r.segment.a, r.segment.b, nullptr);
            if (at >= 0) {
                kept[size_t(at)] = 1;
                recheck[size_t(r.chain)] = 1;
                changed[size_t(r.chain)] = 1;
                refined = true;
            }
        }
        if (!refined)
            break;
        clashing = laterClashes(tracing, kept, firstRound, changed, recheck);
    }
    progress.report(80);
    if (curves) {
        std::vector<Segment> fresh;
        std::vector<qint32> freshChain;
        gatherChanged(tracing, kept, changed, fresh, freshChain);
        const SegmentGrid freshGrid(tracing, fresh);
        const CurrentSegments current {segments, chainOf, grid, changed, fresh, freshGrid};
        roundCorners(tracing, kept, current, tolerance);
    }
    timer.stage("rounding");
    progress.report(90);
    compact(tracing, kept);
    progress.report(100);
}
