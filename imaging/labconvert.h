#pragma once

#include <QtGui/qrgb.h>

#include <cstddef>

// rgbtolab() for many colours at once, with the same integers: one Lab
// triple per colour, written to L, a and b. The colours' alpha is ignored.
void rgbtolabMany(const QRgb *colours, size_t count, qint16 *L, qint16 *a, qint16 *b);
