#pragma once

#include "segmentgrid.h"
#include "tracing.h"

#include <vector>

// Chooses the corners of the simplified chains (the ends of `segments`,
// the points between them still in place) that are drawn as curves, in
// Tracing::rounded. A corner is rounded when its curve stays within
// `tolerance` of the unsimplified chain and the triangle it cuts off (the
// corner and the middles of its two segments, which holds the curve) meets
// no other segment: then no two curves, nor a curve and a segment, can
// cross. Runs in bands over the chains.
void roundCorners(Tracing &tracing, const std::vector<Segment> &segments,
                  const std::vector<qint32> &segmentStart, double tolerance);
