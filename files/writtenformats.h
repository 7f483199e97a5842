#pragma once

#include <QByteArray>
#include <QSize>
#include <QString>
#include <QStringList>

#include <vector>

// A format drawings are written in.
struct WrittenFormat
{
    // The writer's name for it, as Encoding::format gives it: "jpeg".
    QByteArray name;
    // What messages call it: "JPEG".
    QString label;
    // The suffixes that choose it, in lower case; the first is the one
    // --format and a name's {ext} give.
    QStringList suffixes;
    // The widest and tallest picture a file holds.
    int mostSide = 0;
    // Whether --quality changes its files.
    bool takesQuality = false;
    // Whether its writer moves about in the file, so that it is encoded in
    // memory before it goes out.
    bool seeks = false;

    // Whether a picture is written in it as it is: all but SVG, which is
    // traced from an effect's regions.
    bool fromPicture() const { return name != "svg"; }
    // Whether Qt's image writers write it: not PNG, which the drawing
    // writer writes, nor SVG.
    bool throughQt() const { return fromPicture() && name != "png"; }
};

// Every format drawings are written in, in the order messages list them:
// PNG through the drawing writer, SVG from traced geometry, the others
// through Qt's image writers, those whose plugin this Qt lacks left out.
// Adding a format is one entry in writtenformats.cpp, and its encoder in
// encodePicture() when Qt's writer is not the one.
const std::vector<WrittenFormat> &writtenFormats();
// The format of `name` ("png", "jpeg"...); null when none is written.
const WrittenFormat *writtenFormat(const QByteArray &name);

// The writer format for a file name's suffix, empty when the suffix names
// none of writtenFormats().
QByteArray formatForPath(const QString &path);
// Every suffix that chooses a format, for messages: ".png, .jpg, .jpeg,
// .webp, .tif, .tiff or .svg"; without SVG unless `traced`.
QString writtenSuffixesText(bool traced = true);
// The first suffix of every format, for --format: "png, jpg, webp, tif or
// svg".
QString formatNamesText();

// Empty when a picture of `size` fits a file of `format`; otherwise the most
// that does, as words.
QString writeSizeProblem(QSize size, const QByteArray &format);
