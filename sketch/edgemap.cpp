#include "edgemap.h"

#include "blur.h"
#include "blurrows.h"
#include "colour.h"
#include "largearray.h"
#include "parallel.h"
#include "stagetimer.h"
#include "workingformat.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

constexpr int BlurHalf = 3;
constexpr int Taps = 2 * BlurHalf + 1;
// Rows per band of the blur at the least: every band starts its ring of
// horizontally blurred rows afresh, six rows more than it keeps.
constexpr int BlurRows = 96;

// Lightness of each pixel of a row of blurred colours.
void lightnessRow(const QRgb *pixels, unsigned char *lightness, int from, int to)
{
    const LightnessTable &table = LightnessTable::instance();
    for (int x = from; x < to; ++x)
        lightness[x] = static_cast<unsigned char>(table.lightness(pixels[x]));
}

// The blurred copy's unwritten frame repeats the nearest blurred pixel, so
// its lightness repeats the nearest computed lightness.
void extendRow(unsigned char *lightness, int width)
{
    std::fill(lightness, lightness + BlurHalf, lightness[BlurHalf]);
    std::fill(lightness + width - BlurHalf, lightness + width, lightness[width - BlurHalf - 1]);
}

// Splits the lightness pass between the colour-collection and lightness
// sequences of progress values, with the cache's 40 between them.
class LightnessProgress
{
public:
    LightnessProgress(const Progress &progress, int width)
        : m_progress(progress)
        , m_collect(progress, 0, 30, width)
        , m_fill(progress, 40, 30, width)
    {
    }
    void advance(qint64 done, qint64 total)
    {
        if (total <= 0 || done * 2 < total) {
            m_collect.advance(done * 2, total);
            return;
        }
        finishCollecting();
        m_fill.advance(done * 2 - total, total);
    }
    void finish()
    {
        finishCollecting();
        m_fill.finish();
    }
    // For parallelBands(): `finished` of `total` rows are done.
    std::function<void(int)> bandProgress(qint64 total)
    {
        if (!m_progress.setValue)
            return {};
        return [this, total](int finished) { advance(finished, total); };
    }

private:
    void finishCollecting()
    {
        if (m_cacheReported)
            return;
        m_collect.finish();
        m_progress.report(40);
        m_cacheReported = true;
    }

    const Progress &m_progress;
    ColumnProgress m_collect;
    ColumnProgress m_fill;
    bool m_cacheReported = false;
};

void lightnessOfSource(const QImage &image, unsigned char *lightness, LightnessProgress &progress)
{
    const int width = image.width();
    const int height = image.height();
    parallelBands(
            height, rowsOf(HeavyBandPixels, width),
            [&](int first, int end) {
                WorkingRows rows(image);
                for (int y = first; y < end; ++y)
                    lightnessRow(rows.row(y), lightness + qsizetype(y) * width, 0, width);
            },
            progress.bandProgress(height));
}

// Blurs the rows first .. end - 1 with a ring of seven horizontally blurred
// rows, which starts BlurHalf rows above, and turns each blurred row
// straight into lightness; the blurred picture itself is never stored.
void blurredLightnessRows(const QImage &image, const double *w, unsigned char *lightness, int first,
                          int end)
{
    const int width = image.width();
    const qsizetype rowBytes = qsizetype(width) * 4;
    std::vector<unsigned char> ring(rowBytes * Taps);
    std::vector<unsigned char> blurred(rowBytes);
    auto ringRow = [&](int y) { return &ring[(y % Taps) * rowBytes]; };
    WorkingRows source(image);
    auto blurRow = [&](int y) {
        horizontalBlurRow7(reinterpret_cast<const unsigned char *>(source.row(y)), ringRow(y),
                           width, w);
    };

    for (int y = first - BlurHalf; y < first + BlurHalf; ++y)
        blurRow(y);
    const unsigned char *rows[Taps];
    for (int y = first; y < end; ++y) {
        blurRow(y + BlurHalf);
        for (int k = -BlurHalf; k <= BlurHalf; ++k)
            rows[BlurHalf + k] = ringRow(y + k);
        verticalBlurRow7(rows, blurred.data(), width, w);
        unsigned char *row = lightness + qsizetype(y) * width;
        lightnessRow(reinterpret_cast<const QRgb *>(blurred.data()), row, BlurHalf,
                     width - BlurHalf);
        extendRow(row, width);
    }
}

