#pragma once

#include <QByteArray>

// WebP has no field of its own for a picture's resolution: it goes into the
// file's Exif metadata, as XResolution and YResolution in dots per inch (a
// ratio of whole numbers, exact for any whole number of dots per metre).
// Returns the WebP file `webp` with an EXIF chunk holding the resolution,
// turned into the extended format when it is the simple one; `hasAlpha`
// says whether the picture holds transparency, as the extended header must.
// Empty when `webp` is not a WebP file this understands.
QByteArray withWebpResolution(const QByteArray &webp, int dotsPerMeterX, int dotsPerMeterY,
                              bool hasAlpha);
