#include "imagefiles.h"

#include "console.h"
#include "workingformat.h"

#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QSaveFile>

QImage readPicture(const QString &path, QString *error, QStringList *warnings)
{
    QImageReader reader(path);
    QImage image;
    bool ok = false;
    {
        WarningCapture capture;
        ok = reader.read(&image);
        *warnings = capture.messages();
    }
    if (!ok) {
        *error = reader.errorString();
        if (!warnings->isEmpty())
            *error += QStringLiteral(" (") + warnings->join(QStringLiteral("; "))
                    + QLatin1Char(')');
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

QByteArray formatForPath(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("png"))
        return "png";
    if (suffix == QLatin1String("jpg") || suffix == QLatin1String("jpeg"))
        return "jpeg";
    return {};
}

namespace {

// Why a write failed: the file's own error (a full disk, a size limit) when
// there is one, it says more than the writer's. A short write records an
// error without the system's reason; writing out the bytes still buffered
// brings it out.
QString writeFailure(QSaveFile &file, const QImageWriter &writer, const QStringList &warnings)
{
    file.flush();
    if (file.error() != QFileDevice::NoError)
        return file.errorString();
    QString reason = writer.errorString();
    if (!warnings.isEmpty())
        reason += QStringLiteral(" (") + warnings.join(QStringLiteral("; ")) + QLatin1Char(')');
    return reason;
}

} // namespace

bool writePicture(const QImage &image, const QString &path, const QByteArray &format, int quality,
                  QString *error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = file.errorString();
        return false;
    }
    QImageWriter writer(&file, format);
    if (format == "jpeg")
        writer.setQuality(quality);
    WarningCapture capture;
    // commit() does not notice a failure to write out the last buffered
    // bytes: flush them first and check.
    if (!writer.write(image) || !file.flush() || file.error() != QFileDevice::NoError) {
        *error = writeFailure(file, writer, capture.messages());
        file.cancelWriting();
        return false;
    }
    if (!file.commit()) {
        *error = file.errorString();
        return false;
    }
    return true;
}
