#include "imagefiles.h"

#include "picturelimits.h"
#include "standarderror.h"
#include "standardio.h"
#include "stop.h"

#include <QBuffer>
#include <QFileInfo>

namespace {

QString quoted(const QString &path)
{
    return QLatin1Char('\'') + path + QLatin1Char('\'');
}

// Once the run is stopped, the writes that fail on purpose must not litter
// the terminal with what libpng says of them.
bool stoppedQuietly()
{
    if (!stopRequested())
        return false;
    silenceLibraries();
    return true;
}

// The whole picture is encoded before the first byte goes out: a failure
// leaves nothing on standard output.
bool writeToStandardOutput(const QImage &image, const Encoding &encoding, QString *error)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    return encodePicture(image, &buffer, encoding, error) && writeStandardOutput(bytes, error);
}

} // namespace

bool isStandardStream(const QString &path)
{
    return path == QLatin1String("-");
}

QString inputName(const QString &path)
{
    return isStandardStream(path) ? QStringLiteral("standard input") : quoted(path);
}

QString outputName(const QString &path)
{
    return isStandardStream(path) ? QStringLiteral("standard output") : quoted(path);
}

QImage readPicture(const QString &path, bool autoOrient, QString *error, QStringList *warnings)
{
    if (!isStandardStream(path)) {
        if (QFileInfo(path).isDir()) {
            *error = QStringLiteral("it is a folder: add -r to draw the pictures in it");
            return {};
        }
        return readPictureFile(path, autoOrient, error, warnings);
    }
    QByteArray bytes;
    if (!readStandardInput(&bytes, error, MaxPictureFileBytes))
        return {};
    if (bytes.isEmpty()) {
        *error = QStringLiteral("nothing came in");
        return {};
    }
    return readPictureData(bytes, autoOrient, error, warnings);
}

bool writePicture(const QImage &image, const QString &path, Encoding encoding, QString *error)
{
    encoding.stopped = stoppedQuietly;
    encoding.stopReason = stopText;
    if (isStandardStream(path))
        return writeToStandardOutput(image, encoding, error);
    return writePictureFile(image, path, encoding, error);
}
