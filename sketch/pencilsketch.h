#pragma once

#include "autolevels.h"
#include "contours.h"
#include "progress.h"
#include "randomsequence.h"

#include <QImage>

struct PencilSettings
{
    // The spacing of the rising strokes.
    int density = 6;
    // The tone levels of the hatching.
    int black = 60;
    int white = 180;
    ContourSettings contours;
};

// The pencil sketch as the "Create" command makes it: the hatching, its tone
// levels, and the contour layer multiplied over it when contours are on.
// Reports the hatching's column values, then 70, 80 and 99. When `hatch` or
// `pen` are given they receive the raw hatching and the levelled one.
QImage pencilSketch(const QImage &source, const unsigned char *edges,
                    const PencilSettings &settings, RandomSequence &random,
                    const Progress &progress = {}, QImage *hatch = nullptr, QImage *pen = nullptr);

// pencilSketch() with the tone levels chosen from the hatching's own tones
// by chooseToneLevels() in place of the settings' black and white; `levels`
// receives them. The settings' density and contours apply as given.
QImage pencilSketchAutoLevels(const QImage &source, const unsigned char *edges,
                              const PencilSettings &settings, RandomSequence &random,
                              const Progress &progress, ToneLevels *levels);

// The stored raw hatching with new tone levels: what the pencil page redraws
// when its black or white slider moves, before the contours go over it.
QImage levelledHatching(const QImage &hatch, int black, int white);
