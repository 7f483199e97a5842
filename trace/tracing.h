#pragma once

#include <QtGlobal>

#include <vector>

// A corner of the pixel grid: (0, 0) is the picture's top left corner,
// (width, height) its bottom right one.
struct TracePoint
{
    qint32 x;
    qint32 y;

    bool operator==(const TracePoint &other) const { return x == other.x && y == other.y; }
    bool operator!=(const TracePoint &other) const { return !(*this == other); }
};

// One boundary between two regions, from a node (a corner where three or
// more boundaries meet, or a corner of the picture) to a node, or a closed
// ring that meets no other boundary. Both regions use it: `left` going
// forward, `right` going backward.
struct Chain
{
    // Its points in Tracing::points, both ends included; a ring ends where
    // it starts.
    qint32 first = 0;
    qint32 count = 0;
    // Regions on either side; -1 outside the picture.
    qint32 left = -1;
    qint32 right = -1;
};

// The regions of a picture and their outlines, drawn from shared chains.
// Each region's outline is one or more closed loops; the region lies to the
// left of every loop (the outer loop runs counter-clockwise on the screen,
// the loops around its holes clockwise), so both the nonzero and the
// even-odd rule fill exactly the region.
struct Tracing
{
    int width = 0;
    int height = 0;
    std::vector<quint32> regionLabel;
    std::vector<qint64> regionArea;
    std::vector<TracePoint> points;
    // Empty, or one flag per point: a corner flagged 1 is drawn as a
    // quadratic curve from the middle of the segment before it to the
    // middle of the segment after it, the corner its control point. The
    // ends of chains are never flagged, so the curve is the same whichever
    // way the chain runs.
    std::vector<unsigned char> rounded;
    std::vector<Chain> chains;
    // A half is a chain with its direction: 2c runs chain c forward, with
    // its left region; 2c + 1 backward, with its right one.
    std::vector<qint32> halves;
    // Loop l is halves[loopStart[l] .. loopStart[l + 1] - 1], in order.
    std::vector<qint32> loopStart;
    // Region r's loops are regionLoopStart[r] .. regionLoopStart[r + 1] - 1.
    std::vector<qint32> regionLoopStart;

    int regionCount() const { return int(regionLabel.size()); }
    int loopCount() const { return int(loopStart.size()) - 1; }
    // The points of a loop, the start not repeated at the end; with
    // `rounded`, their flags too.
    std::vector<TracePoint> loopPoints(int loop,
                                       std::vector<unsigned char> *rounded = nullptr) const;
};
