#pragma once

#include <QImage>

// The contour layer of the pencil sketch and the poster: the edge map
// levelled to dark lines on white and multiplied over the drawing.
struct ContourSettings
{
    bool on = true;
    int black = 200;
    int white = 255;
};

// The contour layer of an edge map: an ARGB32 picture of `size` whose every
// pixel is level(255 - edge, black, white).
QImage contourLayer(QSize size, const unsigned char *edges, int black, int white);

// Multiplies the contour layer over `image` in place: the same pixels as
// multiply(image, contourLayer(...)), without building the layer for opaque
// 32-bit pictures.
void multiplyContours(QImage &image, const unsigned char *edges, int black, int white);

// A copy of `picture` with the contour layer multiplied over it when the
// layer is on: what the pencil and poster pages show after their contour
// sliders move.
QImage withContours(const QImage &picture, const unsigned char *edges,
                    const ContourSettings &contours);
