#include "writtenformats.h"

#include <QFileInfo>
#include <QImageWriter>

#include <climits>

namespace {

// Every format there is a writer for here, whether or not this Qt has it.
std::vector<WrittenFormat> knownFormats()
{
    return {
            // libpng reads PNG files of at most a million pixels a side
            // unless told otherwise: a larger file would be of little use.
            {"png", QStringLiteral("PNG"), {QStringLiteral("png")}, 1000000, false, false},
            // libjpeg writes no more.
            {"jpeg",
             QStringLiteral("JPEG"),
             {QStringLiteral("jpg"), QStringLiteral("jpeg")},
             65500,
             true,
             false},
            // Lossless at quality 100, lossy below.
            {"webp", QStringLiteral("WebP"), {QStringLiteral("webp")}, 16383, true, false},
            {"tiff",
             QStringLiteral("TIFF"),
             {QStringLiteral("tif"), QStringLiteral("tiff")},
             INT_MAX,
             false,
             true},
            // Written from traced geometry, not from a picture.
            {"svg", QStringLiteral("SVG"), {QStringLiteral("svg")}, INT_MAX, false, false},
    };
}

QString joinedAsProse(QStringList words)
{
    if (words.size() < 2)
        return words.join(QString());
    const QString last = words.takeLast();
    return words.join(QStringLiteral(", ")) + QStringLiteral(" or ") + last;
}

} // namespace

const std::vector<WrittenFormat> &writtenFormats()
{
    static const std::vector<WrittenFormat> formats = [] {
        const QList<QByteArray> qtWrites = QImageWriter::supportedImageFormats();
        std::vector<WrittenFormat> available;
        for (const WrittenFormat &format : knownFormats()) {
            if (!format.throughQt() || qtWrites.contains(format.name))
                available.push_back(format);
        }
        return available;
    }();
    return formats;
}

const WrittenFormat *writtenFormat(const QByteArray &name)
{
    for (const WrittenFormat &format : writtenFormats()) {
        if (format.name == name)
            return &format;
    }
    return nullptr;
}

QByteArray formatForPath(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    for (const WrittenFormat &format : writtenFormats()) {
        if (format.suffixes.contains(suffix))
            return format.name;
    }
    return {};
}

QString writtenSuffixesText(bool traced)
{
    QStringList suffixes;
    for (const WrittenFormat &format : writtenFormats()) {
        if (!traced && !format.fromPicture())
            continue;
        for (const QString &suffix : format.suffixes)
            suffixes << QLatin1Char('.') + suffix;
    }
    return joinedAsProse(suffixes);
}

QString formatNamesText()
{
    QStringList names;
    for (const WrittenFormat &format : writtenFormats())
        names << format.suffixes.first();
    return joinedAsProse(names);
}

QString writeSizeProblem(QSize size, const QByteArray &format)
{
    const WrittenFormat *written = writtenFormat(format);
    if (!written || (size.width() <= written->mostSide && size.height() <= written->mostSide))
        return {};
    return QStringLiteral("a %1 file holds at most %2 pixels a side")
            .arg(written->label)
            .arg(written->mostSide);
}
