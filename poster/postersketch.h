#pragma once

#include "contours.h"
#include "fixedposter.h"
#include "progress.h"
#include "randomsequence.h"

#include <QImage>
#include <QList>

struct PosterSettings
{
    int colours = 3;
    ContourSettings contours;
    // Fixed colours instead of the `colours` the poster would find; empty
    // for the poster's own.
    QList<PaletteColour> palette;
};

// The poster as the "Create" command makes it: Poster(), or fixedPoster()
// with the settings' palette, then, when contours are on, the contour layer
// of `edges` multiplied over it. `plain` receives the poster without
// contours, `colours` the colours it was painted with, each with its Lab
// centre. Reports as Poster() does.
QImage posterSketch(const QImage &source, const unsigned char *edges,
                    const PosterSettings &settings, RandomSequence &random,
                    const Progress &progress = {}, QImage *plain = nullptr,
                    QList<PaletteColour> *colours = nullptr);
