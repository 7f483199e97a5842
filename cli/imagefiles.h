#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>
#include <QStringList>

// Reads a picture as the window opens it (QImageReader with its default
// settings, Qt's allocation limit included) and converts it to the working
// format. On failure returns a null picture and sets `error`. The warnings
// Qt's image plugins give while reading go to `warnings` (a truncated JPEG,
// for one, is read with a warning only).
QImage readPicture(const QString &path, QString *error, QStringList *warnings);

// The writer format for a file name's suffix: "png" or "jpeg", empty when the
// suffix names neither.
QByteArray formatForPath(const QString &path);

// Writes `image` to `path` through a temporary file that replaces `path` only
// once the whole picture is written, so a failed or interrupted write leaves
// any earlier file as it was and no partial file behind. `quality` applies to
// JPEG only.
bool writePicture(const QImage &image, const QString &path, const QByteArray &format, int quality,
                  QString *error);
