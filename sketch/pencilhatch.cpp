#include "pencilhatch.h"

#include "colour.h"
#include "imagebuffer.h"
#include "largearray.h"
#include "levels.h"
#include "parallel.h"
#include "stagetimer.h"
#include "strokeplan.h"
#include "workingformat.h"

#include <algorithm>
#include <vector>

// The strokes are painted in a fixed order, each later stroke over the
// earlier ones. Every stroke in a column takes its greys from the tone of
// that column, and which strokes reach a column depends only on the column's
// place in the line spacing. So the last stroke that reaches each pixel is
// known ahead for every row and spacing phase (StrokePlan), and the picture
// is then written in one pass, row by row.
//
// The jitter terms J and T are 0 for every draw this generator can give (the
// tests check all of its states), so the draws never change a grey or a
// line: only their number matters, and it is counted instead of drawn.

namespace {

// Lightness tone of every pixel, truncate(L * 2.5) (0..250), row-major.
// Reports and yields once per column, spread over the rows.
LargeArray<unsigned char> toneBuffer(const QImage &source, const Progress &progress)
{
    const int width = source.width();
    const int height = source.height();
    // Every byte is written by the bands, which touch their own pages first.
    LargeArray<unsigned char> tone(size_t(width) * size_t(height),
                                   LargeArray<unsigned char>::Uninitialized);
    unsigned char toneOfLightness[101];
    for (int L = 0; L <= 100; ++L)
        toneOfLightness[L] = static_cast<unsigned char>(int(L * 2.5));
    const LightnessTable &table = LightnessTable::instance();
    ColumnProgress columns(progress, 0, 60, width);
    columns.setYieldEachColumn(true);
    parallelBands(
            height, rowsOf(HeavyBandPixels, width),
            [&](int first, int end) {
                WorkingRows rows(source);
                for (int y = first; y < end; ++y) {
                    const QRgb *line = rows.row(y);
                    unsigned char *row = tone.data() + qsizetype(y) * width;
                    for (int x = 0; x < width; ++x)
                        row[x] = toneOfLightness[table.lightness(line[x])];
                }
            },
            columns.bandProgress(height));
    columns.finish();
    return tone;
}

// The grey of every kind of stroke pixel for every tone.
class StrokeGreys
{
public:
    StrokeGreys()
    {
        for (int g = 0; g < 256; ++g) {
            // Falling lines: c = min(min(g + 10, 255) - 10 + J, 255).
            const int falling = std::min(std::min(g + 10, 255) - 10, 255);
            // Rising lines: c = g - 10 + J, clamped to 0..255.
            const int rising = std::clamp(std::min(g, 255) - 10, 0, 255);
            set(StrokePlan::FallingCentre, g, falling);
            set(StrokePlan::FallingRimBelowCentre, g, std::min(falling + 10, 255));
            set(StrokePlan::FallingRimAboveCentre, g, std::min(falling + 10, 255));
            set(StrokePlan::RisingCentre, g, rising);
            set(StrokePlan::RisingRimBelowCentre, g, std::min(rising + 10, 255));
            set(StrokePlan::RisingRimAboveCentre, g, std::min(rising + 10, 255));
        }
    }
    QRgb grey(int kind, int tone) const { return m_grey[kind][tone]; }

private:
    void set(int kind, int tone, int c) { m_grey[kind][tone] = opaqueGrey(testw(c, 255)); }

    QRgb m_grey[StrokePlan::Kinds][256] = {};
};

// Writes the rows first .. end - 1 of the hatching: each pixel takes the
// grey of the last stroke that reaches it, or the source colour (as ARGB32)
// when none does.
void paintRows(const QImage &source, const unsigned char *tone, const StrokePlan &plan,
               uchar *result, qsizetype resultBytesPerLine, int first, int end)
{
    static const StrokeGreys greys;
    const int width = source.width();
    const QRgb opaque = source.format() == QImage::Format_RGB32 ? 0xFF000000u : 0u;
    const int period = plan.period();
    WorkingRows rows(source);
    for (int y = first; y < end; ++y) {
        const QRgb *from = rows.row(y);
        auto *to = reinterpret_cast<QRgb *>(result + y * resultBytesPerLine);
        const unsigned char *kinds = plan.row(y);
        int phase = width % period;
        for (int x = 0; x < width; ++x) {
            const int kind = kinds[phase];
            if (kind == StrokePlan::None) {
                to[x] = from[x] | opaque;
            } else {
                const int toneRow = y + StrokePlan::toneRowOffset(kind);
                to[x] = greys.grey(kind, tone[qsizetype(toneRow) * width + x]);
            }
            if (++phase == period)
                phase = 0;
        }
    }
}

void paint(const QImage &source, const unsigned char *tone, const StrokePlan &plan, QImage &result)
{
    uchar *bits = result.bits();
    const qsizetype bytesPerLine = result.bytesPerLine();
    parallelBands(source.height(), rowsOf(HeavyBandPixels, source.width()),
                  [&](int first, int end) {
                      paintRows(source, tone, plan, bits, bytesPerLine, first, end);
                  });
}

} // namespace

QImage pencilhatch(QImage source, int minColour, int maxColour, int density, int contrast,
                   bool contours, RandomSequence &random, const Progress &progress)
{
    Q_UNUSED(minColour);
    Q_UNUSED(maxColour);
    Q_UNUSED(contours);
    StageTimer timer("pencilhatch");
    // `source` is this call's own copy: events processed below may replace
    // the caller's picture without touching it.
    source = readableByRows(source);
    const LargeArray<unsigned char> tone = toneBuffer(source, progress);
    timer.stage("tone buffer");
    QImage result = newImage(source, QImage::Format_ARGB32);
    if (source.width() > 0 && source.height() > 0) {
        const StrokePlan plan(source.width(), source.height(), std::max(density, 1));
        timer.stage("plan");
        paint(source, tone.data(), plan, result);
        random.skip(plan.draws());
        timer.stage("strokes");
    }
    if (contrast > 0)
        contrastimg(result, contrast);
    return result;
}
