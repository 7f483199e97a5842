#pragma once

#include <QImage>

// Every effect works on 32-bit pixels: RGB32 and ARGB32 pictures are used as
// they are, any other format becomes ARGB32 with the same colours.
inline bool isWorkingFormat(QImage::Format format)
{
    return format == QImage::Format_RGB32 || format == QImage::Format_ARGB32;
}

// The picture in a working format: the same pixels and metadata as
// QImage::convertToFormat(QImage::Format_ARGB32) gives, converted in bands
// of rows within the calling thread's budget. Null when memory runs out.
QImage toWorkingFormat(const QImage &image);
