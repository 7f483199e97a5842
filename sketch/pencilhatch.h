#pragma once

#include "progress.h"
#include "randomsequence.h"

#include <QImage>

// Cross-hatched pencil strokes whose greys follow the lightness of `source`
// (an ARGB32 picture of the source's size). `minColour`, `maxColour` and
// `contours` are accepted for the callers' convenience and not used: the
// callers apply the levels and contours. `density` is the spacing of the
// rising strokes; `contrast` > 0 applies contrastimg() at the end.
//
// Reports 60 * x / width and yields once per column while it reads the
// lightness. The strokes draw from `random` in a fixed order and number;
// their jitter (below) is 0 for every value the generator gives.
QImage pencilhatch(QImage source, int minColour, int maxColour, int density, int contrast,
                   bool contours, RandomSequence &random, const Progress &progress = {});

// The random jitter terms of the strokes: the products wrap to signed 32
// bits first, so each is 0 but for a handful of values of r.
inline int jitterJ(int r)
{
    return int(uint32_t(r) * 20u) / 2147483647;
}
inline int jitterT(int r)
{
    return int(uint32_t(r) * 3u) / 2147483647;
}
