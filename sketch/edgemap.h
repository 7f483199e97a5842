#pragma once

#include "progress.h"

#include <QImage>

// Fills `edges` (width x height bytes, row-major) with the Sobel gradient
// magnitude of the CIE lightness of `image` after a 7-tap Gaussian blur,
// truncated and clamped to 255. The one-pixel outer frame is 0.
//
// Progress runs 0..29 (one value per column), 40, 40..69 and 70..99.
void labsobellight2(const QImage &image, unsigned char *edges, const Progress &progress = {});
