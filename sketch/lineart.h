#pragma once

#include <QImage>

// A grey drawing's lines alone, on a transparent layer: black whose opacity
// is what the grey lacks of white, so that laid over white the layer gives
// back the drawing. A translucent pixel's own alpha scales the opacity.
inline QRgb lineArtPixel(QRgb pixel)
{
    const int opacity = 255 - qRed(pixel);
    const int alpha = qAlpha(pixel);
    // Rounded to the nearest: opacity * alpha / 255.
    const int product = opacity * alpha + 128;
    return qRgba(0, 0, 0, (product + (product >> 8)) >> 8);
}

// The layer of a whole pen or pencil drawing (grey read from red), as an
// ARGB32 picture of its size. Null when memory runs out.
QImage lineArt(const QImage &drawing);
