#pragma once

#include "tracing.h"

#include <vector>

// A straight piece of a simplified chain: from point a to point b of
// Tracing::points, the corners between them left out.
struct Segment
{
    qint32 a;
    qint32 b;
};

// The segments of every chain between the points `kept` flags, chain by
// chain; segmentStart[c] is chain c's first.
std::vector<Segment> segmentsOf(const Tracing &tracing, const std::vector<unsigned char> &kept,
                                std::vector<qint32> *segmentStart = nullptr);

// z of (a - o) × (b - o), exact.
inline qint64 cross(TracePoint o, TracePoint a, TracePoint b)
{
    return qint64(a.x - o.x) * (b.y - o.y) - qint64(a.y - o.y) * (b.x - o.x);
}

// Whether the closed segments pq and rs have a point in common.
bool segmentsMeet(TracePoint p, TracePoint q, TracePoint r, TracePoint s);

// Square cells over the picture, each listing the segments whose bounding
// box reaches it.
class SegmentGrid
{
public:
    static constexpr int CellSize = 4;

    SegmentGrid(const Tracing &tracing, const std::vector<Segment> &segments);

    int columns() const { return m_columns; }
    int rows() const { return m_rows; }
    const qint32 *begin(int x, int y) const { return m_cells.data() + m_start[cell(x, y)]; }
    const qint32 *end(int x, int y) const { return m_cells.data() + m_start[cell(x, y) + 1]; }
    // The cells segment i's bounding box covers.
    void box(qint32 i, int &x0, int &y0, int &x1, int &y1) const
    {
        const Box &b = m_boxes[size_t(i)];
        x0 = b.x0;
        y0 = b.y0;
        x1 = b.x1;
        y1 = b.y1;
    }

private:
    struct Box
    {
        qint32 x0, y0, x1, y1;
    };

    size_t cell(int x, int y) const { return size_t(y) * size_t(m_columns) + size_t(x); }

    const std::vector<TracePoint> &m_points;
    int m_columns;
    int m_rows;
    std::vector<qint64> m_start;
    std::vector<qint32> m_cells;
    std::vector<Box> m_boxes;
};

// The segments of the chains as they stand after the rounds of the crossing
// check: the first round's segments of the chains not refined since, and
// the segments gathered anew of those refined (`changed`), each set with
// its grid.
struct CurrentSegments
{
    const std::vector<Segment> &first;
    const std::vector<qint32> &firstChain;
    const SegmentGrid &firstGrid;
    const std::vector<unsigned char> &changed;
    const std::vector<Segment> &fresh;
    const SegmentGrid &freshGrid;

    // Calls f(segment) for every current segment listed in cell (x, y).
    template<typename F>
    void forEachIn(int x, int y, F f) const
    {
        for (const qint32 *i = firstGrid.begin(x, y); i != firstGrid.end(x, y); ++i) {
            if (!changed[size_t(firstChain[size_t(*i)])])
                f(first[size_t(*i)]);
        }
        for (const qint32 *i = freshGrid.begin(x, y); i != freshGrid.end(x, y); ++i)
            f(fresh[size_t(*i)]);
    }
};
