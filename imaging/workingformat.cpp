#include "workingformat.h"

#include "imagebuffer.h"
#include "parallel.h"
#include "vectorclones.h"

#include <QColorSpace>

#include <atomic>
#include <cstring>
#include <new>

namespace {

// Qt converts a picture of 2^17 bytes or more on its own threads. Smaller
// pieces are converted on the thread that asks, which keeps the conversion
// within that thread's budget; the rows of a piece convert alike whatever
// other rows share it.
constexpr qsizetype PieceBytes = (qsizetype(1) << 17) - 1;
// Pixels per band: a band converts a few pieces.
constexpr qint64 BandPixels = qint64(1) << 18;

// The size, resolution, offset, text and colour space that
// convertToFormat() gives its result, in memory that may take huge pages:
// a photograph's worth of fresh pages otherwise costs more than converting
// it.
QImage emptyLike(const QImage &image)
{
    QImage result;
    try {
        result = newImage(image, QImage::Format_ARGB32);
    } catch (const std::bad_alloc &) {
        return {};
    }
    result.setDevicePixelRatio(image.devicePixelRatio());
    result.setOffset(image.offset());
    result.setColorSpace(image.colorSpace());
    return result;
}

// The formats whose rows are converted here, byte for byte as Qt converts
// them, without a picture of their own in between: the ones NumPy arrays
// give.
KESTROVA_VECTOR_CLONES
void greyRow(const uchar *in, QRgb *out, int width)
{
    for (int x = 0; x < width; ++x)
        out[x] = 0xFF000000u | QRgb(in[x]) * 0x010101u;
}

KESTROVA_VECTOR_CLONES
void rgb888Row(const uchar *in, QRgb *out, int width)
{
    for (int x = 0; x < width; ++x, in += 3)
        out[x] = 0xFF000000u | QRgb(in[0]) << 16 | QRgb(in[1]) << 8 | in[2];
}

KESTROVA_VECTOR_CLONES
void rgba8888Row(const uchar *in, QRgb *out, int width)
{
    for (int x = 0; x < width; ++x, in += 4)
        out[x] = QRgb(in[3]) << 24 | QRgb(in[0]) << 16 | QRgb(in[1]) << 8 | in[2];
}

// Converts the rows of `image` from `first` up to `end` into `result`, a
// piece at a time. False when memory runs out.
class RowConverter
{
public:
    RowConverter(const QImage &image, QImage &result)
        : m_bits(image.constBits())
        , m_bytesPerLine(image.bytesPerLine())
        , m_width(image.width())
        , m_format(image.format())
        , m_colours(image.colorTable())
        , m_colourSpace(image.colorSpace())
        , m_target(result.bits())
        , m_targetBytesPerLine(result.bytesPerLine())
        , m_rowsPerPiece(int(qMax<qsizetype>(1, PieceBytes / m_bytesPerLine)))
        , m_row(workingRowFunction(m_format))
    {
    }

    bool convert(int first, int end) const
    {
        if (m_row) {
            for (int y = first; y < end; ++y)
                m_row(m_bits + qsizetype(y) * m_bytesPerLine,
                      reinterpret_cast<QRgb *>(m_target + qsizetype(y) * m_targetBytesPerLine),
                      m_width);
            return true;
        }
        for (int top = first; top < end; top += m_rowsPerPiece) {
            const int rows = qMin(m_rowsPerPiece, end - top);
            QImage piece(m_bits + qsizetype(top) * m_bytesPerLine, m_width, rows, m_bytesPerLine,
                         m_format);
            if (!m_colours.isEmpty())
                piece.setColorTable(m_colours);
            if (m_colourSpace.isValid())
                piece.setColorSpace(m_colourSpace);
            const QImage converted = piece.convertToFormat(QImage::Format_ARGB32);
            if (converted.isNull())
                return false;
            for (int y = 0; y < rows; ++y)
                memcpy(m_target + qsizetype(top + y) * m_targetBytesPerLine,
                       converted.constScanLine(y), size_t(m_width) * 4);
        }
        return true;
    }

private:
    const uchar *m_bits;
    qsizetype m_bytesPerLine;
    int m_width;
    QImage::Format m_format;
    QList<QRgb> m_colours;
    QColorSpace m_colourSpace;
    uchar *m_target;
    qsizetype m_targetBytesPerLine;
    int m_rowsPerPiece;
    WorkingRowFunction m_row;
};

} // namespace

WorkingRowFunction workingRowFunction(QImage::Format format)
{
    switch (format) {
    case QImage::Format_Grayscale8:
        return greyRow;
    case QImage::Format_RGB888:
        return rgb888Row;
    case QImage::Format_RGBA8888:
        return rgba8888Row;
    default:
        return nullptr;
    }
}

QImage::Format workingFormatAsFile(QImage::Format format)
{
    return format == QImage::Format_RGB32 || format == QImage::Format_RGB888
            ? QImage::Format_RGB32
            : QImage::Format_ARGB32;
}

bool hasOnlyOpaquePixels(const QImage &image)
{
    if (!image.hasAlphaChannel())
        return true;
    const int width = image.width();
    std::atomic<bool> opaque {true};
    parallelBands(image.height(), rowsOf(LightBandPixels, width), [&](int first, int end) {
        WorkingRows rows(image);
        for (int y = first; y < end && opaque.load(std::memory_order_relaxed); ++y) {
            const QRgb *line = rows.row(y);
            QRgb all = 0xFF000000u;
            for (int x = 0; x < width; ++x)
                all &= line[x];
            if (all < 0xFF000000u)
                opaque.store(false, std::memory_order_relaxed);
        }
    });
    return opaque.load(std::memory_order_relaxed);
}

QImage toWorkingFormat(const QImage &image)
{
    if (image.isNull() || isWorkingFormat(image.format()))
        return image;
    if (image.sizeInBytes() <= PieceBytes)
        return image.convertToFormat(QImage::Format_ARGB32);
    QImage result = emptyLike(image);
    if (result.isNull())
        return result;
    const RowConverter converter(image, result);
    std::atomic<bool> failed {false};
    const int grain = int(qMax<qint64>(1, BandPixels / image.width()));
    parallelBands(image.height(), grain, [&](int first, int end) {
        if (!converter.convert(first, end))
            failed.store(true, std::memory_order_relaxed);
    });
    return failed.load(std::memory_order_relaxed) ? QImage() : result;
}
