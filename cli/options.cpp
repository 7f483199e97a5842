#include "options.h"

#include "imagefiles.h"
#include "inputs.h"
#include "outputoptions.h"
#include "shard.h"
#include "suggestions.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
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

// One effect's settings, each with its range and default.
QString settingsHelp(const Effect &effect)
{
    QString text;
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
    return text;
}

QString effectsHelp()
{
    QString text = QStringLiteral("Effects and their options:\n");
    for (const Effect &effect : effects()) {
        text += QStringLiteral("  %1 %2\n")
                        .arg(QLatin1String(effect.name), -8)
                        .arg(QLatin1String(effect.description));
        text += settingsHelp(effect);
    }
    return text;
}

// kestrova-cli EFFECT --help
QString effectHelp(const Effect &effect)
{
    const QString name = QLatin1String(effect.name);
    return QStringLiteral("Usage: %1 %2 [options] INPUT OUTPUT\n"
                          "       %1 %2 [options] INPUT... -o DIR\n"
                          "\n"
                          "%2: %3\n"
                          "\n"
                          "Settings:\n")
                   .arg(QCoreApplication::applicationName(), name,
                        QLatin1String(effect.description))
            + settingsHelp(effect)
            + QStringLiteral("\nThe options for every effect: %1 --help\n")
                      .arg(QCoreApplication::applicationName());
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
                          "The suffix of OUTPUT chooses its format:\n"
                          "%1.\n"
                          "With -o, each drawing is written to DIR/<input name without\n"
                          "suffix>.<format>\n"
                          "(or as --name says; --name alone writes it beside its photo);\n"
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
                   .arg(writtenSuffixesText())
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
             QStringLiteral("Format of the drawings with -o or OUTPUT -, %1 (default png).")
                     .arg(formatNamesText()),
             QStringLiteral("FORMAT")},
            {QStringLiteral("quality"),
             QStringLiteral("JPEG and WebP quality, 0..100 (default 100; WebP is lossless at "
                            "100)."),
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
            {{QStringLiteral("q"), QStringLiteral("quiet")},
             QStringLiteral("No progress line, and no summary at the end of a batch.")},
            {QStringLiteral("timings"),
             QStringLiteral("Print the read, effect and write times of every file.")},
    });
    addOutputOptions(parser);
    addSettingsFileOptions(parser);
    QSet<QString> known;
    for (const Effect &effect : effects()) {
        for (const EffectSetting &setting : effect.settings) {
            const QString name = QLatin1String(setting.name);
            if (known.contains(name))
                continue;
            known.insert(name);
            QCommandLineOption hidden(QStringList {name} + britishSpellings(name),
                                      QLatin1String(setting.help), QStringLiteral("N"));
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

// An effect by its name, or its British spelling ("colour").
const Effect *effectNamed(const QString &name)
{
    const Effect *effect = findEffect(name);
    return effect ? effect : findEffect(americanSpelling(name));
}

QStringList allEffectNames()
{
    QStringList names;
    for (const Effect &known : effects())
        names << QLatin1String(known.name);
    return names;
}

const Effect &chosenEffect(const QStringList &positional)
{
    if (positional.isEmpty())
        refuse(QStringLiteral("no effect given"));
    const Effect *effect = effectNamed(positional.first());
    if (!effect) {
        const QStringList names = allEffectNames();
        const QString closest = closestWord(positional.first(), names);
        if (!closest.isEmpty())
            refuse(QStringLiteral("unknown effect '%1' (did you mean %2?)")
                           .arg(positional.first(), closest));
        refuse(QStringLiteral("unknown effect '%1' (choose %2)")
                       .arg(positional.first(), names.join(QStringLiteral(", "))));
    }
    return *effect;
}

// "pen pencil in.png -o d": one run draws one effect, and a file named like
// an effect is rare enough to be taken for a slip.
void refuseSecondEffect(const QStringList &positional)
{
    for (const QString &argument : positional.mid(1)) {
        if (effectNamed(argument) && !QFileInfo::exists(argument))
            refuse(QStringLiteral("'%1' is an effect, not a file: a run draws one effect; run "
                                  "%2 once for each")
                           .arg(argument, QCoreApplication::applicationName()));
    }
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
    const QByteArray format = formatForPath(QStringLiteral("drawing.") + name);
    if (format.isEmpty())
        refuse(QStringLiteral("--format must be %1, not '%2'").arg(formatNamesText(), name));
    *suffix = writtenFormat(format)->suffixes.first();
    return format;
}

// A pattern without {ext} gives its names their suffix, and so the format.
QByteArray patternFormat(const QCommandLineParser &parser, const NamePattern &pattern,
                         const QString &effect, QString *suffix)
{
    if (pattern.usesExt())
        return batchFormat(parser, suffix);
    const QString example = pattern.expand(QStringLiteral("photo"), effect, QString());
    const QByteArray format = formatForPath(example);
    if (format.isEmpty())
        refuse(QStringLiteral("--name '%1' gives names like '%2', whose suffix names no format "
                              "written: end it in {ext}, %3")
                       .arg(pattern.text, example, writtenSuffixesText()));
    *suffix = QFileInfo(example).suffix();
    if (parser.isSet(QStringLiteral("format"))) {
        QString chosen;
        if (batchFormat(parser, &chosen) != format)
            refuse(QStringLiteral("--format %1 and --name '%2' choose different formats: "
                                  "end the name in {ext}")
                           .arg(parser.value(QStringLiteral("format")), pattern.text));
    }
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
        refuse(QStringLiteral("cannot tell the format of '%1' from its suffix: use %2")
                       .arg(output, writtenSuffixesText()));
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
                               const Effect &effect, QStringList *notes)
{
    if (positional.size() < 2)
        refuse(QStringLiteral("no INPUT given"));
    const bool recursive = parser.isSet(QStringLiteral("r"));
    BatchTarget target;
    target.folder = parser.value(QStringLiteral("o"));
    if (recursive && target.folder.isEmpty())
        refuse(QStringLiteral("-r needs -o DIR"));
    target.effect = QLatin1String(effect.name);
    if (parser.isSet(QStringLiteral("name"))) {
        target.name.text = parser.value(QStringLiteral("name"));
        target.name.check();
    }
    target.format = patternFormat(parser, target.name, target.effect, &target.suffix);
    return batchJobs(positional.mid(1), target, recursive, notes);
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
        if (job.format == "jpeg")
            refuse(QStringLiteral("--transparent writes PNG only: JPEG has no transparency"));
        if (job.format != "png")
            refuse(QStringLiteral("--transparent writes PNG only"));
    }
}

// One warning for each encoding option that no drawing of the run takes.
void warnUnusedEncodings(const QCommandLineParser &parser, CommandLine &line)
{
    bool quality = false;
    bool pngLevel = false;
    for (const FileJob &job : line.jobs) {
        quality = quality || writtenFormat(job.format)->takesQuality;
        pngLevel = pngLevel || job.format == "png";
    }
    const QString format
            = line.jobs.empty() ? QString() : writtenFormat(line.jobs.front().format)->label;
    if (parser.isSet(QStringLiteral("quality")) && !quality)
        line.notes
                << QStringLiteral("warning: --quality does not apply to %1: ignored").arg(format);
    if (parser.isSet(QStringLiteral("png-level")) && !pngLevel)
        line.notes << QStringLiteral("warning: --png-level applies to PNG only, not %1: ignored")
                              .arg(format);
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
    refuseSecondEffect(positional);
    line.values = effectValues(parser, *line.effect);
    // --name without -o writes each drawing beside its photo.
    const bool batch = parser.isSet(QStringLiteral("o")) || parser.isSet(QStringLiteral("name"));
    line.outputDir = parser.value(QStringLiteral("o"));
    line.batch = batch;
    line.reportPath = parser.value(QStringLiteral("report"));
    line.jobs = batch ? batchJobs(parser, positional, *line.effect, &line.notes)
                      : singleJob(parser, positional);
    checkOutputFolders(line.jobs, batch);
    checkOutputs(line.jobs, line.reportPath);
    if (parser.isSet(QStringLiteral("quality")))
        line.quality = integerValue(parser, QStringLiteral("quality"), 0, 100);
    line.pngLevel = pngLevel(parser);
    readOutputOptions(parser, line);
    warnUnusedEncodings(parser, line);
    line.transparent = parser.isSet(Transparent);
    if (line.transparent)
        refuseTransparentJpeg(line.jobs);
    applySettingsFileOptions(parser, line);
    // Last, once every check has seen the whole batch: every machine that
    // shares it refuses the same command lines, whatever its part holds.
    if (parser.isSet(QStringLiteral("shard"))) {
        const Shard shard = parseShard(parser.value(QStringLiteral("shard")));
        if (!batch)
            refuse(QStringLiteral("--shard applies with -o or --name only"));
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
        outcome.text = parseErrorText(parser);
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
        const QStringList positional = parser.positionalArguments();
        const Effect *effect = positional.isEmpty() ? nullptr : effectNamed(positional.first());
        outcome.text = effect ? effectHelp(*effect) : helpText(parser);
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
