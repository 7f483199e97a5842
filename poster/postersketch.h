#pragma once

#include "progress.h"
#include "randomsequence.h"

#include <QImage>

struct PosterSettings
{
    int colours = 3;
    bool contours = true;
    int contourBlack = 200;
    int contourWhite = 255;
};

// The poster as the "Create" command makes it: Poster(), then, when
// contours are on, the contour layer of `edges` multiplied over it. `plain`
// receives the poster without contours. Reports as Poster() does.
QImage posterSketch(const QImage &source, const unsigned char *edges,
                    const PosterSettings &settings, RandomSequence &random,
                    const Progress &progress = {}, QImage *plain = nullptr);

// Multiplies the contour layer over a poster, in place.
void layPosterContours(QImage &poster, const unsigned char *edges, int black, int white);
