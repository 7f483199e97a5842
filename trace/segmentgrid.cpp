#include "segmentgrid.h"

#include <algorithm>

std::vector<Segment> segmentsOf(const Tracing &tracing, const std::vector<unsigned char> &kept,
                                std::vector<qint32> *segmentStart)
{
    std::vector<Segment> segments;
    if (segmentStart)
        segmentStart->clear();
    for (const Chain &chain : tracing.chains) {
        if (segmentStart)
            segmentStart->push_back(qint32(segments.size()));
        qint32 from = chain.first;
        for (qint32 i = chain.first + 1; i < chain.first + chain.count; ++i) {
            if (kept[size_t(i)]) {
                segments.push_back({from, i});
                from = i;
            }
        }
    }
    if (segmentStart)
        segmentStart->push_back(qint32(segments.size()));
    return segments;
}

namespace {

int sign(qint64 v)
{
    return (v > 0) - (v < 0);
}

bool within(TracePoint p, TracePoint q, TracePoint r)
{
    return std::min(p.x, q.x) <= r.x && r.x <= std::max(p.x, q.x) && std::min(p.y, q.y) <= r.y
            && r.y <= std::max(p.y, q.y);
}

} // namespace

bool segmentsMeet(TracePoint p, TracePoint q, TracePoint r, TracePoint s)
{
    const int o1 = sign(cross(p, q, r));
    const int o2 = sign(cross(p, q, s));
    const int o3 = sign(cross(r, s, p));
    const int o4 = sign(cross(r, s, q));
    if (o1 * o2 < 0 && o3 * o4 < 0)
        return true;
    return (o1 == 0 && within(p, q, r)) || (o2 == 0 && within(p, q, s))
            || (o3 == 0 && within(r, s, p)) || (o4 == 0 && within(r, s, q));
}

SegmentGrid::SegmentGrid(const Tracing &tracing, const std::vector<Segment> &segments)
    : m_points(tracing.points)
    , m_columns(tracing.width / CellSize + 1)
    , m_rows(tracing.height / CellSize + 1)
    , m_start(size_t(m_columns) * size_t(m_rows) + 1, 0)
    , m_boxes(segments.size())
{
    for (size_t i = 0; i < segments.size(); ++i) {
        const TracePoint a = m_points[size_t(segments[i].a)];
        const TracePoint b = m_points[size_t(segments[i].b)];
        Box &box = m_boxes[i];
        box.x0 = std::min(a.x, b.x) / CellSize;
        box.x1 = std::max(a.x, b.x) / CellSize;
        box.y0 = std::min(a.y, b.y) / CellSize;
        box.y1 = std::max(a.y, b.y) / CellSize;
        for (int y = box.y0; y <= box.y1; ++y)
            for (int x = box.x0; x <= box.x1; ++x)
                ++m_start[cell(x, y) + 1];
    }
    for (size_t i = 1; i < m_start.size(); ++i)
        m_start[i] += m_start[i - 1];
    m_cells.resize(size_t(m_start.back()));
    std::vector<qint64> fill(m_start.begin(), m_start.end() - 1);
    for (qint32 i = 0; i < qint32(segments.size()); ++i) {
        const Box &box = m_boxes[size_t(i)];
        for (int y = box.y0; y <= box.y1; ++y)
            for (int x = box.x0; x <= box.x1; ++x)
                m_cells[size_t(fill[cell(x, y)]++)] = i;
    }
}
