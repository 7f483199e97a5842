#pragma once

#include <QImage>

// Every effect works on 32-bit pixels: RGB32 and ARGB32 pictures are used as
// they are, any other format becomes ARGB32 with the same colours.
inline bool isWorkingFormat(QImage::Format format)
{
    return format == QImage::Format_RGB32 || format == QImage::Format_ARGB32;
}

inline QImage toWorkingFormat(const QImage &image)
{
    if (image.isNull() || isWorkingFormat(image.format()))
        return image;
    return image.convertToFormat(QImage::Format_ARGB32);
}
