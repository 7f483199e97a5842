#pragma once

#include "progress.h"
#include "tracing.h"

#include <QImage>

// What of a drawing becomes outlines: flat regions of colour, dark ink, or
// both (ink over the colours).
struct VectorLayers
{
    // The drawing's size in pixels.
    QSize size;
    // The regions' colours, or null. May be smaller than `size`: the
    // outlines are then scaled up to it when drawn.
    QImage fills;
    // A grey layer at `size` whose dark pixels are ink, or null.
    QImage ink;
};

// How the layers are traced.
struct VectorSettings
{
    // Ink is every pixel whose grey is below this.
    int threshold = 128;
    // Whether outlines are simplified and rounded, or follow the pixels.
    bool curves = true;
    // Below about 0.7 pixel staircases no longer straighten, and the files
    // of photographs grow larger than along the pixels; above 1 a boundary
    // could pass beyond a one-pixel island beside it.
    double tolerance = 1.0;
    // Regions of fewer pixels join a neighbour first; 0 keeps every pixel.
    qint64 minArea = 0;
};

struct VectorDrawing
{
    QSize size;
    // Every region of `fills` with its colour (0xRRGGBB) as the label;
    // empty when the drawing has no fills.
    Tracing fills;
    bool hasFills = false;
    // Ink (label 1) and paper (label 0); empty when there is no ink layer.
    Tracing ink;
    bool hasInk = false;
};

// Traces the layers: colours first, then ink. Reports 0 .. 100.
VectorDrawing traceDrawing(const VectorLayers &layers, const VectorSettings &settings,
                           const Progress &progress = {});
