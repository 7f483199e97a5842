#pragma once

#include <QImage>

// Multiply-blends `layer` over `destination` at (0, 0), in place, exactly as
// QPainter's CompositionMode_Multiply does.
void multiply(QImage &destination, const QImage &layer);

// True for RGB32 pictures and ARGB32 pictures whose every pixel is opaque.
bool isOpaque32(const QImage &image);

// The channel product QPainter gives for opaque pixels; it rounds
// differently for the two 32-bit destination formats.
inline int multiplyChannelArgb32(int d, int s)
{
    // (d * s + 127) / 255, in shifts: equal for every pair of bytes.
    const int n = d * s + 127;
    return (n + 1 + (n >> 8)) >> 8;
}
inline int multiplyChannelRgb32(int d, int s)
{
    const int t = d * s;
    return (t + (t >> 8) + 0x80) >> 8;
}
