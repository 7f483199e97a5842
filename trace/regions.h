#pragma once

#include "labelmap.h"

#include <vector>

// The regions of a label map: pixels of one label joined through their
// sides. Pixels that touch only at a corner are never joined, whatever
// their labels, so a checkerboard is one region per square.
struct Regions
{
    int width = 0;
    int height = 0;
    // Every pixel's region, row by row; regions are numbered in the order
    // their first pixel comes, row by row.
    std::vector<qint32> id;
    // Each region's label and its number of pixels.
    std::vector<quint32> label;
    std::vector<qint64> area;

    int count() const { return int(label.size()); }
    qint32 at(int x, int y) const { return id[size_t(y) * size_t(width) + size_t(x)]; }
};

Regions findRegions(const LabelMap &map);

// Gives every region of fewer than `minArea` pixels the label of the
// neighbour it shares the most sides with (on a tie, the one found first),
// smallest regions first, so that specks join what surrounds them. A
// region that has grown past `minArea` by then stays. Returns the new map.
LabelMap mergeSpecks(const LabelMap &map, qint64 minArea);
