#pragma once

#include "regions.h"
#include "tracing.h"

// The regions' outlines along the pixels' sides: every side between two
// regions, and every side on the picture's edge, belongs to exactly one
// chain, whose points are the corners where it turns. One pass over the
// corners of the grid finds the nodes and follows the chains from them;
// a second picks up the rings that meet no node.
//
// Where two pixels of one region touch only at a corner (a checkerboard's
// four squares around a grid corner), the outline turns at that corner
// around each pixel on its own, so loops meet there in a point and never
// cross.
Tracing findBoundaries(const Regions &regions);
