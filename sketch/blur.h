#pragma once

#include <QImage>

#include <vector>

// The normalised Gaussian weights of a blur of `size` taps.
std::vector<double> gaussianKernel(int size, double sigma);

// Separable Gaussian blur of the colour bytes of a 32-bit picture into a
// second 32-bit picture of the same size. Only pixels at least size / 2 away
// from every border are written, and never their alpha bytes.
void blur(const QImage &source, QImage &destination, int size, double sigma);
