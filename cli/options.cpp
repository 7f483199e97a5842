#include "options.h"

#include "imagefiles.h"
#include "inputs.h"
#include "shard.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSet>
#include <QThread>

#include <climits>
#include <functional>
#include <unistd.h>

namespace {

const QString NoContour = QStringLiteral("no-contour");
const QString Transparent = QStringLiteral("transparent");

QString optionLine(const QString &syntax, const QString &description)
{
    return QStringLiteral("      %1 %2\n").arg(syntax, -22).arg(description);
}

QString effectsHelp()
{
    QString text = QStringLiteral("Effects and their options:\n");
    for (const Effect &effect : effects()) {
        text += QStringLiteral("  %1 %2\n")
                        .arg(QLatin1String(effect.name), -8)
                        .arg(QLatin1String(effect.description));
        for (const EffectSetting &setting : effect.settings) {
            text += optionLine(QStringLiteral("--%1 <N>").arg(QLatin1String(setting.name)),
                               QStringLiteral("%1, %2..%3 (default %4)")
                                       .arg(QLatin1String(setting.help))
                                       .arg(setting.minimum)
                                       .arg(setting.maximum)
                                       .arg(setting.defaultValue));
        }
        if (effect.contourLayer)
            text += optionLine(QStringLiteral("--") + NoContour,
                               QStringLiteral("leave the contours out"));
        if (effect.transparentLines)
            text += optionLine(QStringLiteral("--") + Transparent,
                               QStringLiteral("black lines on a transparent layer (PNG only)"));
        for (const auto &line : effectOptionsHelp(effect))
            text += optionLine(line.first, line.second);
    }
    return text;
}

// The names of the effects that `chosen` keeps, in the table's order and
// joined as prose: "pen, pencil, poster or color" with `last` " or ".
QString effectNames(const std::function<bool(const Effect &)> &chosen, const QString &last)
{
    QStringList names;
    for (const Effect &effect : effects()) {
        if (chosen(effect))
            names << QLatin1String(effect.name);
    }
    if (names.size() < 2)
        return names.join(QString());
    const QString final = names.takeLast();
    return names.join(QStringLiteral(", ")) + last + final;
}

// "pen, pencil, poster or color"
QString effectNames()
{
    return effectNames([](const Effect &) { return true; }, QStringLiteral(" or "));
}

QString description()
{
    return QStringLiteral("Turns photographs into drawings.\n"
                          "\n"
                          "  kestrova-cli EFFECT [options] INPUT OUTPUT\n"
                          "  kestrova-cli EFFECT [options] INPUT... -o DIR\n"
                          "  kestrova-cli EFFECT [options] -r FOLDER... -o DIR\n"
                          "\n"
                          "The suffix of OUTPUT chooses its format: .png, .jpg or .jpeg. With -o,\n"
                          "each drawing is written to DIR/<input name without suffix>.<format>;\n"
                          "with -r, the pictures in a FOLDER keep their place in its tree:\n"
                          "FOLDER/trip/beach.jpg is drawn to DIR/trip/beach.<format>.\n"
                          "INPUT - reads the picture from standard input; OUTPUT - writes the\n"
                          "drawing to standard output, in the --format given (png by default).\n"
                          "Ctrl-C or SIGTERM stops a run: the files in progress are abandoned and\n"
                          "no partial file is left; --skip-existing then finishes the batch.\n"
                          "Exit status: 0 when every drawing was written or skipped, 1 when any\n"
                          "file failed, 2 for a usage error, 130 or 143 when stopped by SIGINT or\n"
                          "SIGTERM.\n"
                          "\n")
            + effectsHelp().chopped(1);
}

void addOptions(QCommandLineParser &parser)
{
    parser.addOptions({
            {{QStringLiteral("o"), QStringLiteral("output-dir")},
             QStringLiteral("Batch mode: write every drawing into <DIR>, created when missing."),
             QStringLiteral("DIR")},
            {{QStringLiteral("r"), QStringLiteral("recursive")},
             QStringLiteral("Batch mode: draw every picture in the folders among the inputs "
                            "and their subfolders (")
                     + pictureSuffixes().join(QStringLiteral(", "))
                     + QStringLiteral("; hidden files and folders left out), in the same tree "
                                      "under <DIR>.")},
            {QStringLiteral("format"),
             QStringLiteral("Format of the drawings with -o or OUTPUT -, png or jpg "
                            "(default png)."),
             QStringLiteral("FORMAT")},
            {QStringLiteral("quality"), QStringLiteral("JPEG quality, 0..100 (default 100)."),
             QStringLiteral("N")},
            {QStringLiteral("png-level"),
             QStringLiteral("PNG compression: fast, or small for smaller files in two to three "
                            "times the write's time (default fast)."),
             QStringLiteral("LEVEL")},
            {{QStringLiteral("j"), QStringLiteral("jobs")},
             QStringLiteral("Draw <N> files at once, each taking about one picture's worth "
                            "of memory (default: one per processor core)."),
             QStringLiteral("N")},
            {QStringLiteral("threads"),
             QStringLiteral("Threads the work on each file may use: the conversion of the "
                            "picture read, the drawing and the PNG writer's bands; the file is "
                            "the same for any number (default: the processor cores shared "
                            "among the files drawn at once)."),
             QStringLiteral("N")},
            {QStringLiteral("skip-existing"),
             QStringLiteral("Leave every drawing that already exists untouched; the summary "
                            "counts them. Runs an interrupted batch to its end.")},
            {QStringLiteral("shard"),
             QStringLiteral("Batch mode: draw only the <I>-th of <N> parts of the files, "
                            "chosen by each input's relative path, so that N machines share "
                            "one batch without talking to each other (I from 1 to N)."),
             QStringLiteral("I/N")},
            {QStringLiteral("auto-orient"),
             QStringLiteral("Turn each picture upright as its EXIF orientation says before "
                            "drawing (phone photos). Off by default: the window shows "
                            "pictures as stored, and the drawings match its own.")},
            {QStringLiteral("report"),
             QStringLiteral("Write a JSON record of every file to <FILE> (- for stderr): "
                            "input, output, effect, settings, status, error, size and the "
                            "read, effect and write times."),
             QStringLiteral("FILE")},
            {QStringLiteral("quiet"),
             QStringLiteral("No progress line, and no summary at the end of a batch.")},
            {QStringLiteral("timings"),
             QStringLiteral("Print the read, effect and write times of every file.")},
    });
    addSettingsFileOptions(parser);
    QSet<QString> known;
    for (const Effect &effect : effects()) {
        for (const EffectSetting &setting : effect.settings) {
            const QString name = QLatin1String(setting.name);
            if (known.contains(name))
                continue;
            known.insert(name);
            QCommandLineOption hidden(name, QLatin1String(setting.help), QStringLiteral("N"));
            hidden.setFlags(QCommandLineOption::HiddenFromHelp);
            parser.addOption(hidden);
        }
    }
    QCommandLineOption noContour(NoContour, QStringLiteral("Leave the contours out."));
    noContour.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(noContour);
    QCommandLineOption transparent(Transparent,
                                   QStringLiteral("Black lines on a transparent layer."));
    transparent.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(transparent);
}

int integerValue(const QCommandLineParser &parser, const QString &name, int minimum, int maximum)
{
    const QString text = parser.value(name);
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < minimum || value > maximum) {
        const QString dashes = name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--");
        const QString range = maximum == INT_MAX
                ? QStringLiteral("a whole number of at least %1").arg(minimum)
                : QStringLiteral("a whole number from %1 to %2").arg(minimum).arg(maximum);
        refuse(QStringLiteral("%1%2 must be %3, not '%4'").arg(dashes, name, range, text));
    }
    return value;
}

