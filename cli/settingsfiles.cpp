#include "settingsfiles.h"

#include "gimppalette.h"
#include "imagefiles.h"
#include "inputs.h"
#include "options.h"
#include "presetfile.h"
#include "standarderror.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

const QString PresetOption = QStringLiteral("preset");
const QString PaletteOption = QStringLiteral("palette");
const QString AutoLevelsOption = QStringLiteral("auto-levels");
const QString SavePresetOption = QStringLiteral("save-preset");
const QString SavePaletteOption = QStringLiteral("save-palette");

// At most `limit` + 1 bytes of the file: enough to tell one too large.
QByteArray fileBytes(const QString &option, const QString &path, qsizetype limit)
{
    QFile file(path);
    if (QFileInfo(path).isDir())
        refuse(QStringLiteral("--%1 '%2': a folder, not a file").arg(option, path));
    if (!file.open(QIODevice::ReadOnly))
        refuse(QStringLiteral("--%1 '%2': cannot read it: %3")
                       .arg(option, path, file.errorString()));
    const QByteArray bytes = file.read(limit + 1);
    if (file.error() != QFileDevice::NoError)
        refuse(QStringLiteral("--%1 '%2': cannot read it: %3")
                       .arg(option, path, file.errorString()));
    return bytes;
}

[[noreturn]] void refuseFile(const QString &option, const QString &path, int line,
                             const QString &problem)
{
    const QString where = line > 0 ? QStringLiteral(", line %1").arg(line) : QString();
    refuse(QStringLiteral("--%1 '%2'%3: %4").arg(option, path, where, problem));
}

// A file to save must not be one the run reads or writes otherwise.
void checkSavePath(const QString &option, const QString &path, const CommandLine &line)
{
    if (path.isEmpty() || isStandardStream(path))
        refuse(QStringLiteral("--%1 needs a file name").arg(option));
    if (QFileInfo(path).isDir())
        refuse(QStringLiteral("--%1 '%2' is a folder").arg(option, path));
    const QString target = fileIdentity(path);
    for (const FileJob &job : line.jobs) {
        if (!isStandardStream(job.input) && fileIdentity(job.input) == target)
            refuse(QStringLiteral("--%1 '%2' is also an input; refusing to overwrite it")
                           .arg(option, path));
        if (!isStandardStream(job.output) && fileIdentity(job.output) == target)
            refuse(QStringLiteral("--%1 '%2' would overwrite the drawing of '%3'")
                           .arg(option, path, job.input));
    }
    if (!line.reportPath.isEmpty() && !isStandardStream(line.reportPath)
        && fileIdentity(line.reportPath) == target)
        refuse(QStringLiteral("--%1 '%2' is also the report").arg(option, path));
}

QList<PaletteColour> paletteOf(const QString &path)
{
    const QByteArray bytes = fileBytes(PaletteOption, path, MaxPaletteFileBytes);
    QList<PaletteColour> colours;
    PaletteProblem problem;
    if (!parseGimpPalette(bytes, &colours, &problem))
        refuseFile(PaletteOption, path, problem.line, problem.text);
    return colours;
}

void applyAutoLevels(const QCommandLineParser &parser, CommandLine &line)
{
    const Effect &effect = *line.effect;
    const bool levelsGiven
            = parser.isSet(QStringLiteral("black")) || parser.isSet(QStringLiteral("white"));
    if (!parser.isSet(AutoLevelsOption)) {
        // Levels on the command line win over a settings file's auto levels.
        if (levelsGiven)
            line.values.autoLevels = false;
        return;
    }
    if (!effect.toneLevels)
        refuse(QStringLiteral("the %1 effect has no option --%2: it has no tone levels")
                       .arg(QLatin1String(effect.name), AutoLevelsOption));
    if (levelsGiven)
        refuse(QStringLiteral("--%1 chooses --black and --white; give one or the other")
                       .arg(AutoLevelsOption));
    line.values.autoLevels = true;
}

void applyPalette(const QCommandLineParser &parser, CommandLine &line)
{
    const Effect &effect = *line.effect;
    for (const QString &option : {PaletteOption, SavePaletteOption}) {
        if (parser.isSet(option) && !effect.paletteColours)
            refuse(QStringLiteral("the %1 effect has no option --%2: only the poster's colours "
                                  "come from a palette")
                           .arg(QLatin1String(effect.name), option));
    }
    if (parser.isSet(PaletteOption)) {
        if (parser.isSet(QStringLiteral("colors")))
            refuse(QStringLiteral("--%1 gives the colours; leave --colors out").arg(PaletteOption));
        line.values.palette = paletteOf(parser.value(PaletteOption));
    }
    if (parser.isSet(SavePaletteOption)) {
        if (line.jobs.size() != 1)
            refuse(QStringLiteral("--%1 saves the colours of one picture; give one INPUT")
                           .arg(SavePaletteOption));
        line.settingsFiles.palettePath = parser.value(SavePaletteOption);
        checkSavePath(SavePaletteOption, line.settingsFiles.palettePath, line);
    }
}

