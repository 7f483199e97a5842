#pragma once

#include "progress.h"

#include <QImage>
#include <QList>
#include <QString>

// One colour of a poster's palette: the colour painted, and the Lab value
// pixels are matched against. A colour the poster found itself carries its
// centre, which rgbtolab() of the painted colour need not give back.
struct PaletteColour
{
    QRgb rgb = 0xFF000000;
    qint16 l = 0;
    qint16 a = 0;
    qint16 b = 0;
    QString name;

    // The colour matched by its own Lab value, as rgbtolab() gives it.
    static PaletteColour ofRgb(QRgb rgb, const QString &name = {});
    // A poster's centre, painted as lab2rgb() gives it.
    static PaletteColour ofLab(int l, int a, int b, const QString &name = {});

    bool operator==(const PaletteColour &other) const
    {
        return rgb == other.rgb && l == other.l && a == other.a && b == other.b
                && name == other.name;
    }
};

// The most colours a palette holds: as many clusters as the poster tells
// apart.
constexpr int MaxPaletteColours = 255;

// The index of the colour nearest (l, a, b) by the poster's squared Lab
// distance in integers, the lower index among equals; 0 for an empty
// palette.
int nearestPaletteColour(const QList<PaletteColour> &palette, int l, int a, int b);

// The picture in the fixed colours of `palette` (1 .. MaxPaletteColours
// colours): every pixel takes the colour of the entry nearest its Lab value,
// by the distance and tie rule with which Poster() paints its centres. The
// result has the size and format that Poster() gives, and is opaque; a
// picture without pixels comes back unchanged. Reports what Poster()
// reports.
QImage fixedPoster(const QImage &img, const QList<PaletteColour> &palette,
                   const Progress &progress = {});
