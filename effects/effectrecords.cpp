#include "effectrecords.h"

ContourSettings contourSettings(const EffectValues &values)
{
    ContourSettings contours;
    contours.on = values.contours;
    contours.black = values.value("contour-black");
    contours.white = values.value("contour-white");
    return contours;
}

PenSettings penSettings(const EffectValues &values)
{
    PenSettings pen;
    pen.black = values.value("black");
    pen.white = values.value("white");
    return pen;
}

PencilSettings pencilSettings(const EffectValues &values)
{
    PencilSettings pencil;
    pencil.density = values.value("density");
    pencil.black = values.value("black");
    pencil.white = values.value("white");
    pencil.contours = contourSettings(values);
    return pencil;
}

PosterSettings posterSettings(const EffectValues &values)
{
    PosterSettings poster;
    poster.colours = values.value("colors");
    poster.contours = contourSettings(values);
    poster.palette = values.palette;
    return poster;
}

ColourSketchSettings colourSketchSettings(const EffectValues &values)
{
    ColourSketchSettings colour;
    colour.threshold = values.value("threshold");
    colour.brush = values.value("brush");
    return colour;
}
