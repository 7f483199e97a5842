#include "pencilhatch.h"

#include "colour.h"
#include "imagebuffer.h"
#include "levels.h"
#include "workingformat.h"

#include <algorithm>
#include <vector>

namespace {

// Lightness tone of every pixel, truncate(L * 2.5) (0..250), row-major.
// Reports and yields once per column, spread over the rows.
std::vector<unsigned char> toneBuffer(const QImage &source, const Progress &progress)
{
    const int width = source.width();
    const int height = source.height();
    std::vector<unsigned char> tone(size_t(width) * size_t(height));
    unsigned char toneOfLightness[101];
    for (int L = 0; L <= 100; ++L)
        toneOfLightness[L] = static_cast<unsigned char>(int(L * 2.5));
    const LightnessTable &table = LightnessTable::instance();
    ColumnProgress columns(progress, 0, 60, width);
    columns.setYieldEachColumn(true);
    for (int y = 0; y < height; ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(source.constScanLine(y));
        unsigned char *row = tone.data() + qsizetype(y) * width;
        for (int x = 0; x < width; ++x)
            row[x] = toneOfLightness[table.lightness(line[x])];
        columns.advance(y + 1, height);
    }
    columns.finish();
    return tone;
}

// The source as ARGB32, in a new buffer of its own (RGB32 becomes opaque).
QImage asArgb32(const QImage &source)
{
    QImage result = newImage(source, QImage::Format_ARGB32);
    const QRgb alpha = source.format() == QImage::Format_RGB32 ? 0xFF000000u : 0u;
    for (int y = 0; y < source.height(); ++y) {
        const auto *from = reinterpret_cast<const QRgb *>(source.constScanLine(y));
        auto *to = reinterpret_cast<QRgb *>(result.scanLine(y));
        for (int x = 0; x < source.width(); ++x)
            to[x] = from[x] | alpha;
    }
    return result;
}

// Paints strokes three pixels tall, straight into the picture's memory.
class StrokePainter
{
public:
    explicit StrokePainter(QImage &image)
        : m_bits(reinterpret_cast<QRgb *>(image.bits())),
          m_stride(image.bytesPerLine() / 4),
          m_height(image.height())
    {
    }
    // Centre c at (x, y), rim c2 below and above; rows 0 and height - 1 take
    // no centre.
    void stroke(int x, int y, int c, int c2) const
    {
        if (y + 1 < m_height && y >= 1) {
            QRgb *centre = m_bits + qsizetype(y) * m_stride + x;
            *centre = opaqueGrey(testw(c, 255));
            centre[m_stride] = opaqueGrey(testw(c2, 255));
            centre[-m_stride] = opaqueGrey(testw(c2, 255));
        }
    }

private:
    QRgb *m_bits;
    qsizetype m_stride;
    int m_height;
};

// Row (i * height) / width of every step i = 0 .. width along a line.
std::vector<int> rowsAlongLine(int width, int height)
{
    std::vector<int> rows(size_t(width) + 1);
    for (int i = 0; i <= width; ++i)
        rows[i] = int(qint64(i) * height / width);
    return rows;
}

// The jitter terms J and T are 0 for every draw this generator can give
// (the tests check all of its states), so the draws never change a grey:
// only their number matters, and it is counted here instead of drawn.

// Falling lines two columns apart, with one draw for every point inside the
// picture. Returns the number of draws.
uint64_t fallingStrokes(const unsigned char *tone, const std::vector<int> &rowOf, int width,
                        const StrokePainter &painter)
{
    uint64_t draws = 0;
    for (int d = -width; d < width; d += 2) {
        // Points with 0 <= x = d + i < width; their rows (i * height) / width
        // all lie inside the picture.
        const int first = std::max(0, -d);
        const int last = std::min(width, width - d);
        for (int i = first; i < last; ++i) {
            const int x = d + i;
            const int y = rowOf[i];
            const int g = tone[qsizetype(y) * width + x];
            const int t = std::min(g + 10, 255);
            const int c = std::min(t - 10, 255);
            const int c2 = std::min(c + 10, 255);
            painter.stroke(x, y, c, c2);
        }
        draws += uint64_t(std::max(0, last - first));
    }
    return draws;
}

// Rising lines `density` columns apart. Each step draws once (the line
// moves down one row every seventh step), each point inside the picture
// draws twice more. Returns the number of draws.
uint64_t risingStrokes(const unsigned char *tone, const std::vector<int> &rowOf, int width,
                       int height, int density, const StrokePainter &painter)
{
    uint64_t draws = 0;
    for (int d = -width; d < width; d += density) {
        draws += uint64_t(width) + 1;
        // Steps i = 0 .. width with 0 <= x = d + i < width.
        const int first = std::max(0, -d);
        const int last = std::min(width + 1, width - d);
        for (int i = first; i < last; ++i) {
            const int offset = i / 7 + 1;
            const int y = height - rowOf[i] + offset;
            if (y < 0 || y >= height)
                continue;
            const int x = d + i;
            const int g = std::min<int>(tone[qsizetype(y) * width + x], 255);
            const int c = std::clamp(g - 10, 0, 255);
            const int c2 = std::min(c + 10, 255);
            painter.stroke(x, y, c, c2);
            draws += 2;
        }
    }
    return draws;
}

} // namespace

QImage pencilhatch(QImage source, int minColour, int maxColour, int density, int contrast,
                   bool contours, RandomSequence &random, const Progress &progress)
{
    Q_UNUSED(minColour);
    Q_UNUSED(maxColour);
    Q_UNUSED(contours);
    // `source` is this call's own copy: events processed below may replace
    // the caller's picture without touching it.
    source = toWorkingFormat(source);
    QImage result = asArgb32(source);
    const int width = source.width();
    const int height = source.height();
    const std::vector<unsigned char> tone = toneBuffer(source, progress);
    if (width > 0 && height > 0) {
        const std::vector<int> rowOf = rowsAlongLine(width, height);
        const StrokePainter painter(result);
        uint64_t draws = fallingStrokes(tone.data(), rowOf, width, painter);
        draws += risingStrokes(tone.data(), rowOf, width, height, std::max(density, 1), painter);
        random.skip(draws);
    }
    if (contrast > 0)
        contrastimg(result, contrast);
    return result;
}
