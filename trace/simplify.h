#pragma once

#include "progress.h"
#include "tracing.h"

// Simplifies every chain in place: each keeps its ends and the fewest of
// its corners (Douglas-Peucker) such that none of the corners left out lies
// farther than `tolerance` pixels from the straight segment that replaces
// it. Then, as long as two segments of any chains cross, touch away from a
// shared end or overlap, both take back the corner farthest from them,
// which ends at the unsimplified chains at worst: those never meet but at
// nodes. Both regions beside a chain keep using it, so the regions still
// tile the picture without gap or overlap.
//
// The chains are simplified in bands on several threads; the result does
// not depend on how many. Reports 0 .. 100.
//
// With `curves`, also rounds the corners that roundCorners() allows.
void simplifyChains(Tracing &tracing, double tolerance, bool curves, const Progress &progress = {});
