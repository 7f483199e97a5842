#include "pencilhatch.h"

#include "colour.h"
#include "levels.h"
#include "randomstream.h"
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

// Falling lines two columns apart: a draw for every point inside the
// picture, none for the others.
void fallingStrokes(const unsigned char *tone, const std::vector<int> &rowOf, int width,
                    int height, const StrokePainter &painter, RandomStream &random)
{
    for (int d = -width; d < width; d += 2) {
        const int first = std::max(0, -d);
        const int last = std::min(width, width - d); // exclusive: x < width
        for (int i = first; i < last; ++i) {
            const int y = rowOf[i];
            if (y >= height)
                continue;
            const int x = d + i;
            const int g = tone[qsizetype(y) * width + x];
            const int t = std::min(g + 10, 255);
            const int c = std::min(t - 10 + jitterJ(random.next()), 255);
            const int c2 = std::min(c + 10, 255);
            painter.stroke(x, y, c, c2);
        }
    }
}

// Rising lines `density` columns apart. A draw at every step (its jitter
// moves the line every seventh step), then two more for every point inside
// the picture, the second of them unused.
void risingStrokes(const unsigned char *tone, const std::vector<int> &rowOf, int width,
                   int height, int density, const StrokePainter &painter, RandomStream &random)
{
    for (int d = -width; d < width; d += density) {
        int offset = 0;
        for (int i = 0; i <= width; ++i) {
            const int r = random.next();
            if (i % 7 == 0)
                offset = offset + 1 - jitterT(r);
            const int x = d + i;
            if (x < 0 || x >= width)
                continue;
            const int y = height - rowOf[i] + offset;
            if (y < 0 || y >= height)
                continue;
            const int g = std::min<int>(tone[qsizetype(y) * width + x], 255);
            int c = g - 10 + jitterJ(random.next());
            c = c < 0 ? 0 : (c >= 255 ? 255 : c);
            const int c2 = std::min(c + 10, 255);
            random.next();
            painter.stroke(x, y, c, c2);
        }
    }
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
    QImage result = source.convertToFormat(QImage::Format_ARGB32);
    const int width = source.width();
    const int height = source.height();
    const std::vector<unsigned char> tone = toneBuffer(source, progress);
    if (width > 0 && height > 0) {
        const std::vector<int> rowOf = rowsAlongLine(width, height);
        const StrokePainter painter(result);
        RandomStream stream(random);
        fallingStrokes(tone.data(), rowOf, width, height, painter, stream);
        risingStrokes(tone.data(), rowOf, width, height, std::max(density, 1), painter, stream);
    }
    if (contrast > 0)
        contrastimg(result, contrast);
    return result;
}
