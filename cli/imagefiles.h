#pragma once

// The tool's side of picture files: "-" for standard input and output, the
// run's stop, and the names its messages give. Reading and writing
// themselves are picturefiles.h's.

#include "picturefiles.h"

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

// readPictureFile(), or readPictureData() of standard input for "-".
QImage readPicture(const QString &path, bool autoOrient, QString *error, QStringList *warnings);

// writePictureFile(), given up once the run is stopped. "-" writes to
// standard output once the whole picture is encoded.
bool writePicture(const QImage &image, const QString &path, Encoding encoding, QString *error);
