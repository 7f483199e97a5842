#pragma once

#include "drawingtrace.h"
#include "fixedposter.h"
#include "progress.h"
#include "randomsequence.h"

#include <QHash>
#include <QImage>
#include <QList>
#include <QString>

#include <vector>

// One whole-number setting of an effect: a slider of its page in the window,
// --NAME N on the command line.
struct EffectSetting
{
    // The option's name: "contour-black".
    const char *name;
    // What the window's page calls it: "Black level".
    const char *label;
    int minimum;
    int maximum;
    // The slider's starting value, taken from the effect's settings record.
    int defaultValue;
    // One line for --help and the manual: "black level of the contours".
    const char *help;
};

// What a drawing chose for itself from its picture.
struct DrawingChoices
{
    // Settings by name: the tone levels chosen with `autoLevels`.
    QHash<QString, int> numbers;
    // The colours a poster was painted with, each with its Lab centre.
    QList<PaletteColour> palette;
};

// The values of one drawing: every setting by name, and whether the contour
// layer is laid over the effects that have one.
struct EffectValues
{
    QHash<QString, int> numbers;
    bool contours = true;
    // For the effects with `toneLevels`: "black" and "white" are chosen from
    // each picture's own tones (chooseToneLevels() in autolevels.h) instead.
    bool autoLevels = false;
    // For the effects with `paletteColours`: fixed colours instead of the
    // ones the effect would find; empty for its own.
    QList<PaletteColour> palette;
    // When not null, receives what the drawing chose. Give each drawing
    // made at once its own.
    DrawingChoices *choices = nullptr;
    // For the effects with `greyDrawing`: the drawing may come as
    // Format_Grayscale8, the same greys a byte each, where the effect can
    // make it so (the pen can), for a front end that keeps grey drawings
    // as bytes.
    bool greyBytes = false;

    int value(const char *name) const { return numbers.value(QString::fromLatin1(name)); }
};

// Draws `picture` (32-bit, see workingformat.h) with `values`. `edges` is the
// picture's edge map when the effect needs one, otherwise null. Returns a
// null picture with the reason in `problem` when the effect makes no picture
// of this input; throws std::bad_alloc when memory runs out.
using EffectDraw
        = QImage (*)(const QImage &picture, const unsigned char *edges, const EffectValues &values,
                     RandomSequence &random, const Progress &progress, QString *problem);

// What of the drawing becomes outlines, with the arguments of EffectDraw.
using EffectLayers = VectorLayers (*)(const QImage &picture, const unsigned char *edges,
                                      const EffectValues &values, RandomSequence &random,
                                      const Progress &progress, QString *problem);

// An effect as the table gives it; every field is set by name there.
struct Effect
{
    // The command-line name: "pencil".
    const char *name = nullptr;
    // One line for --help and the manual.
    const char *description = nullptr;
    // In the order the page shows them; for an effect with a contour layer,
    // the layer's two levels come last.
    std::vector<EffectSetting> settings;
    // Whether the shared contour layer can be left out (--no-contour).
    bool contourLayer = false;
    // Whether the effect reads the edge map.
    bool needsEdges = false;
    // Whether it draws a picture of any format with the same pixels as the
    // picture converted to the working format that workingFormatAsFile()
    // names, converting rows only as it reads them: a front end holding the
    // picture in another format then gives it as it is, which spares a
    // converted copy.
    bool readsAnyFormat = false;
    // Whether the drawing is grey: every pixel opaque with its three
    // channels equal, so that a PNG of it takes one grey channel and tone
    // levels apply to it.
    bool greyDrawing = false;
    // Whether the drawing is dark lines on white that --transparent may
    // give as black lines on a transparent layer instead.
    bool transparentLines = false;
    // Whether the drawing's colours are the photograph's own values (a
    // poster's cluster means, a colour sketch's regions), so that the
    // drawing carries the photograph's colour profile; not with a palette.
    bool photoColours = false;
    // Whether its "black" and "white" settings are tone levels that can be
    // chosen from the picture (EffectValues::autoLevels).
    bool toneLevels = false;
    // Whether it paints a few colours that a palette can fix
    // (EffectValues::palette).
    bool paletteColours = false;
    EffectDraw draw = nullptr;
    // How the drawing is written as SVG: its layers of colours and ink, or
    // null when it cannot be; `vectorForm` says in a few words what the SVG
    // holds, or, without layers, why there is none.
    EffectLayers layers = nullptr;
    const char *vectorForm = nullptr;
    // A paragraph for the manual after the settings, or null.
    const char *notes = nullptr;

    const EffectSetting *setting(const QString &name) const;
    // Every setting at its default, the contour layer on.
    EffectValues defaults() const;
};

// Every effect, in the order of the window's pages.
const std::vector<Effect> &effects();
const Effect *findEffect(const QString &name);

// The drawing of a picture already in the working format: the edge map
// first when the effect needs it, then the effect, drawing from a fresh
// random sequence so that every file gives the same result whatever ran
// before it. A drawing in the photograph's colours takes its colour space.
// A null picture when the effect makes none; `problem` then says why, or
// stays empty. Throws std::bad_alloc when memory runs out.
QImage makeDrawing(const Effect &effect, const QImage &picture, const EffectValues &values,
                   const Progress &edgeProgress, const Progress &effectProgress, QString *problem);
// The layers an effect writes as SVG, made as makeDrawing() makes the
// picture; `layers` null when the effect has none. A result with neither
// fills nor ink when the effect makes no picture; `problem` then says why.
VectorLayers makeVectorLayers(const Effect &effect, const QImage &picture,
                              const EffectValues &values, const Progress &edgeProgress,
                              const Progress &effectProgress, QString *problem);
