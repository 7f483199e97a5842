#include "effects.h"

#include "coloursketch.h"
#include "edgemap.h"
#include "pencilsketch.h"
#include "pensketch.h"
#include "postersketch.h"

namespace {

QImage penEffect(const QImage &source, const unsigned char *edges, const EffectSettings &settings,
                 RandomSequence &, const Progress &progress, QString *)
{
    return pensketch(source, edges, settings.value("black"), settings.value("white"), progress);
}

QImage pencilEffect(const QImage &source, const unsigned char *edges,
                    const EffectSettings &settings, RandomSequence &random,
                    const Progress &progress, QString *)
{
    PencilSettings pencil;
    pencil.density = settings.value("density");
    pencil.black = settings.value("black");
    pencil.white = settings.value("white");
    pencil.contours = settings.contours;
    pencil.contourBlack = settings.value("contour-black");
    pencil.contourWhite = settings.value("contour-white");
    return pencilSketch(source, edges, pencil, random, progress);
}

QImage posterEffect(const QImage &source, const unsigned char *edges,
                    const EffectSettings &settings, RandomSequence &random,
                    const Progress &progress, QString *)
{
    PosterSettings poster;
    poster.colours = settings.value("colors");
    poster.contours = settings.contours;
    poster.contourBlack = settings.value("contour-black");
    poster.contourWhite = settings.value("contour-white");
    return posterSketch(source, edges, poster, random, progress);
}

QImage colourEffect(const QImage &source, const unsigned char *, const EffectSettings &settings,
                    RandomSequence &, const Progress &progress, QString *problem)
{
    const int threshold = settings.value("threshold");
    const int brush = settings.value("brush");
    const QImage sketch = colourSketch(source, threshold, brush, progress);
    if (sketch.isNull())
        *problem = QStringLiteral("at threshold %1 and brushstroke size %2 no two regions "
                                  "merge into a new level, so there is no picture; nothing "
                                  "was written")
                           .arg(threshold)
                           .arg(brush);
    return sketch;
}

// The defaults are the window's initial slider positions.
std::vector<Effect> makeTable()
{
    const EffectOption contourBlack {"contour-black", "black level of the contours", 0, 255, 200};
    const EffectOption contourWhite {"contour-white", "white level of the contours", 0, 255, 255};
    return {
            {"pen",
             "ink drawing of the picture's contours",
             {{"black", "black level", 0, 255, 150}, {"white", "white level", 0, 255, 255}},
             false,
             true,
             penEffect,
             true},
            {"pencil",
             "cross-hatched pencil drawing",
             {{"density", "stroke spacing", 1, 10, 6},
              {"black", "black level of the hatching", 0, 255, 60},
              {"white", "white level of the hatching", 0, 255, 180},
              contourBlack,
              contourWhite},
             true,
             true,
             pencilEffect,
             true},
            {"poster",
             "flat colour areas with contours",
             {{"colors", "number of colours", 2, 30, 3}, contourBlack, contourWhite},
             true,
             true,
             posterEffect},
            {"color",
             "colour sketch of merged regions",
             {{"threshold", "colour distance up to which regions merge", 0, 99, 20},
              {"brush", "brushstroke size", 0, 500, 70}},
             false,
             false,
             colourEffect},
    };
}

} // namespace

const EffectOption *Effect::option(const QString &optionName) const
{
    for (const EffectOption &candidate : options) {
        if (optionName == QLatin1String(candidate.name))
            return &candidate;
    }
    return nullptr;
}

EffectSettings Effect::defaults() const
{
    EffectSettings settings;
    for (const EffectOption &candidate : options)
        settings.values.insert(QString::fromLatin1(candidate.name), candidate.defaultValue);
    return settings;
}

const std::vector<Effect> &effects()
{
    static const std::vector<Effect> table = makeTable();
    return table;
}

const Effect *findEffect(const QString &name)
{
    for (const Effect &effect : effects()) {
        if (name == QLatin1String(effect.name))
            return &effect;
    }
    return nullptr;
}

QImage makeDrawing(const Effect &effect, const QImage &picture, const EffectSettings &settings,
                   const Progress &edgeProgress, const Progress &effectProgress, QString *problem)
{
    std::vector<unsigned char> edges;
    if (effect.needsEdges) {
        edges.resize(size_t(picture.width()) * size_t(picture.height()));
        labsobellight2(picture, edges.data(), edgeProgress);
    }
    RandomSequence random;
    return effect.run(picture, edges.data(), settings, random, effectProgress, problem);
}