// The rows BlurHalf .. height - BlurHalf - 1 that the blur writes, in bands;
// the rows above and below repeat the nearest of them.
void lightnessOfBlurred(const QImage &image, unsigned char *lightness, LightnessProgress &progress)
{
    const int width = image.width();
    const int height = image.height();
    const std::vector<double> w = gaussianKernel(Taps, 1.4);
    const int blurredRows = height - 2 * BlurHalf;
    parallelBands(
            blurredRows, std::max(BlurRows, rowsOf(HeavyBandPixels, width)),
            [&](int first, int end) {
                blurredLightnessRows(image, w.data(), lightness, BlurHalf + first, BlurHalf + end);
            },
            progress.bandProgress(blurredRows));
    const unsigned char *top = lightness + qsizetype(BlurHalf) * width;
    const unsigned char *bottom = lightness + qsizetype(height - BlurHalf - 1) * width;
    for (int y = 0; y < BlurHalf; ++y) {
        memcpy(lightness + qsizetype(y) * width, top, width);
        memcpy(lightness + qsizetype(height - 1 - y) * width, bottom, width);
    }
}

KESTROVA_VECTOR_CLONES
void sobelRow(const unsigned char *above, const unsigned char *row, const unsigned char *below,
              unsigned char *edges, int width)
{
    for (int x = 1; x < width - 1; ++x) {
        const int gx = above[x + 1] + 2 * row[x + 1] + below[x + 1] - above[x - 1] - 2 * row[x - 1]
                - below[x - 1];
        const int gy = below[x - 1] + 2 * below[x] + below[x + 1] - above[x - 1] - 2 * above[x]
                - above[x + 1];
        // gx² + gy² stays below 2^24, where float holds it exactly and the
        // rounded root never reaches the next integer: this is floor(sqrt).
        const int m = int(sqrtf(float(gx * gx + gy * gy)));
        edges[x] = static_cast<unsigned char>(m < 256 ? m : 255);
    }
}

void sobel(const unsigned char *lightness, unsigned char *edges, int width, int height,
           const Progress &progress)
{
    ColumnProgress columns(progress, 70, 30, width, 1, width - 1);
    const int rows = height - 2;
    parallelBands(
            rows, rowsOf(LightBandPixels, width),
            [&](int first, int end) {
                for (int y = 1 + first; y < 1 + end; ++y) {
                    const qsizetype at = qsizetype(y) * width;
                    sobelRow(lightness + at - width, lightness + at, lightness + at + width,
                             edges + at, width);
                }
            },
            columns.bandProgress(rows));
    columns.finish();
}

void clearFrame(unsigned char *edges, int width, int height)
{
    if (width < 3 || height < 3) {
        memset(edges, 0, size_t(width) * size_t(height));
        return;
    }
    memset(edges, 0, width);
    memset(edges + qsizetype(height - 1) * width, 0, width);
    for (int y = 1; y < height - 1; ++y) {
        edges[qsizetype(y) * width] = 0;
        edges[qsizetype(y) * width + width - 1] = 0;
    }
}

} // namespace

void labsobellight2(const QImage &picture, unsigned char *edges, const Progress &progress)
{
    const QImage image = readableByRows(picture);
    const int width = image.width();
    const int height = image.height();
    if (width < 1 || height < 1) {
        // Nothing to scan: only the column sequences remain.
        LightnessProgress(progress, width).finish();
        ColumnProgress(progress, 70, 30, width, 1, width - 1).finish();
        return;
    }
    StageTimer timer("labsobellight2");
    // Every byte is written by the bands, which touch their own pages first.
    LargeArray<unsigned char> lightness(size_t(width) * size_t(height),
                                        LargeArray<unsigned char>::Uninitialized);
    LightnessProgress lightnessProgress(progress, width);
    if (width > 2 * BlurHalf && height > 2 * BlurHalf)
        lightnessOfBlurred(image, lightness.data(), lightnessProgress);
    else
        lightnessOfSource(image, lightness.data(), lightnessProgress);
    lightnessProgress.finish();
    timer.stage("blur and lightness");

    clearFrame(edges, width, height);
    sobel(lightness.data(), edges, width, height, progress);
    timer.stage("sobel");
}
