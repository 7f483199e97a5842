#pragma once

#include "pngwriter.h"
#include "writtenformats.h"

#include <QByteArray>
#include <QIODevice>
#include <QImage>
#include <QSize>
#include <QString>
#include <QStringList>

#include <functional>

// Reads a picture as the window opens it (QImageReader under the size and
// allocation limits of readWithinLimits()) and converts it to the working
// format. `autoOrient` applies the EXIF orientation, which the window does
// not. On failure returns a null picture and sets `error`. The warnings Qt's
// image plugins give while reading go to `warnings` (a truncated JPEG, for
// one, is read with a warning only).
QImage readPictureFile(const QString &path, bool autoOrient, QString *error, QStringList *warnings);
// As readPictureFile(), from a file's bytes; the format is told by the
// content.
QImage readPictureData(const QByteArray &bytes, bool autoOrient, QString *error,
                       QStringList *warnings);

// The suffixes of the pictures a batch takes from folders, in lower case and
// in the order the help gives them. A fixed list, not every format Qt reads:
// Qt also reads icons, cursors, TGA, MNG, netpbm and X bitmaps, and a folder
// of photographs should not have its icons drawn, nor a batch take other
// files once another plugin is installed. The help is written from this
// list; tests/packaging checks the manual page's and the completion's
// against the help.
QStringList pictureSuffixes();
// Those of pictureSuffixes() this Qt has a reader for: without the image
// format plugins, a folder's TIFF and WebP files are left out rather than
// each failing to read.
QStringList readableSuffixes();

// How a drawing is encoded: `format` one of writtenFormats(); `quality`
// applies to the formats that take it (JPEG, WebP), the level and the
// threads to PNG only. Once `stopped` says so, the write gives up at its
// next block with `stopReason()` as its error.
struct Encoding
{
    QByteArray format;
    int quality = 100;
    PngLevel pngLevel = PngLevel::Fast;
    int threads = 1;
    std::function<bool()> stopped;
    std::function<QString()> stopReason;
};

// Encodes `image` into `target`. PNG goes through the drawing writer, the
// other formats through Qt's.
bool encodePicture(const QImage &image, QIODevice *target, const Encoding &encoding,
                   QString *reason);

// Writes `image` to `path` through a temporary file that replaces `path` only
// once the whole picture is written, so a failed, interrupted or stopped
// write leaves any earlier file as it was and no partial file behind.
bool writePictureFile(const QImage &image, const QString &path, const Encoding &encoding,
                      QString *error);
