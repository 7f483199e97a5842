#pragma once

#include "contours.h"
#include "progress.h"
#include "randomsequence.h"

#include <QImage>

struct PosterSettings
{
    int colours = 3;
    ContourSettings contours;
};

// The poster as the "Create" command makes it: Poster(), then, when
// contours are on, the contour layer of `edges` multiplied over it. `plain`
// receives the poster without contours. Reports as Poster() does.
QImage posterSketch(const QImage &source, const unsigned char *edges,
                    const PosterSettings &settings, RandomSequence &random,
                    const Progress &progress = {}, QImage *plain = nullptr);