const Effect &chosenEffect(const QStringList &positional)
{
    if (positional.isEmpty())
        refuse(QStringLiteral("no effect given"));
    const Effect *effect = findEffect(positional.first());
    if (!effect) {
        QStringList names;
        for (const Effect &known : effects())
            names << QLatin1String(known.name);
        refuse(QStringLiteral("unknown effect '%1' (choose %2)")
                       .arg(positional.first(), names.join(QStringLiteral(", "))));
    }
    return *effect;
}

EffectValues effectValues(const QCommandLineParser &parser, const Effect &effect)
{
    for (const Effect &other : effects()) {
        for (const EffectSetting &setting : other.settings) {
            const QString name = QLatin1String(setting.name);
            if (parser.isSet(name) && !effect.setting(name))
                refuse(QStringLiteral("the %1 effect has no option --%2")
                               .arg(QLatin1String(effect.name), name));
        }
    }
    if (parser.isSet(NoContour) && !effect.contourLayer)
        refuse(QStringLiteral("the %1 effect has no option --%2")
                       .arg(QLatin1String(effect.name), NoContour));
    if (parser.isSet(Transparent) && !effect.transparentLines)
        refuse(QStringLiteral("the %1 effect has no option --%2: only the grey drawings of "
                              "%3 come as lines on a transparent layer")
                       .arg(QLatin1String(effect.name), Transparent,
                            effectNames([](const Effect &other) { return other.transparentLines; },
                                        QStringLiteral(" and "))));
    EffectValues values = presetValues(parser, effect);
    for (const EffectSetting &setting : effect.settings) {
        const QString name = QLatin1String(setting.name);
        if (parser.isSet(name))
            values.numbers[name] = integerValue(parser, name, setting.minimum, setting.maximum);
    }
    if (parser.isSet(NoContour))
        values.contours = false;
    return values;
}

