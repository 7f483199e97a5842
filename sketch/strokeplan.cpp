#include "strokeplan.h"

namespace {

// How many n in from .. to - 1 have n % modulus == residue (all non-negative).
int64_t countInResidue(int64_t from, int64_t to, int residue, int modulus)
{
    auto below = [&](int64_t n) { return (n + modulus - 1 - residue) / modulus; };
    return below(to) - below(from);
}

} // namespace

StrokePlan::StrokePlan(int width, int height, int density)
    : m_width(width)
    , m_height(height)
    , m_density(density)
    , m_period(density % 2 == 0 ? density : 2 * density)
    , m_rowOf(std::size_t(width) + 1)
    , m_kinds(std::size_t(height) * std::size_t(m_period), None)
{
    for (int i = 0; i <= width; ++i)
        m_rowOf[i] = int(int64_t(i) * height / width);
    planFalling();
    planRising();
}

// A stroke centred on row y; rows 0 and height - 1 take no centre. Written
// centre first, then below, then above, as the strokes are painted.
void StrokePlan::stroke(Column &column, int y, Kind centre, Kind below, Kind above) const
{
    if (y + 1 < m_height && y >= 1) {
        column[y] = centre;
        column[y + 1] = below;
        column[y - 1] = above;
    }
}

// Files a column's kinds under every phase with phase % modulus == residue.
void StrokePlan::apply(const Column &column, int residue, int modulus, bool overwrite)
{
    for (int phase = residue; phase < m_period; phase += modulus) {
        for (int y = 0; y < m_height; ++y) {
            if (column[y] != None || overwrite)
                m_kinds[std::size_t(y) * m_period + phase] = column[y];
        }
    }
}

// Line d meets column x at step i = x - d, so a column is crossed by the
// steps i = 0 .. width - 1 of its parity, from the largest i down (the lines
// are painted by increasing d). Every one of those points lies inside the
// picture and draws once.
void StrokePlan::planFalling()
{
    for (int parity = 0; parity < 2; ++parity) {
        Column column(m_height, None);
        int steps = 0;
        for (int i = m_width - 1; i >= 0; --i) {
            if (i % 2 != parity)
                continue;
            stroke(column, m_rowOf[i], FallingCentre, FallingRimBelowCentre, FallingRimAboveCentre);
            ++steps;
        }
        apply(column, parity, 2, true);
        const int64_t columns = countInResidue(m_width, 2 * int64_t(m_width), parity, 2);
        m_draws += uint64_t(columns) * uint64_t(steps);
    }
}

// The rising lines of one residue of the density cross a column at the
// steps i = 0 .. width of that residue, again from the largest i down. Each
// line draws once per step; each point inside the picture draws twice more.
void StrokePlan::planRising()
{
    const int64_t lines = (2 * int64_t(m_width) + m_density - 1) / m_density;
    m_draws += uint64_t(lines) * (uint64_t(m_width) + 1);
    for (int residue = 0; residue < m_density; ++residue) {
        Column column(m_height, None);
        int inside = 0;
        const int last = m_width - ((m_width - residue) % m_density + m_density) % m_density;
        for (int i = last; i >= 0; i -= m_density) {
            const int y = m_height - m_rowOf[i] + i / 7 + 1;
            if (y < 0 || y >= m_height)
                continue;
            stroke(column, y, RisingCentre, RisingRimBelowCentre, RisingRimAboveCentre);
            ++inside;
        }
        apply(column, residue, m_density, false);
        const int64_t columns = countInResidue(m_width, 2 * int64_t(m_width), residue, m_density);
        m_draws += 2 * uint64_t(columns) * uint64_t(inside);
    }
}
