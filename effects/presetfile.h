#pragma once

#include "effect.h"

#include <QByteArray>
#include <QSet>
#include <QString>

// Settings files: an effect's settings kept for a kind of photograph.
//
//   # settings for dark woods
//   effect = pencil
//   density = 4
//   black = 30          # darker hatching
//   contours = off
//
// One "setting = value" a line; a "#" starts a comment that runs to the end
// of its line; blank lines are ignored. "effect" names the effect and must
// be there; every other name is one of its settings (a whole number within
// the setting's range), "contours" (on or off) for an effect with a contour
// layer, or "auto-levels" (on or off) for an effect with tone levels. Each
// name comes once; a setting left out keeps its default.

// The largest settings file read.
constexpr qsizetype MaxPresetFileBytes = 64 * 1024;

struct Preset
{
    const Effect *effect = nullptr;
    // Every setting, at its default where the file is silent.
    EffectValues values;
    // The names the file gives: settings, "contours", "auto-levels".
    QSet<QString> given;
};

struct PresetProblem
{
    // 1 for the first line; 0 for a problem of the whole file.
    int line = 0;
    QString text;
};

// The settings of a file's bytes; false with the first problem, in the
// order of the lines, when the bytes are not a settings file.
bool parsePreset(const QByteArray &bytes, Preset *preset, PresetProblem *problem);

// The settings file of `values` for `effect`: every setting in the table's
// order, then "contours" and "auto-levels" where the effect has them.
// parsePreset() gives the values back, and this the same bytes again.
QByteArray presetText(const Effect &effect, const EffectValues &values);
