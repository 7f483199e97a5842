#include "fixedposter.h"

#include "colour.h"
#include "distinctcolours.h"
#include "imagebuffer.h"
#include "labsamples.h"
#include "paintclusters.h"
#include "parallel.h"
#include "workingformat.h"

#include <vector>

namespace {

// Distinct colours per band at the least.
constexpr int ColourGrain = 4096;

} // namespace

PaletteColour PaletteColour::ofRgb(QRgb rgb, const QString &name)
{
    int l = 0, a = 0, b = 0;
    rgbtolab(rgb, &l, &a, &b);
    PaletteColour colour;
    colour.rgb = rgb | 0xFF000000u;
    colour.l = qint16(l);
    colour.a = qint16(a);
    colour.b = qint16(b);
    colour.name = name;
    return colour;
}

PaletteColour PaletteColour::ofLab(int l, int a, int b, const QString &name)
{
    PaletteColour colour;
    colour.rgb = lab2rgb(l, a, b) | 0xFF000000u;
    colour.l = qint16(l);
    colour.a = qint16(a);
    colour.b = qint16(b);
    colour.name = name;
    return colour;
}

int nearestPaletteColour(const QList<PaletteColour> &palette, int l, int a, int b)
{
    int best = 0;
    int bestDistance = 1000000000;
    for (int j = 0; j < palette.size(); ++j) {
        const PaletteColour &c = palette.at(j);
        const int dl = l - c.l, da = a - c.a, db = b - c.b;
        const int distance = dl * dl + da * da + db * db;
        if (distance < bestDistance) {
            best = j;
            bestDistance = distance;
        }
    }
    return best;
}

QImage fixedPoster(const QImage &img, const QList<PaletteColour> &fullPalette,
                   const Progress &progress)
{
    // The clusters of the distinct colours are bytes.
    const QList<PaletteColour> palette = fullPalette.mid(0, MaxPaletteColours);
    const QImage source = readableByRows(img);
    progress.report(0);
    if (source.width() < 1 || source.height() < 1 || palette.isEmpty()) {
        progress.report(20);
        progress.report(25);
        return source.copy();
    }
    DistinctColours distinct(source);
    progress.report(20);
    const LabSamples lab = LabSamples::ofColours(distinct.colours());
    progress.report(25);
    std::vector<quint8> nearest(size_t(distinct.size()));
    parallelBands(distinct.size(), ColourGrain, [&](int first, int end) {
        for (int i = first; i < end; ++i)
            nearest[size_t(i)] = quint8(nearestPaletteColour(palette, lab.l[size_t(i)],
                                                             lab.a[size_t(i)], lab.b[size_t(i)]));
    });
    distinct.setClusters(nearest);
    progress.report(30);
    progress.report(50);
    QList<QRgb> colours;
    for (const PaletteColour &colour : palette)
        colours.append(colour.rgb | 0xFF000000u);
    QImage result = newImage(source, workingFormatAsFile(source.format()));
    paintClusters(source, distinct, colours, result, progress);
    return result;
}
