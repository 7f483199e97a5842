#pragma once

#include "labelmap.h"
#include "regions.h"
#include "tracing.h"

#include <QImage>
#include <QString>

#include <vector>

namespace tracesupport {

// Label maps of the awkward kinds: every label a colour 0xRRGGBB.
LabelMap checkerboard(int width, int height, int square);
LabelMap diagonal(int size);
// Rings of alternating labels, each around the next, `depth` deep.
LabelMap nestedRings(int depth);
LabelMap randomMap(int width, int height, int labels, quint32 seed);
// Random blobs: runs of a label, so that regions are larger than a pixel.
LabelMap blobMap(int width, int height, int labels, quint32 seed);
LabelMap filledMap(int width, int height, quint32 label);
LabelMap fromPicture(const QImage &picture);
// Every kind above, and 1 x 1, 1 x N, N x 1 and one region filling the
// picture, each with its name.
std::vector<std::pair<QString, LabelMap>> awkwardMaps();

// Every region filled with its label's colour by QPainter without
// anti-aliasing, over `background`.
QImage drawTracing(const Tracing &tracing, QRgb background);
// The distance from the centre of pixel (x, y) to the nearest side between
// two pixels of different regions or on the picture's edge, looked for up
// to `reach` pixels away.
double distanceToBoundary(const Regions &regions, int x, int y, int reach);
// The label map as an RGB32 picture.
QImage pictureOf(const LabelMap &map);

// The first pixel whose colour is not its label's, or empty.
QString firstWrongPixel(const QImage &drawn, const LabelMap &map);
// The first way in which the loops fail to use every chain once in each
// direction that has a region, or fail to close, or empty.
QString firstLoopProblem(const Tracing &tracing);

} // namespace tracesupport
