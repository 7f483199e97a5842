#pragma once

#include <QImage>
#include <QSize>
#include <QString>

class QImageReader;

// The largest picture the window and kestrova-cli draw: 256 megapixels, more
// than any camera makes (a 200 MP phone picture, a 150 MP medium-format
// back). Every size product below is formed in 64 bits.
constexpr qint64 MaxPicturePixels = 256000000;

// The widest pixel Qt's readers give: four 32-bit floats (a floating-point
// TIFF). A picture of MaxPicturePixels such pixels is the largest
// allocation a reader may make.
constexpr qint64 WidestReaderPixelBytes = 16;

// The most bytes a file of such a picture takes: every pixel stored whole,
// uncompressed, and room for what else a file holds.
constexpr qint64 MaxPictureFileBytes
        = MaxPicturePixels * WidestReaderPixelBytes + (qint64(64) << 20);

// QImageReader's allocation limit, in megabytes, that admits every picture
// of up to MaxPicturePixels in any format the readers give.
int pictureAllocationLimit();

// Empty when a picture of `size` is drawn; otherwise why it is not, for a
// message that names the file first. A size that is not known yet (invalid)
// passes.
QString pictureSizeProblem(QSize size);

// Reads the picture `reader` is set up for. The size its header claims is
// checked before anything is decoded, so a picture too large to draw costs
// no memory; the allocation limit is in force as well, for readers that only
// learn the size while decoding. On failure returns a null picture and sets
// `error`.
QImage readWithinLimits(QImageReader &reader, QString *error);
