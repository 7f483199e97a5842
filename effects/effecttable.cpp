// The effects, one entry each: the names and ranges the command line, the
// manual and the tests use. The defaults come from the effects' settings
// records, which the window's sliders start at too.

#include "effect.h"

#include "coloursketch.h"
#include "contours.h"
#include "pencilsketch.h"
#include "pensketch.h"
#include "postersketch.h"

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

ContourSettings contourValues(const EffectValues &values)
{
    ContourSettings contours;
    contours.on = values.contours;
    contours.black = values.value("contour-black");
    contours.white = values.value("contour-white");
    return contours;
}

QImage drawPen(const QImage &picture, const unsigned char *edges, const EffectValues &values,
               RandomSequence &, const Progress &progress, QString *)
{
    PenSettings pen;
    pen.black = values.value("black");
    pen.white = values.value("white");
    return pensketch(picture, edges, pen, progress);
}

QImage drawPencil(const QImage &picture, const unsigned char *edges, const EffectValues &values,
                  RandomSequence &random, const Progress &progress, QString *)
{
    PencilSettings pencil;
    pencil.density = values.value("density");
    pencil.black = values.value("black");
    pencil.white = values.value("white");
    pencil.contours = contourValues(values);
    return pencilSketch(picture, edges, pencil, random, progress);
}

QImage drawPoster(const QImage &picture, const unsigned char *edges, const EffectValues &values,
                  RandomSequence &random, const Progress &progress, QString *)
{
    PosterSettings poster;
    poster.colours = values.value("colors");
    poster.contours = contourValues(values);
    return posterSketch(picture, edges, poster, random, progress);
}

QImage drawColour(const QImage &picture, const unsigned char *, const EffectValues &values,
                  RandomSequence &, const Progress &progress, QString *problem)
{
    ColourSketchSettings colour;
    colour.threshold = values.value("threshold");
    colour.brush = values.value("brush");
    const QImage sketch = colourSketch(picture, colour, progress);
    if (sketch.isNull())
        *problem = QStringLiteral("at threshold %1 and brushstroke size %2 no two regions "
                                  "merge into a new level, so there is no picture; nothing "
                                  "was written")
                           .arg(colour.threshold)
                           .arg(colour.brush);
    return sketch;
}

std::vector<Effect> makeTable()
{
    const PenSettings pen;
    const PencilSettings pencil;
    const PosterSettings poster;
    const ColourSketchSettings colour;
    return {
            {"pen",
             "ink drawing of the picture's contours",
             {{"black", "Black level", 0, 255, pen.black, "black level"},
              {"white", "White level", 0, 255, pen.white, "white level"}},
             false,
             true,
             true,
             drawPen,
             "The picture's outlines, dark lines on white: a higher black level darkens the "
             "dark lines, a lower white level whitens the fainter ones."},
            {"pencil", "cross-hatched pencil drawing",
             withContourLevels(
                     {{"density", "Line density", 1, 10, pencil.density, "stroke spacing"},
                      {"black", "Black level", 0, 255, pencil.black, "black level of the hatching"},
                      {"white", "White level", 0, 255, pencil.white,
                       "white level of the hatching"}}),
             true, true, true, drawPencil,
             "Cross-hatched pencil strokes that follow the picture's light and shade, over its "
             "outlines."},
            {"poster", "flat colour areas with contours",
             withContourLevels({{"colors", "Colors", 2, 30, poster.colours, "number of colours"}}),
             true, true, false, drawPoster,
             "The picture in a few flat colours, with its outlines."},
            {"color",
             "colour sketch of merged regions",
             {{"threshold", "Color threshold", 0, 99, colour.threshold,
               "colour distance up to which regions merge"},
              {"brush", "Brushstroke size", 0, 500, colour.brush, "brushstroke size"}},
             false,
             false,
             false,
             drawColour,
             "Regions of similar colour merged into brush strokes; the brushstroke size is the "
             "largest region, in pixels, that still merges. A colour sketch that reaches no level "
             "of merging (threshold 0, a picture of one colour, brushstroke size 0) has no "
             "picture: nothing is written and the file counts as failed."},
    };
}

} // namespace

const std::vector<Effect> &effects()
{
    static const std::vector<Effect> table = makeTable();
    return table;
}
