#include "picturefiles.h"

#include "filediagnostics.h"
#include "picturelimits.h"
#include "stoppablewriter.h"
#include "webpresolution.h"
#include "workingformat.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QSaveFile>

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

bool encodeWithQt(const QImage &image, QIODevice *device, const Encoding &encoding, QString *reason)
{
    QImageWriter writer(device, encoding.format);
    const WrittenFormat *format = writtenFormat(encoding.format);
    if (format && format->takesQuality)
        writer.setQuality(encoding.quality);
    // Lossless either way; LZW makes the files smaller.
    if (encoding.format == "tiff")
        writer.setCompression(1);
    WarningCapture capture;
    if (writer.write(image))
        return true;
    *reason = stopped(encoding) ? stopReason(encoding)
                                : withWarnings(writer.errorString(), capture.messages());
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

bool encodePicture(const QImage &image, QIODevice *target, const Encoding &encoding,
                   QString *reason)
{
    StoppableWriter device(target, encoding.stopped, encoding.stopReason);
    if (encoding.format == "png")
        return encodePng(image, &device, encoding, reason);
    const WrittenFormat *format = writtenFormat(encoding.format);
    // Qt's WebP writer leaves the resolution out: it is added to the file.
    const bool webp = encoding.format == "webp";
    if (!webp && (!format || !format->seeks))
        return encodeWithQt(image, &device, encoding, reason);
    // A writer that moves about in its file gets one in memory; the stop is
    // looked at as its bytes go out.
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!encodeWithQt(image, &buffer, encoding, reason))
        return false;
    buffer.close();
    if (webp) {
        bytes = withWebpResolution(bytes, image.dotsPerMeterX(), image.dotsPerMeterY(),
                                   image.hasAlphaChannel());
        if (bytes.isEmpty()) {
            *reason = QStringLiteral("the WebP writer made a file that could not be completed");
            return false;
        }
    }
    constexpr qint64 Block = qint64(1) << 20;
    for (qint64 at = 0; at < bytes.size(); at += Block) {
        const qint64 size = qMin(Block, qint64(bytes.size()) - at);
        if (device.write(bytes.constData() + at, size) != size) {
            *reason = device.errorString();
            return false;
        }
    }
    return true;
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
