#pragma once

#include "labelmap.h"
#include "progress.h"
#include "tracing.h"

// How a label map becomes outlines.
struct TraceSettings
{
    // Whether the outlines are simplified within `tolerance` pixels, or
    // follow the pixels' sides exactly.
    bool simplify = true;
    double tolerance = 1.0;
    // Whether the simplified outlines' corners are rounded where that
    // keeps them within the tolerance and apart.
    bool curves = true;
    // Regions smaller than this many pixels join a neighbour first; 0 keeps
    // every pixel.
    qint64 minArea = 0;
};

// The regions of `map` and their outlines. Reports 0 .. 100.
Tracing traceLabels(const LabelMap &map, const TraceSettings &settings,
                    const Progress &progress = {});
