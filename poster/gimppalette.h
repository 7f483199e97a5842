#pragma once

#include "fixedposter.h"

#include <QByteArray>
#include <QList>
#include <QString>

// GIMP's palette files (.gpl), which Krita and Inkscape read too:
//
//   GIMP Palette
//   Name: beach
//   Columns: 0
//   # comment
//    64 101 160	Lab 42 1 -34
//   250 240 230	paper
//
// One colour a line: red, green and blue from 0 to 255, then an optional
// name. A name of the form "Lab L A B" whose Lab value lab2rgb() turns into
// exactly the line's red, green and blue gives the colour's Lab value, so
// that a poster's own centres survive the trip through the file; any other
// colour is matched by rgbtolab() of its red, green and blue (so a colour
// changed in an editor is matched as it now is, whatever its name says).

// The largest palette file read.
constexpr qsizetype MaxPaletteFileBytes = 1 << 20;

struct PaletteProblem
{
    // 1 for the first line; 0 for a problem of the whole file.
    int line = 0;
    QString text;
};

// The colours of a palette file's bytes, in the file's order; false with
// the first problem when the bytes are not a palette of 1 to
// MaxPaletteColours colours.
bool parseGimpPalette(const QByteArray &bytes, QList<PaletteColour> *colours,
                      PaletteProblem *problem);

// A palette file of `colours` named `title`, each colour named "Lab L A B"
// after its Lab value. parseGimpPalette() gives back colours with the same
// painted colour and Lab value.
QByteArray gimpPaletteText(const QList<PaletteColour> &colours, const QString &title);
