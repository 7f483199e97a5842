#pragma once

#include <QImage>

// The contour layer of an edge map: an ARGB32 picture of `size` whose every
// pixel is level(255 - edge, black, white).
QImage contourLayer(QSize size, const unsigned char *edges, int black, int white);

// Multiplies the contour layer over `image` in place: the same pixels as
// multiply(image, contourLayer(...)), without building the layer for opaque
// 32-bit pictures.
void multiplyContours(QImage &image, const unsigned char *edges, int black, int white);
