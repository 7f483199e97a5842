#include "svgoptions.h"

#include "writtenformats.h"

#include <QStringList>

namespace {

const QString Threshold = QStringLiteral("svg-threshold");
const QString Curves = QStringLiteral("svg-curves");
const QString Tolerance = QStringLiteral("svg-tolerance");
const QString MinArea = QStringLiteral("svg-min-area");

// Specks of fewer pixels than this (a 4 x 4 square) join their neighbour by
// default. Posters and colour sketches of photographs are full of specks of
// a few pixels, each a path of its own: on a 2560 x 1600 photograph, 16
// makes the 16-colour poster's SVG a sixth of its size at 0 (2.0 MB against
// 11.7 MB, and the PNG's 3.6 MB) and the colour sketch's a quarter; 4
// leaves the poster larger than its PNG, and 64 starts to round off what
// the eye sees.
constexpr int DefaultMinArea = 16;
constexpr int MostMinArea = 1000000;

int wholeNumber(const QCommandLineParser &parser, const QString &name, int minimum, int maximum)
{
    const QString text = parser.value(name);
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < minimum || value > maximum)
        refuse(QStringLiteral("--%1 must be a whole number from %2 to %3, not '%4'")
                       .arg(name)
                       .arg(minimum)
                       .arg(maximum)
                       .arg(text));
    return value;
}

} // namespace

void addSvgOptions(QCommandLineParser &parser)
{
    const VectorSettings defaults;
    parser.addOptions({
            {Threshold,
             QStringLiteral("SVG: the ink of pen drawings and contours is every pixel whose "
                            "grey is below <N>, 0..256 (default %1).")
                     .arg(defaults.threshold),
             QStringLiteral("N")},
            {Curves,
             QStringLiteral("SVG: fit to simplify the outlines and round them within the "
                            "tolerance, or none to follow the pixels' sides exactly "
                            "(default fit)."),
             QStringLiteral("MODE")},
            {Tolerance,
             QStringLiteral("SVG: how far, in pixels, fitted outlines may move, 0..1 "
                            "(default %1).")
                     .arg(defaults.tolerance),
             QStringLiteral("T")},
            {MinArea,
             QStringLiteral("SVG: regions smaller than <N> pixels join the neighbour they "
                            "share most outline with, 0 keeps every pixel (default %1).")
                     .arg(DefaultMinArea),
             QStringLiteral("N")},
    });
}

VectorSettings svgSettings(const QCommandLineParser &parser, const Effect &effect,
                           const std::vector<FileJob> &jobs, QStringList *notes)
{
    bool svg = false;
    for (const FileJob &job : jobs)
        svg = svg || job.format == "svg";
    if (svg && !effect.layers)
        refuse(QStringLiteral("the %1 effect cannot write SVG: %2")
                       .arg(QLatin1String(effect.name), QLatin1String(effect.vectorForm)));
    // Like the other options of one format, they are ignored with a warning
    // by a run that writes none.
    for (const QString &name : {Threshold, Curves, Tolerance, MinArea}) {
        if (!svg && parser.isSet(name) && !jobs.empty())
            notes->append(QStringLiteral("warning: --%1 applies to SVG only, not %2: ignored")
                                  .arg(name, writtenFormat(jobs.front().format)->label));
    }
    VectorSettings settings;
    settings.minArea = DefaultMinArea;
    if (parser.isSet(Threshold))
        settings.threshold = wholeNumber(parser, Threshold, 0, 256);
    if (parser.isSet(MinArea))
        settings.minArea = wholeNumber(parser, MinArea, 0, MostMinArea);
    if (parser.isSet(Curves)) {
        const QString mode = parser.value(Curves);
        if (mode != QLatin1String("fit") && mode != QLatin1String("none"))
            refuse(QStringLiteral("--%1 must be fit or none, not '%2'").arg(Curves, mode));
        settings.curves = mode == QLatin1String("fit");
    }
    if (parser.isSet(Tolerance)) {
        const QString text = parser.value(Tolerance);
        bool ok = false;
        const double value = text.toDouble(&ok);
        if (!ok || !(value >= 0 && value <= 1))
            refuse(QStringLiteral("--%1 must be a number from 0 to 1, not '%2'")
                           .arg(Tolerance, text));
        if (!settings.curves)
            refuse(QStringLiteral("--%1 applies to fitted outlines, not to --%2 none")
                           .arg(Tolerance, Curves));
        settings.tolerance = value;
    }
    return settings;
}
