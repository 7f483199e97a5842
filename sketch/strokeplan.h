#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Which stroke of the pencil hatching paints each pixel last.
//
// The falling lines lie two columns apart and the rising lines `density`
// apart, so the strokes that reach a column depend only on the column's phase
// (x + width) mod period, with period the least common multiple of 2 and the
// density. For every row and phase the plan holds the kind of the last
// stroke pixel written there, found by replaying the strokes of one column
// of each phase in their painting order.
class StrokePlan
{
public:
    enum Kind : unsigned char {
        None,
        FallingCentre,
        FallingRimBelowCentre,
        FallingRimAboveCentre,
        RisingCentre,
        RisingRimBelowCentre,
        RisingRimAboveCentre,
        Kinds
    };

    StrokePlan(int width, int height, int density);

    int period() const { return m_period; }
    // The kinds of row y, indexed by phase.
    const unsigned char *row(int y) const
    {
        return &m_kinds[std::size_t(y) * std::size_t(m_period)];
    }
    // The row whose tone gives a pixel of this kind its grey, relative to the
    // pixel's own row: a rim takes the tone of its stroke's centre.
    static int toneRowOffset(int kind)
    {
        if (kind == FallingRimBelowCentre || kind == RisingRimBelowCentre)
            return -1;
        if (kind == FallingRimAboveCentre || kind == RisingRimAboveCentre)
            return 1;
        return 0;
    }
    // The random draws the whole hatching makes.
    uint64_t draws() const { return m_draws; }

private:
    using Column = std::vector<unsigned char>;

    void stroke(Column &column, int y, Kind centre, Kind below, Kind above) const;
    void planFalling();
    void planRising();
    void apply(const Column &column, int residue, int modulus, bool overwrite);

    int m_width;
    int m_height;
    int m_density;
    int m_period;
    std::vector<int> m_rowOf; // (i * height) / width for i = 0 .. width
    std::vector<unsigned char> m_kinds;
    uint64_t m_draws = 0;
};
