#pragma once

#include "progress.h"
#include "randomsequence.h"

#include <QHash>
#include <QImage>
#include <QString>

#include <vector>

// An integer setting of an effect, given on the command line as --NAME N.
struct EffectOption
{
    const char *name;
    const char *description;
    int minimum;
    int maximum;
    int defaultValue;
};

// The values one run uses: every option of the effect, defaults filled in.
struct EffectSettings
{
    QHash<QString, int> values;
    bool contours = true;

    int value(const char *name) const { return values.value(QString::fromLatin1(name)); }
};

// Returns the drawing, or a null picture with the reason in `problem` when
// the effect makes no picture of this input.
using EffectFunction = QImage (*)(const QImage &source, const unsigned char *edges,
                                  const EffectSettings &settings, RandomSequence &random,
                                  const Progress &progress, QString *problem);

struct Effect
{
    const char *name;
    const char *summary;
    std::vector<EffectOption> options;
    // Whether --no-contour applies.
    bool contourSwitch;
    // Whether the effect reads the edge map.
    bool needsEdges;
    EffectFunction run;
    // Whether --transparent applies: the drawing is grey lines on white.
    bool transparentSwitch = false;

    const EffectOption *option(const QString &name) const;
    EffectSettings defaults() const;
};

// Every effect the tool knows, in the order the help lists them.
const std::vector<Effect> &effects();
const Effect *findEffect(const QString &name);

// The drawing of a picture that is already in the working format: the edge
// map first when the effect needs it, then the effect, drawing from a fresh
// random sequence so that every file gives the same result whatever ran
// before it. A null picture when the effect makes none; `problem` then says
// why, or stays empty when memory ran out.
QImage makeDrawing(const Effect &effect, const QImage &picture, const EffectSettings &settings,
                   const Progress &edgeProgress, const Progress &effectProgress, QString *problem);
