#include "picturefiles.h"

#include "filediagnostics.h"
#include "picturelimits.h"
#include "stoppablewriter.h"
#include "workingformat.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QSaveFile>

#include <climits>

namespace {

QImage readWith(QImageReader &reader, bool autoOrient, QString *error, QStringList *warnings)
{
    // Only when asked: the window shows pictures as they are stored.
    if (autoOrient)
        reader.setAutoTransform(true);
    QImage image;
    QString reason;
    QStringList libraryLines;
    {
        WarningCapture capture;
        LibraryOutput library;
        image = readWithinLimits(reader, &reason);
        *warnings = capture.messages();
        libraryLines = library.take();
    }
    if (image.isNull() && !reason.isEmpty()) {
        *error = withWarnings(reason, *warnings + libraryLines);
        warnings->clear();
        return {};
    }
    if (image.isNull() || image.width() < 1 || image.height() < 1) {
        *error = QStringLiteral("the picture is empty");
        return {};
    }
    QImage working = toWorkingFormat(image);
    if (working.isNull())
        *error = QStringLiteral("not enough memory to convert the picture");
    return working;
}

bool stopped(const Encoding &encoding)
{
    return encoding.stopped && encoding.stopped();
}

QString stopReason(const Encoding &encoding)
{
    return encoding.stopReason ? encoding.stopReason() : QStringLiteral("stopped");
}

// PNG through the drawing writer, which also looks at the stop between its
// bands.
bool encodePng(const QImage &image, QIODevice *device, const Encoding &encoding, QString *reason)
{
    PngWriteOptions options;
    options.level = encoding.pngLevel;
    options.threads = encoding.threads;
    options.stopped = encoding.stopped;
    if (writePng(image, device, options, reason))
        return true;
    if (stopped(encoding))
        *reason = stopReason(encoding);
    return false;
}

// Why a write failed: the file's own error (a full disk, a size limit) when
// there is one, it says more than the writer's. A short write records an
// error without the system's reason; writing out the bytes still buffered
// brings it out.
QString writeFailure(QSaveFile &file, const QString &writerReason)
{
    file.flush();
    if (file.error() != QFileDevice::NoError)
        return file.errorString();
    return writerReason;
}

} // namespace

QImage readPictureFile(const QString &path, bool autoOrient, QString *error, QStringList *warnings)
{
    // Qt says "File not found" of a file it may not open: the system's
    // reason is clearer.
    if (QFileInfo(path).isDir()) {
        *error = QStringLiteral("it is a folder");
        return {};
    }
    QFile file(path);
    if (file.exists() && !file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return {};
    }
    QImageReader reader(path);
    return readWith(reader, autoOrient, error, warnings);
}

QImage readPictureData(const QByteArray &bytes, bool autoOrient, QString *error,
                       QStringList *warnings)
{
    QByteArray data = bytes;
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    return readWith(reader, autoOrient, error, warnings);
}

QStringList pictureSuffixes()
{
    return {QStringLiteral("png"), QStringLiteral("jpg"), QStringLiteral("jpeg"),
            QStringLiteral("bmp"), QStringLiteral("tif"), QStringLiteral("tiff"),
            QStringLiteral("gif"), QStringLiteral("webp")};
}

QStringList readableSuffixes()
{
    // Qt names its formats by their usual suffixes, "jpg" and "tif" included.
    const QList<QByteArray> readable = QImageReader::supportedImageFormats();
    QStringList suffixes;
    for (const QString &suffix : pictureSuffixes()) {
        if (readable.contains(suffix.toLatin1()))
            suffixes << suffix;
    }
    return suffixes;
}

QByteArray formatForPath(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("png"))
        return "png";
    if (suffix == QLatin1String("jpg") || suffix == QLatin1String("jpeg"))
        return "jpeg";
    return {};
}

QString writeSizeProblem(QSize size, const QByteArray &format)
{
    // libpng reads PNG files of at most a million pixels a side unless told
    // otherwise: a larger file would be of little use. libjpeg writes no more.
    const int most = format == "png" ? 1000000 : format == "jpeg" ? 65500 : INT_MAX;
    if (size.width() <= most && size.height() <= most)
        return {};
    return QStringLiteral("a %1 file holds at most %2 pixels a side")
            .arg(format == "png" ? QStringLiteral("PNG") : QStringLiteral("JPEG"))
            .arg(most);
}

bool encodePicture(const QImage &image, QIODevice *target, const Encoding &encoding,
                   QString *reason)
{
    StoppableWriter device(target, encoding.stopped, encoding.stopReason);
    if (encoding.format == "png")
        return encodePng(image, &device, encoding, reason);
    QImageWriter writer(&device, encoding.format);
    if (encoding.format == "jpeg")
        writer.setQuality(encoding.quality);
    WarningCapture capture;
    if (writer.write(image))
        return true;
    *reason = stopped(encoding) ? stopReason(encoding)
                                : withWarnings(writer.errorString(), capture.messages());
    return false;
}

bool writePictureFile(const QImage &image, const QString &path, const Encoding &encoding,
                      QString *error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = file.errorString();
        return false;
    }
    QString reason;
    LibraryOutput library;
    // commit() does not notice a failure to write out the last buffered
    // bytes: flush them first and check.
    if (!encodePicture(image, &file, encoding, &reason) || !file.flush()
        || file.error() != QFileDevice::NoError) {
        *error = withWarnings(writeFailure(file, reason), library.take());
        file.cancelWriting();
        return false;
    }
    if (!file.commit()) {
        *error = file.errorString();
        return false;
    }
    return true;
}
