#pragma once

// Row kernels of the separable Gaussian blur, shared by blur() and the edge
// map. Rows are raw 32-bit pixels; all four bytes of a pixel are filtered
// alike (callers ignore the alpha results), which keeps each loop a plain
// byte loop the compiler vectorises.

#include "vectorclones.h"

#include <cstddef>

// Horizontal pass over the bytes of pixels half .. width - half - 1:
// p(x) * w[half], then the pairs p(x + k) + p(x - k), summed as integers,
// times w[half - k] for k = 1 .. half, truncated.
inline void horizontalBlurBytes(const unsigned char *__restrict src, unsigned char *__restrict dst,
                                int width, const double *w, int half)
{
    const std::ptrdiff_t end = std::ptrdiff_t(width - half) * 4;
    for (std::ptrdiff_t i = std::ptrdiff_t(half) * 4; i < end; ++i) {
        double sum = src[i] * w[half];
        for (int k = 1; k <= half; ++k)
            sum += (src[i + 4 * k] + src[i - 4 * k]) * w[half - k];
        dst[i] = static_cast<unsigned char>(int(sum));
    }
}

// Vertical pass: rows[half] is the centre row, rows[half +- k] its
// neighbours. The running value is truncated after every step, as the
// blurred byte is written back and read again each time.
inline void verticalBlurBytes(const unsigned char *const *rows, unsigned char *__restrict dst,
                              int width, const double *w, int half)
{
    const std::ptrdiff_t end = std::ptrdiff_t(width - half) * 4;
    for (std::ptrdiff_t i = std::ptrdiff_t(half) * 4; i < end; ++i) {
        double d = int(rows[half][i] * w[half]);
        for (int k = 1; k <= half; ++k)
            d = int(d + (rows[half + k][i] + rows[half - k][i]) * w[half - k]);
        dst[i] = static_cast<unsigned char>(int(d));
    }
}

// The seven-tap kernels the edge map uses, in vectorised builds.
void horizontalBlurRow7(const unsigned char *src, unsigned char *dst, int width, const double *w);
void verticalBlurRow7(const unsigned char *const *rows, unsigned char *dst, int width,
                      const double *w);
