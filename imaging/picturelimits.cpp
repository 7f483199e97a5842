#include "picturelimits.h"

#include <QImageReader>

int pictureAllocationLimit()
{
    constexpr qint64 MegaByte = 1 << 20;
    constexpr qint64 bytes = MaxPicturePixels * WidestReaderPixelBytes;
    return int((bytes + MegaByte - 1) / MegaByte);
}

QString pictureSizeProblem(QSize size)
{
    if (!size.isValid())
        return {};
    const qint64 pixels = qint64(size.width()) * qint64(size.height());
    if (pixels <= MaxPicturePixels)
        return {};
    return QStringLiteral("the picture is %1 x %2 pixels; pictures of up to %3 megapixels "
                          "are drawn")
            .arg(size.width())
            .arg(size.height())
            .arg(MaxPicturePixels / 1000000);
}

QImage readWithinLimits(QImageReader &reader, QString *error)
{
    // The limit belongs to the process. It is set here, once, so that every
    // way in reads under it, tests included, and threads reading at once
    // never write it together.
    static const bool limited = [] {
        QImageReader::setAllocationLimit(pictureAllocationLimit());
        return true;
    }();
    Q_UNUSED(limited);
    QString problem = pictureSizeProblem(reader.size());
    if (!problem.isEmpty()) {
        *error = problem;
        return {};
    }
    QImage image;
    if (!reader.read(&image)) {
        *error = reader.errorString();
        return {};
    }
    // A reader that did not tell the size beforehand is held to the same
    // rule afterwards.
    problem = pictureSizeProblem(image.size());
    if (!problem.isEmpty()) {
        *error = problem;
        return {};
    }
    return image;
}
