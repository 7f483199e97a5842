#pragma once

#include "drawingtrace.h"

#include <QByteArray>

// The resolution a picture carries, in dots per metre; 0 when unknown.
struct SvgResolution
{
    int dotsPerMeterX = 0;
    int dotsPerMeterY = 0;
};

// A traced drawing as an SVG 1.1 document, in one buffer:
//
// - width and height in pixels, or in millimetres when the resolution is
//   known and is not 96 dots per inch (at which a CSS pixel is the
//   physical size already); the view box is the traced size, so colours
//   traced smaller are scaled up to the drawing's size;
// - a backdrop: a rectangle over the whole view box in the colour of the
//   largest area (white paper under ink alone). Renderers that smooth
//   edges cover a pixel on a shared edge only partly with each of the two
//   shapes, so the background would show through as a faint line along
//   every edge; the backdrop shows there instead, and it is its own
//   element, which an editor can delete, while the outlines stay exact;
// - the regions, one path each, in a group per colour, the colours of the
//   largest area first;
// - the ink as black paths in a group of its own ("ink"), over the colours,
//   which a cutter or an editor can leave out.
QByteArray svgDocument(const VectorDrawing &drawing, const SvgResolution &resolution = {});
