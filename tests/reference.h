#pragma once

// Slow, literal transcriptions of the picture operations, written for
// clarity and checked against the fast ones pixel for pixel. They loop column
// by column, read and write through pixel()/setPixel() and keep every
// intermediate exactly as the operations are defined.

#include "progress.h"
#include "randomsequence.h"

#include <QImage>

#include <vector>

namespace reference {

int rgbtol(unsigned int rgb);
void rgbtolab(unsigned int rgb, int *L, int *a, int *b);
QRgb lab2rgb(int L, int a, int b);
std::vector<double> kernel(int n, double sigma);
void blur(const QImage &source, QImage &destination, int n, double sigma);
// The blurred copy the edge map starts from, frame filled from the nearest
// blurred pixel.
QImage blurredCopy(const QImage &image);
void labsobellight2(const QImage &image, unsigned char *edges, const Progress &progress = {});
QRgb level(int v, int black, int white);
QImage pensketch(const QImage &source, const unsigned char *edges, int black, int white);
QImage pencilhatch(const QImage &source, int density, RandomSequence &random);

} // namespace reference
