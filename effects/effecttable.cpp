// The effects, one entry each: the names and ranges the command line, the
// manual and the tests use. The defaults come from the effects' settings
// records, which the window's sliders start at too.

#include "autolevels.h"
#include "effect.h"
#include "effectrecords.h"

namespace {

// The contour layer's two levels come last on every page that has one.
std::vector<EffectSetting> withContourLevels(std::vector<EffectSetting> settings)
{
    const ContourSettings contours;
    settings.push_back({"contour-black", "Black level", 0, 255, contours.black,
                        "black level of the contours"});
    settings.push_back({"contour-white", "White level", 0, 255, contours.white,
                        "white level of the contours"});
    return settings;
}

// The problem of a colour sketch that reaches no level.
QString noLevel(const ColourSketchSettings &colour)
{
    return QStringLiteral("at threshold %1 and brushstroke size %2 no two regions "
                          "merge into a new level, so there is no picture; nothing "
                          "was written")
            .arg(colour.threshold)
            .arg(colour.brush);
}

// Tells the caller the levels chosen for this picture.
void tellLevels(const EffectValues &values, const ToneLevels &levels)
{
    if (!values.choices)
        return;
    values.choices->numbers.insert(QStringLiteral("black"), levels.black);
    values.choices->numbers.insert(QStringLiteral("white"), levels.white);
}

// The pen's settings, with its levels chosen from the picture when asked.
PenSettings penLevels(const QImage &picture, const unsigned char *edges, const EffectValues &values)
{
    PenSettings pen = penSettings(values);
    if (values.autoLevels) {
        const ToneLevels levels = chooseToneLevels(
                inverseEdgeHistogram(edges, qint64(picture.width()) * picture.height()));
        pen.black = levels.black;
        pen.white = levels.white;
        tellLevels(values, levels);
    }
    return pen;
}

QImage drawPen(const QImage &picture, const unsigned char *edges, const EffectValues &values,
               RandomSequence &, const Progress &progress, QString *)
{
    const PenSettings pen = penLevels(picture, edges, values);
    return values.greyBytes ? pensketchGrey(picture, edges, pen, progress)
                            : pensketch(picture, edges, pen, progress);
}

QImage drawPencil(const QImage &picture, const unsigned char *edges, const EffectValues &values,
                  RandomSequence &random, const Progress &progress, QString *)
{
    if (!values.autoLevels)
        return pencilSketch(picture, edges, pencilSettings(values), random, progress);
    ToneLevels levels;
    const QImage drawing = pencilSketchAutoLevels(picture, edges, pencilSettings(values), random,
                                                  progress, &levels);
    tellLevels(values, levels);
    return drawing;
}

QImage drawPoster(const QImage &picture, const unsigned char *edges, const EffectValues &values,
                  RandomSequence &random, const Progress &progress, QString *)
{
    return posterSketch(picture, edges, posterSettings(values), random, progress, nullptr,
                        values.choices ? &values.choices->palette : nullptr);
}

QImage drawColour(const QImage &picture, const unsigned char *, const EffectValues &values,
                  RandomSequence &, const Progress &progress, QString *problem)
{
    const ColourSketchSettings colour = colourSketchSettings(values);
    const QImage sketch = colourSketch(picture, colour, progress);
    if (sketch.isNull())
        *problem = noLevel(colour);
    return sketch;
}

VectorLayers penLayers(const QImage &picture, const unsigned char *edges,
                       const EffectValues &values, RandomSequence &, const Progress &progress,
                       QString *)
{
    VectorLayers layers;
    layers.size = picture.size();
    layers.ink = pensketch(picture, edges, penLevels(picture, edges, values), progress);
    return layers;
}

VectorLayers posterLayers(const QImage &picture, const unsigned char *edges,
                          const EffectValues &values, RandomSequence &random,
                          const Progress &progress, QString *)
{
    PosterSettings poster = posterSettings(values);
    const ContourSettings contours = poster.contours;
    poster.contours.on = false;
    VectorLayers layers;
    layers.size = picture.size();
    layers.fills = posterSketch(picture, edges, poster, random, progress, nullptr,
                                values.choices ? &values.choices->palette : nullptr);
    if (contours.on && !layers.fills.isNull())
        layers.ink = contourLayer(picture.size(), edges, contours.black, contours.white);
    return layers;
}

VectorLayers colourLayers(const QImage &picture, const unsigned char *, const EffectValues &values,
                          RandomSequence &, const Progress &progress, QString *problem)
{
    const ColourSketchSettings colour = colourSketchSettings(values);
    VectorLayers layers;
    layers.size = picture.size();
    layers.fills = colourSketchRegions(picture, colour, progress);
    if (layers.fills.isNull())
        *problem = noLevel(colour);
    return layers;
}

Effect penEffect()
{
    const PenSettings pen;
    Effect effect;
    effect.name = "pen";
    effect.description = "ink drawing of the picture's contours";
    effect.settings = {{"black", "Black level", 0, 255, pen.black, "black level"},
                       {"white", "White level", 0, 255, pen.white, "white level"}};
    effect.needsEdges = true;
    effect.readsAnyFormat = true;
    effect.greyDrawing = true;
    effect.transparentLines = true;
    effect.toneLevels = true;
    effect.draw = drawPen;
    effect.layers = penLayers;
    effect.vectorForm = "the ink as black shapes";
    effect.notes = "The picture's outlines, dark lines on white: a higher black level darkens the "
                   "dark lines, a lower white level whitens the fainter ones.";
    return effect;
}

Effect pencilEffect()
{
    const PencilSettings pencil;
    Effect effect;
    effect.name = "pencil";
    effect.description = "cross-hatched pencil drawing";
    effect.settings = withContourLevels(
            {{"density", "Line density", 1, 10, pencil.density, "stroke spacing"},
             {"black", "Black level", 0, 255, pencil.black, "black level of the hatching"},
             {"white", "White level", 0, 255, pencil.white, "white level of the hatching"}});
    effect.contourLayer = true;
    effect.needsEdges = true;
    effect.readsAnyFormat = true;
    effect.greyDrawing = true;
    effect.transparentLines = true;
    effect.toneLevels = true;
    effect.draw = drawPencil;
    effect.vectorForm = "its hatching is a texture of three-pixel strokes that no outline "
                        "improves on; write PNG";
    effect.notes = "Cross-hatched pencil strokes that follow the picture's light and shade, over "
                   "its outlines.";
    return effect;
}

Effect posterEffect()
{
    const PosterSettings poster;
    Effect effect;
    effect.name = "poster";
    effect.description = "flat colour areas with contours";
    effect.settings
            = withContourLevels({{"colors", "Colors", 2, 30, poster.colours, "number of colours"}});
    effect.contourLayer = true;
    effect.needsEdges = true;
    effect.readsAnyFormat = true;
    effect.photoColours = true;
    effect.paletteColours = true;
    effect.draw = drawPoster;
    effect.layers = posterLayers;
    effect.vectorForm = "a shape per region of one colour, and the contours as black shapes "
                        "in a group of their own";
    effect.notes = "The picture in a few flat colours, with its outlines.";
    return effect;
}

Effect colourEffect()
{
    const ColourSketchSettings colour;
    Effect effect;
    effect.name = "color";
    effect.description = "colour sketch of merged regions";
    effect.settings = {{"threshold", "Color threshold", 0, 99, colour.threshold,
                        "colour distance up to which regions merge"},
                       {"brush", "Brushstroke size", 0, 500, colour.brush, "brushstroke size"}};
    effect.photoColours = true;
    effect.draw = drawColour;
    effect.layers = colourLayers;
    effect.vectorForm = "a shape per region of the last level, traced at the working size "
                        "and scaled to the picture's";
    effect.notes = "Regions of similar colour merged into brush strokes; the brushstroke size is "
                   "the largest region, in pixels, that still merges. A colour sketch that "
                   "reaches no level of merging (threshold 0, a picture of one colour, "
                   "brushstroke size 0) has no picture: nothing is written and the file counts "
                   "as failed.";
    return effect;
}

} // namespace

const std::vector<Effect> &effects()
{
    // In the order of the window's pages.
    static const std::vector<Effect> table
            = {penEffect(), pencilEffect(), posterEffect(), colourEffect()};
    return table;
}
