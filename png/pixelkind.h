#pragma once

#include <QImage>

// What a picture's pixels need from a PNG file: colour or one grey channel,
// and an alpha channel or none.
struct PixelKind
{
    bool grey = true;
    bool opaque = true;

    PixelKind &operator&=(const PixelKind &other)
    {
        grey = grey && other.grey;
        opaque = opaque && other.opaque;
        return *this;
    }
};

// One pixel: grey when its red, green and blue are equal, opaque when its
// alpha is 255.
inline PixelKind pixelKind(QRgb pixel)
{
    return {qRed(pixel) == qGreen(pixel) && qGreen(pixel) == qBlue(pixel), qAlpha(pixel) == 255};
}

// The kind of `width` pixels of a row of 32-bit ARGB pixels, as if each
// were taken by pixelKind() and the answers combined.
PixelKind rowKind(const QRgb *row, int width);

// The kind of rows `first` .. `end` - 1 of an RGB32 or ARGB32 picture. The
// pixels of an RGB32 picture are opaque whatever their top byte holds.
PixelKind rowsKind(const QImage &image, int first, int end);