QByteArray batchFormat(const QCommandLineParser &parser, QString *suffix)
{
    const QString name = parser.isSet(QStringLiteral("format"))
            ? parser.value(QStringLiteral("format")).toLower()
            : QStringLiteral("png");
    *suffix = name == QLatin1String("jpeg") ? QStringLiteral("jpg") : name;
    const QByteArray format = formatForPath(QStringLiteral("drawing.") + *suffix);
    if (format.isEmpty())
        refuse(QStringLiteral("--format must be png or jpg, not '%1'").arg(name));
    return format;
}

QByteArray singleFormat(const QCommandLineParser &parser, const QString &output)
{
    if (isStandardStream(output)) {
        // A picture would only garble the terminal.
        if (isatty(STDOUT_FILENO))
            refuse(QStringLiteral(
                    "standard output is a terminal: send the drawing to a file or a pipe"));
        QString suffix;
        return batchFormat(parser, &suffix);
    }
    if (parser.isSet(QStringLiteral("format")))
        refuse(QStringLiteral("--format applies with -o or OUTPUT - only; the suffix of OUTPUT "
                              "chooses the format"));
    const QByteArray format = formatForPath(output);
    if (format.isEmpty())
        refuse(QStringLiteral(
                       "cannot tell the format of '%1' from its suffix: use .png, .jpg or .jpeg")
                       .arg(output));
    return format;
}

std::vector<FileJob> singleJob(const QCommandLineParser &parser, const QStringList &positional)
{
    if (parser.isSet(QStringLiteral("r")))
        refuse(QStringLiteral("-r needs -o DIR"));
    if (positional.size() < 3)
        refuse(QStringLiteral("give an INPUT and an OUTPUT, or INPUT... -o DIR"));
    if (positional.size() > 3)
        refuse(QStringLiteral(
                "too many arguments: give one INPUT and one OUTPUT, or INPUT... -o DIR"));
    const QString output = positional.at(2);
    return {FileJob {positional.at(1), output, singleFormat(parser, output)}};
}

std::vector<FileJob> batchJobs(const QCommandLineParser &parser, const QStringList &positional,
                               QStringList *notes)
{
    if (positional.size() < 2)
        refuse(QStringLiteral("no INPUT given"));
    BatchTarget target;
    target.folder = parser.value(QStringLiteral("o"));
    target.format = batchFormat(parser, &target.suffix);
    return batchJobs(positional.mid(1), target, parser.isSet(QStringLiteral("r")), notes);
}

PngLevel pngLevel(const QCommandLineParser &parser)
{
    if (!parser.isSet(QStringLiteral("png-level")))
        return PngLevel::Fast;
    const QString name = parser.value(QStringLiteral("png-level"));
    if (name == QLatin1String("fast"))
        return PngLevel::Fast;
    if (name == QLatin1String("small"))
        return PngLevel::Small;
    refuse(QStringLiteral("--png-level must be fast or small, not '%1'").arg(name));
}

