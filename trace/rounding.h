#pragma once

#include "segmentgrid.h"
#include "tracing.h"

#include <vector>

// Chooses the corners of the simplified chains (the points `kept` flags,
// the others still in place; `segments` are their pieces) that are drawn as curves, in
// Tracing::rounded. A corner is rounded when its curve stays within
// `tolerance` of the unsimplified chain and the triangle it cuts off (the
// corner and the middles of its two segments, which holds the curve) meets
// no other segment: then no two curves, nor a curve and a segment, can
// cross. Runs in bands over the chains.
void roundCorners(Tracing &tracing, const std::vector<unsigned char> &kept,
                  const CurrentSegments &segments, double tolerance);
