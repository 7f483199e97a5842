#pragma once

#include <QImage>
#include <QTransform>

#include <functional>
#include <utility>
#include <vector>

// Qt's smooth scaling of RGB32 and ARGB32_Premultiplied pictures, the one
// behind QImage::scaled() and scaledToWidth() with Qt::SmoothTransformation,
// written into a picture the caller keeps: in bands of rows on several
// threads, or only over the rows and columns that read a changed part of
// the source. The pixels are Qt's bit for bit: the same fixed-point sample
// points and weights, the same truncations, and when enlarging both ways
// the vertical step before the horizontal one, as Qt's SSE2 code does it.
class SmoothScale
{
public:
    // Whether `from` pictures scale to `to` here: sides from 1 to 32767,
    // within which Qt's fixed-point arithmetic does not overflow.
    static bool handles(QSize from, QSize to);

    SmoothScale(QSize from, QSize to);

    QSize from() const { return m_from; }
    QSize to() const { return m_to; }

    // The spans [left, right) of target row y to write, left to right;
    // none to leave the row alone.
    using Spans = std::vector<std::pair<int, int>>;
    using SpansOfRow = std::function<void(int y, Spans &spans)>;

    // Writes the spans of every target row, in bands of rows on the calling
    // thread's budget; spansOf() is called from several threads. `source`
    // has the size `from` and `target` the size `to`, both in the source's
    // format, RGB32 or ARGB32_Premultiplied.
    void scale(const QImage &source, QImage &target, const SpansOfRow &spansOf) const;
    // The whole target.
    void scale(const QImage &source, QImage &target) const;

    // The source rows target row y reads.
    int firstRowRead(int y) const { return m_y.firstRead[size_t(y)]; }
    int lastRowRead(int y) const { return m_y.lastRead[size_t(y)]; }
    // The target columns that read any of the source columns a .. b, as
    // [first, end); empty when none does.
    std::pair<int, int> columnsReading(int a, int b) const;

private:
    // The sample points and weights along one side.
    struct Axis
    {
        Axis(int source, int target);

        bool up;
        // The first source pixel read, and the weights (Qt's "apoints").
        std::vector<int> points;
        std::vector<int> weights;
        // The source pixels each target pixel reads, first to last.
        std::vector<int> firstRead;
        std::vector<int> lastRead;
        // For searches: the last pixel read by any target pixel up to each
        // one, and the first read by any from each one on. Both only grow,
        // whatever the rounding does to one target pixel's run.
        std::vector<int> lastReadSoFar;
        std::vector<int> firstReadFromHere;
    };

    // A picture's pixels, taken once before the bands start, so that no
    // thread detaches the picture.
    struct Plane
    {
        quint32 *bits;
        qsizetype stride;

        quint32 *line(int y) const { return bits + stride * y; }
    };

    void enlarge(const Plane &in, const Plane &out, int first, int end,
                 const SpansOfRow &spansOf) const;
    void reduce(const Plane &in, const Plane &out, bool opaque, int first, int end,
                const SpansOfRow &spansOf) const;
    quint32 reducePixel(const quint32 *pixel, qsizetype stride, int xWeight, int yWeight) const;

    QSize m_from;
    QSize m_to;
    Axis m_x;
    Axis m_y;
};

// The size and the transformation QImage::scaledToWidth(width, mode) uses on
// a picture of `size`; identity() means Qt returns the picture itself, an
// empty size (0 x 0) a null picture.
struct ScaleToWidth
{
    ScaleToWidth(QSize size, int width);

    bool identity() const { return matrix.type() == QTransform::TxNone; }

    QTransform matrix;
    QSize size;
};

// How Qt 6 scales a 32-bit picture smoothly to `to`: with its smooth scaler
// (ARGB32 converted to premultiplied and back), or by painting it with a
// transformed QPainter, which it does for ARGB32 pictures of fewer than
// 2^20 pixels that shrink by at most half.
enum class SmoothScalePath { Scaler, ScalerUnpremultiplied, Painter };
SmoothScalePath smoothScalePath(QImage::Format format, QSize from, QSize to);

// Paints rows first .. end - 1 of `target` the way QImage::transformed()
// does when it paints a smooth transformation: `target` (the size that
// ScaleToWidth gives, in the source's format) cleared, then `source` drawn
// with `matrix`. The rows outside the band are left alone.
void paintTransformedRows(const QImage &source, QImage &target, const QTransform &matrix, int first,
                          int end);
