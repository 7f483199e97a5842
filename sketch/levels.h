#pragma once

#include <QImage>

#include <functional>

// Tone mapping of one grey value: black at or below `black`, white above
// `white`, a linear stretch between.
QRgb level(int v, int black, int white);

// level() applied to the red channel of every pixel, in place.
void levelimg(QImage &image, int black, int white);

// Contrast curve on the red channel of every pixel, in place; the result is
// an opaque grey. Strengths outside 0..255 leave the picture untouched.
void contrastimg(QImage &image, int strength);

// Returns `a`; `b` is ignored.
int testw(int a, int b);

// The contour layer: every pixel of `layer` (32-bit, the edge map's size)
// becomes level(255 - edge, black, white); in a Format_Grayscale8 layer,
// every byte becomes that grey. `rowsDone`, when given, is told
// how many rows from the top are done, as parallelBands() reports them.
void penLevels(QImage &layer, const unsigned char *edges, int black, int white,
               const std::function<void(int)> &rowsDone = {});
