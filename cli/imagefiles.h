#pragma once

#include "pngwriter.h"

#include <QByteArray>
#include <QImage>
#include <QString>
#include <QStringList>

// "-" as a path: standard input for a picture to read, standard output for
// one to write.
bool isStandardStream(const QString &path);
// A path as messages name it: 'quoted', or "standard input" for "-".
QString inputName(const QString &path);
// As inputName(), "standard output" for "-".
QString outputName(const QString &path);

// Reads a picture as the window opens it (QImageReader under the size and
// allocation limits of readWithinLimits()) and converts it to the working
// format. `autoOrient` applies the EXIF orientation, which the window does
// not. "-" reads standard input, the format told by the content. On failure
// returns a null picture and sets `error`. The warnings Qt's image plugins
// give while reading go to `warnings` (a truncated JPEG, for one, is read
// with a warning only).
QImage readPicture(const QString &path, bool autoOrient, QString *error, QStringList *warnings);

// The suffixes of the pictures -r takes from folders, in lower case and in
// the order the help gives them. A fixed list, not every format Qt reads:
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

// The writer format for a file name's suffix: "png" or "jpeg", empty when the
// suffix names neither.
QByteArray formatForPath(const QString &path);

// The name messages give a writer format: "PNG", "JPEG".
QString formatLabel(const QByteArray &format);
// Whether --quality changes the files of `format`.
bool formatTakesQuality(const QByteArray &format);

// Empty when a picture of `size` fits a file of `format` ("png" or "jpeg");
// otherwise the most that does, as words.
QString writeSizeProblem(QSize size, const QByteArray &format);

// How a drawing is encoded: `format` "png" or "jpeg"; `quality` applies to
// JPEG only, the level and the threads to PNG only.
struct Encoding
{
    QByteArray format;
    int quality = 100;
    PngLevel pngLevel = PngLevel::Fast;
    int threads = 1;
};

// Writes `image` to `path` through a temporary file that replaces `path` only
// once the whole picture is written, so a failed, interrupted or stopped
// write leaves any earlier file as it was and no partial file behind.
// "-" writes to standard output once the whole picture is encoded. PNG goes
// through the drawing writer, JPEG through Qt's.
bool writePicture(const QImage &image, const QString &path, const Encoding &encoding,
                  QString *error);
