#include "outputoptions.h"

#include <QCommandLineParser>

namespace {

// Generous: a drawing for a large print at 2400 dpi still fits.
constexpr int MostDpi = 100000;

} // namespace

void addOutputOptions(QCommandLineParser &parser)
{
    parser.addOptions({
            {QStringLiteral("name"),
             QStringLiteral("Batch mode: name every drawing after <PATTERN>, where {stem} is "
                            "the input's name without its suffix, {effect} the effect and "
                            "{ext} the format's suffix (default {stem}.{ext}). Without -o, "
                            "each drawing is written beside its photo."),
             QStringLiteral("PATTERN")},
            {QStringLiteral("size"),
             QStringLiteral("Scale each photo before drawing it: WIDTHxHEIGHT fits it within "
                            "that box, never enlarging it; N% scales it by N percent (1..1000). "
                            "Qt's smooth scaling: an area average when shrinking, bilinear "
                            "when enlarging."),
             QStringLiteral("SIZE")},
            {QStringLiteral("dpi"),
             QStringLiteral("The resolution every drawing carries, in dots per inch "
                            "(default: the photo's own)."),
             QStringLiteral("N")},
            {QStringLiteral("dry-run"),
             QStringLiteral("Print what each input would be drawn to, and write nothing.")},
    });
}

void readOutputOptions(const QCommandLineParser &parser, CommandLine &line)
{
    if (parser.isSet(QStringLiteral("size")))
        line.size = PictureSize::parse(parser.value(QStringLiteral("size")));
    if (parser.isSet(QStringLiteral("dpi"))) {
        const QString text = parser.value(QStringLiteral("dpi"));
        bool ok = false;
        line.dpi = text.toInt(&ok);
        if (!ok || line.dpi < 1 || line.dpi > MostDpi)
            refuse(QStringLiteral("--dpi must be a whole number from 1 to %1, not '%2'")
                           .arg(MostDpi)
                           .arg(text));
    }
    line.dryRun = parser.isSet(QStringLiteral("dry-run"));
}