void refuseTransparentJpeg(const std::vector<FileJob> &jobs)
{
    for (const FileJob &job : jobs) {
        if (job.format != "png")
            refuse(QStringLiteral("--transparent writes PNG only: JPEG has no transparency"));
    }
}

// Qt's help text, with the program's name in the usage line however it was
// started.
QString helpText(const QCommandLineParser &parser)
{
    QString text = parser.helpText();
    const int usageEnd = text.indexOf(QLatin1String(" ["));
    const QString usage = QStringLiteral("Usage: ");
    if (text.startsWith(usage) && usageEnd > 0)
        text.replace(0, usageEnd, usage + QCoreApplication::applicationName());
    return text;
}

CommandLine checkedCommandLine(const QCommandLineParser &parser)
{
    const QStringList positional = parser.positionalArguments();
    CommandLine line;
    line.effect = &chosenEffect(positional);
    line.values = effectValues(parser, *line.effect);
    const bool batch = parser.isSet(QStringLiteral("o"));
    if (batch)
        line.outputDir = parser.value(QStringLiteral("o"));
    line.reportPath = parser.value(QStringLiteral("report"));
    line.jobs = batch ? batchJobs(parser, positional, &line.notes) : singleJob(parser, positional);
    checkOutputs(line.jobs, line.reportPath);
    if (parser.isSet(QStringLiteral("quality")))
        line.quality = integerValue(parser, QStringLiteral("quality"), 0, 100);
    line.pngLevel = pngLevel(parser);
    line.transparent = parser.isSet(Transparent);
    if (line.transparent)
        refuseTransparentJpeg(line.jobs);
    applySettingsFileOptions(parser, line);
    // Last, once every check has seen the whole batch: every machine that
    // shares it refuses the same command lines, whatever its part holds.
    if (parser.isSet(QStringLiteral("shard"))) {
        const Shard shard = parseShard(parser.value(QStringLiteral("shard")));
        if (!batch)
            refuse(QStringLiteral("--shard applies with -o only"));
        line.jobs = jobsOfShard(line.jobs, shard);
    }
    const int cores = qMax(1, QThread::idealThreadCount());
    line.threads = parser.isSet(QStringLiteral("j"))
            ? integerValue(parser, QStringLiteral("j"), 1, INT_MAX)
            : cores;
    // The files drawn at once share the cores.
    const int filesAtOnce = qBound(1, line.threads, qMax(1, int(line.jobs.size())));
    line.coreThreads = parser.isSet(QStringLiteral("threads"))
            ? integerValue(parser, QStringLiteral("threads"), 1, 1024)
            : qMax(1, cores / filesAtOnce);
    line.quiet = parser.isSet(QStringLiteral("quiet"));
    line.timings = parser.isSet(QStringLiteral("timings"));
    line.skipExisting = parser.isSet(QStringLiteral("skip-existing"));
    line.autoOrient = parser.isSet(QStringLiteral("auto-orient"));
    return line;
}

} // namespace

ParseOutcome parseCommandLine(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(description());
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    addOptions(parser);
    parser.addPositionalArgument(QStringLiteral("effect"), effectNames() + QLatin1Char('.'),
                                 QStringLiteral("EFFECT"));
    parser.addPositionalArgument(
            QStringLiteral("input"),
            QStringLiteral("The pictures to draw (folders with -r, - for stdin)."),
            QStringLiteral("INPUT..."));
    parser.addPositionalArgument(QStringLiteral("output"),
                                 QStringLiteral("The drawing to write, without -o (- for stdout)."),
                                 QStringLiteral("[OUTPUT]"));
    ParseOutcome outcome;
    if (!parser.parse(arguments)) {
        outcome.text = parser.errorText();
        return outcome;
    }
    if (parser.isSet(version)) {
        outcome.kind = ParseOutcome::Version;
        return outcome;
    }
    if (parser.isSet(QStringLiteral("help-all")))
        parser.process(arguments); // prints the help with Qt's own options and exits
    if (parser.isSet(help)) {
        outcome.kind = ParseOutcome::Help;
        outcome.text = helpText(parser);
        return outcome;
    }
    try {
        outcome.commandLine = checkedCommandLine(parser);
        outcome.kind = ParseOutcome::Run;
    } catch (const Refusal &refusal) {
        outcome.text = refusal.message;
    }
    return outcome;
}
