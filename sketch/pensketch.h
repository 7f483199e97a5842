#pragma once

#include "progress.h"

#include <QImage>

// The pen sketch: a picture of `source`'s size and format whose every pixel
// is level(255 - edge, black, white). Reports 95 * x / width + 5 after each
// column x.
QImage pensketch(const QImage &source, const unsigned char *edges, int black, int white,
                 const Progress &progress = {});
