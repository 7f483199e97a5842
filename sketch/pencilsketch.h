#pragma once

#include "progress.h"
#include "randomsequence.h"

#include <QImage>

struct PencilSettings
{
    int density = 6;
    int black = 60;
    int white = 180;
    bool contours = true;
    int contourBlack = 200;
    int contourWhite = 255;
};

// The pencil sketch as the "Create" command makes it: the hatching, its tone
// levels, and the contour layer multiplied over it when contours are on.
// Reports the hatching's column values, then 70, 80 and 99. When `hatch` or
// `pen` are given they receive the raw hatching and the levelled one.
QImage pencilSketch(const QImage &source, const unsigned char *edges,
                    const PencilSettings &settings, RandomSequence &random,
                    const Progress &progress = {}, QImage *hatch = nullptr, QImage *pen = nullptr);
