#pragma once

#include <QImage>

#include <vector>

// Every effect works on 32-bit pixels: RGB32 and ARGB32 pictures are used as
// they are, any other format becomes ARGB32 with the same colours.
inline bool isWorkingFormat(QImage::Format format)
{
    return format == QImage::Format_RGB32 || format == QImage::Format_ARGB32;
}

// Converts a row of `width` pixels of a format to working pixels exactly as
// toWorkingFormat() does, for a reader that needs a row at a time.
using WorkingRowFunction = void (*)(const uchar *in, QRgb *out, int width);

// The row conversion of `format`: null for the working formats, which need
// none, and for the formats converted only by Qt, a picture at a time.
WorkingRowFunction workingRowFunction(QImage::Format format);

// The working format that a file of the same pixels as a picture of
// `format` is drawn in: Qt reads RGB pixels without alpha as RGB32, so
// RGB888 pictures count as RGB32; grey pictures, which Qt reads as
// Grayscale8, and any other format become ARGB32 as toWorkingFormat() makes
// them. An effect whose result tells RGB32 from ARGB32 gives its drawing of
// a picture read by rows in this format.
QImage::Format workingFormatAsFile(QImage::Format format);

// The picture in a working format: the same pixels and metadata as
// QImage::convertToFormat(QImage::Format_ARGB32) gives, converted in bands
// of rows within the calling thread's budget. Null when memory runs out.
QImage toWorkingFormat(const QImage &image);

// A picture's rows as working pixels, for a reader that goes a row at a
// time: a picture in a format with a row conversion is converted as each
// row is read, which spares a whole converted copy, and any other picture
// must already be in a working format. A row stays valid until the next is
// read; one reader per thread.
class WorkingRows
{
public:
    explicit WorkingRows(const QImage &image)
        : m_image(image)
        , m_convert(workingRowFunction(image.format()))
        , m_row(m_convert ? size_t(image.width()) : 0)
    {
        Q_ASSERT(m_convert || isWorkingFormat(image.format()));
    }

    const QRgb *row(int y) { return row(y, 0, m_image.width()); }
    // The pixels left .. left + count - 1 of row y.
    const QRgb *row(int y, int left, int count)
    {
        const uchar *line = m_image.constScanLine(y);
        if (!m_convert)
            return reinterpret_cast<const QRgb *>(line) + left;
        m_convert(line + qsizetype(left) * (m_image.depth() / 8), m_row.data(), count);
        return m_row.data();
    }

private:
    const QImage &m_image;
    WorkingRowFunction m_convert;
    std::vector<QRgb> m_row;
};

// Whether every pixel of a picture that WorkingRows reads is opaque; true
// for a format without alpha.
bool hasOnlyOpaquePixels(const QImage &image);

// The picture as it is when WorkingRows can read it, else converted by
// toWorkingFormat(). Null when memory runs out.
inline QImage readableByRows(const QImage &image)
{
    return workingRowFunction(image.format()) ? image : toWorkingFormat(image);
}
