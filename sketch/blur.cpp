#include "blur.h"

#include "blurrows.h"

#include <cmath>

std::vector<double> gaussianKernel(int size, double sigma)
{
    const int half = size / 2;
    std::vector<double> w(size > 0 ? size : 0);
    double sum = 0;
    for (int i = 0; i < size; ++i) {
        w[i] = sqrt(exp(-((i - half) * (i - half)) / (2 * sigma * sigma))
                    / (6.283 * sigma * sigma));
        sum += w[i];
    }
    for (double &weight : w)
        weight = weight / sum;
    return w;
}

KESTROVA_VECTOR_CLONES
void horizontalBlurRow7(const unsigned char *src, unsigned char *dst, int width, const double *w)
{
    horizontalBlurBytes(src, dst, width, w, 3);
}

KESTROVA_VECTOR_CLONES
void verticalBlurRow7(const unsigned char *const *rows, unsigned char *dst, int width,
                      const double *w)
{
    // Local copies the destination cannot alias: the compiler then keeps
    // rows and weights in registers and vectorises across the row.
    const unsigned char *row[7];
    double weight[4];
    for (int k = 0; k < 7; ++k)
        row[k] = rows[k];
    for (int k = 0; k < 4; ++k)
        weight[k] = w[k];
    verticalBlurBytes(row, dst, width, weight, 3);
}

namespace {

// Any kernel size; the seven-tap case goes through the vectorised rows.
void horizontalRow(const unsigned char *src, unsigned char *dst, int width, int half,
                   const double *w)
{
    if (half == 3)
        horizontalBlurRow7(src, dst, width, w);
    else
        horizontalBlurBytes(src, dst, width, w, half);
}

void verticalRow(const unsigned char *const *rows, unsigned char *dst, int width, int half,
                 const double *w)
{
    if (half == 3)
        verticalBlurRow7(rows, dst, width, w);
    else
        verticalBlurBytes(rows, dst, width, w, half);
}

// Copies the colour bytes of the blurred pixels into a destination row,
// keeping the destination's alpha bytes.
void storeColour(const unsigned char *row, unsigned char *dst, int width, int half)
{
    const auto *from = reinterpret_cast<const QRgb *>(row);
    auto *to = reinterpret_cast<QRgb *>(dst);
    for (int x = half; x < width - half; ++x)
        to[x] = (to[x] & 0xFF000000u) | (from[x] & 0x00FFFFFFu);
}

} // namespace

void blur(const QImage &source, QImage &destination, int size, double sigma)
{
    const int width = source.width();
    const int height = source.height();
    const int half = size / 2;
    if (source.depth() != 32 || destination.depth() != 32 || destination.size() != source.size()
        || !(half < width - half) || !(half < height - half))
        return;
    const std::vector<double> w = gaussianKernel(size, sigma);
    const qsizetype rowBytes = qsizetype(width) * 4;
    std::vector<unsigned char> horizontal(rowBytes * height);
    for (int y = 0; y < height; ++y)
        horizontalRow(source.constScanLine(y), &horizontal[y * rowBytes], width, half, w.data());

    std::vector<const unsigned char *> rows(size);
    std::vector<unsigned char> blurred(rowBytes);
    for (int y = half; y < height - half; ++y) {
        for (int k = -half; k <= half; ++k)
            rows[half + k] = &horizontal[(y + k) * rowBytes];
        verticalRow(rows.data(), blurred.data(), width, half, w.data());
        storeColour(blurred.data(), destination.scanLine(y), width, half);
    }
}