bool commitBytes(const QString &path, const QByteArray &bytes, QString *error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = file.errorString();
        return false;
    }
    if (file.write(bytes) != bytes.size() || !file.flush()) {
        *error = file.errorString();
        file.cancelWriting();
        return false;
    }
    if (!file.commit()) {
        *error = file.errorString();
        return false;
    }
    return true;
}

} // namespace

void addSettingsFileOptions(QCommandLineParser &parser)
{
    parser.addOptions({
            {PresetOption,
             QStringLiteral("Take the effect's settings from <FILE> (one 'setting = value' a "
                            "line, as --save-preset writes them); options given here "
                            "override them."),
             QStringLiteral("FILE")},
            {SavePresetOption, QStringLiteral("Write the run's settings to <FILE>, for --preset."),
             QStringLiteral("FILE")},
    });
    for (const QString &name : {PaletteOption, SavePaletteOption}) {
        QCommandLineOption hidden(name, QStringLiteral("A GIMP palette."), QStringLiteral("FILE"));
        hidden.setFlags(QCommandLineOption::HiddenFromHelp);
        parser.addOption(hidden);
    }
    QCommandLineOption autoLevels(AutoLevelsOption, QStringLiteral("Levels from the tones."));
    autoLevels.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(autoLevels);
}

QList<QPair<QString, QString>> effectOptionsHelp(const Effect &effect)
{
    QList<QPair<QString, QString>> lines;
    if (effect.toneLevels)
        lines.append({QStringLiteral("--") + AutoLevelsOption,
                      QStringLiteral("choose the black and white levels from each picture")});
    if (effect.paletteColours) {
        lines.append({QStringLiteral("--%1 <FILE>").arg(PaletteOption),
                      QStringLiteral("fixed colours from a GIMP palette (.gpl)")});
        lines.append({QStringLiteral("--%1 <FILE>").arg(SavePaletteOption),
                      QStringLiteral("write the colours found to a GIMP palette")});
    }
    return lines;
}

EffectValues presetValues(const QCommandLineParser &parser, const Effect &effect)
{
    if (!parser.isSet(PresetOption))
        return effect.defaults();
    const QString path = parser.value(PresetOption);
    Preset preset;
    PresetProblem problem;
    if (!parsePreset(fileBytes(PresetOption, path, MaxPresetFileBytes), &preset, &problem))
        refuseFile(PresetOption, path, problem.line, problem.text);
    if (preset.effect != &effect)
        refuse(QStringLiteral("--%1 '%2' holds settings of the %3 effect, not of %4")
                       .arg(PresetOption, path, QLatin1String(preset.effect->name),
                            QLatin1String(effect.name)));
    return preset.values;
}

void applySettingsFileOptions(const QCommandLineParser &parser, CommandLine &line)
{
    applyAutoLevels(parser, line);
    applyPalette(parser, line);
    if (parser.isSet(SavePresetOption)) {
        line.settingsFiles.presetPath = parser.value(SavePresetOption);
        checkSavePath(SavePresetOption, line.settingsFiles.presetPath, line);
        if (line.settingsFiles.presetPath == line.settingsFiles.palettePath)
            refuse(QStringLiteral("--%1 and --%2 name the same file")
                           .arg(SavePresetOption, SavePaletteOption));
    }
}

bool savePreset(const CommandLine &line, Console &console)
{
    const QString &path = line.settingsFiles.presetPath;
    if (path.isEmpty())
        return true;
    QString error;
    if (commitBytes(path, presetText(*line.effect, line.values), &error))
        return true;
    console.error(QStringLiteral("cannot write the settings '%1': %2").arg(path, error));
    return false;
}

bool savePalette(const CommandLine &line, const QList<PaletteColour> &colours, const QString &title,
                 QString *error)
{
    const QString &path = line.settingsFiles.palettePath;
    if (path.isEmpty())
        return true;
    if (colours.isEmpty()) {
        *error = QStringLiteral("the poster has no colours to save to '%1'").arg(path);
        return false;
    }
    if (commitBytes(path, gimpPaletteText(colours, title), error))
        return true;
    *error = QStringLiteral("cannot write the palette '%1': %2").arg(path, *error);
    return false;
}

QString choicesText(const Effect &effect, const DrawingChoices &choices)
{
    QString text;
    for (const EffectSetting &setting : effect.settings) {
        const QString name = QLatin1String(setting.name);
        if (choices.numbers.contains(name))
            text += QStringLiteral(", %1 %2").arg(name).arg(choices.numbers.value(name));
    }
    return text;
}
