#pragma once

// Row kernels of the separable Gaussian blur, shared by blur() and the edge
// map. Rows are raw 32-bit pixels; all four bytes of a pixel are filtered
// alike (callers ignore the alpha results), which keeps each loop a plain
// byte loop the compiler vectorises.

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#    define KESTROVA_VECTOR_CLONES __attribute__((target_clones("avx2", "default")))
#else
#    define KESTROVA_VECTOR_CLONES
#endif

// Horizontal pass over the bytes of pixels half .. width - half - 1:
// p(x) * w[half], then the pairs p(x + k) + p(x - k), summed as integers,
// times w[half - k] for k = 1 .. half, truncated.
template<int Half>
inline void horizontalBlurBytes(const unsigned char *__restrict src, unsigned char *__restrict dst,
                                int width, const double *w)
{
    const int end = (width - Half) * 4;
    for (int i = Half * 4; i < end; ++i) {
        double sum = src[i] * w[Half];
        for (int k = 1; k <= Half; ++k)
            sum += (src[i + 4 * k] + src[i - 4 * k]) * w[Half - k];
        dst[i] = static_cast<unsigned char>(int(sum));
    }
}

// Vertical pass: rows[Half] is the centre row, rows[Half +- k] its
// neighbours. The running value is truncated after every step, as the
// blurred byte is written back and read again each time.
template<int Half>
inline void verticalBlurBytes(const unsigned char *const *rows, unsigned char *__restrict dst,
                              int width, const double *w)
{
    // Local copies: the compiler may then keep the rows and weights in
    // registers and vectorise across the row.
    const unsigned char *row[2 * Half + 1];
    double weight[Half + 1];
    for (int k = 0; k <= 2 * Half; ++k)
        row[k] = rows[k];
    for (int k = 0; k <= Half; ++k)
        weight[k] = w[k];
    const int end = (width - Half) * 4;
    for (int i = Half * 4; i < end; ++i) {
        double d = int(row[Half][i] * weight[Half]);
        for (int k = 1; k <= Half; ++k)
            d = int(d + (row[Half + k][i] + row[Half - k][i]) * weight[Half - k]);
        dst[i] = static_cast<unsigned char>(int(d));
    }
}

// The seven-tap kernels the edge map uses, in vectorised builds.
void horizontalBlurRow7(const unsigned char *src, unsigned char *dst, int width, const double *w);
void verticalBlurRow7(const unsigned char *const *rows, unsigned char *dst, int width,
                      const double *w);
