#pragma once

#include "effect.h"
#include "filejob.h"

#include <QCommandLineParser>
#include <QString>

#include <vector>

class Console;
struct CommandLine;

// The files a run saves its settings and colours to; empty for none.
struct SettingsFiles
{
    // --save-preset: the run's settings, written before the first file.
    QString presetPath;
    // --save-palette: the poster's colours, written with its one drawing.
    QString palettePath;
};

// --preset, --palette, --auto-levels, --save-preset and --save-palette;
// the ones that belong to some effects only are listed with those effects.
void addSettingsFileOptions(QCommandLineParser &parser);

// The help's lines of this file's options that `effect` has: each option's
// syntax and its description.
QList<QPair<QString, QString>> effectOptionsHelp(const Effect &effect);

// The values a run starts from: the --preset file's, or the effect's
// defaults. Refuses a file that cannot be read or is not a settings file of
// `effect`, naming the file, the line and the problem.
EffectValues presetValues(const QCommandLineParser &parser, const Effect &effect);

// The options of this file over the values already taken from the command
// line: auto levels, the palette, the files to save. Checks them against
// the effect and the jobs; refuses what cannot work.
void applySettingsFileOptions(const QCommandLineParser &parser, CommandLine &line);

// Writes --save-preset's file; false, having said why, when it cannot.
bool savePreset(const CommandLine &line, Console &console);

// Writes --save-palette's file of `colours`; false with the reason when it
// cannot.
bool savePalette(const CommandLine &line, const QList<PaletteColour> &colours, const QString &title,
                 QString *error);

// ", black 41, white 228": what the drawing chose, for --timings.
QString choicesText(const Effect &effect, const DrawingChoices &choices);
