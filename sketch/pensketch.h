#pragma once

#include "progress.h"

#include <QImage>

struct PenSettings
{
    int black = 150;
    int white = 255;
};

// The pen sketch: a picture of `source`'s size, in the format that
// workingFormatAsFile() gives for it, whose every pixel is
// level(255 - edge, black, white). Reports 95 * x / width + 5 after each
// column x.
QImage pensketch(const QImage &source, const unsigned char *edges, const PenSettings &settings,
                 const Progress &progress = {});

// The same sketch as one grey byte a pixel (Format_Grayscale8), with the
// same progress: for a front end that keeps grey drawings as bytes.
QImage pensketchGrey(const QImage &source, const unsigned char *edges, const PenSettings &settings,
                     const Progress &progress = {});
