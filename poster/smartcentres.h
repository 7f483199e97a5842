#pragma once

#include "labpix.h"
#include "labsamples.h"
#include "randomsequence.h"

#include <QList>

#include <vector>

// Distance-weighted seeding with several candidates per centre: the first
// centre is a uniformly drawn sample; each further one is the best of
// `candidateCount` samples drawn with probability proportional to their
// squared distance from the nearest centre so far, "best" meaning the
// smallest sum of squared distances afterwards (the earliest drawn among
// equals). Returns k copies of samples (at least the first centre), with
// their cluster bytes. Draws 1 + (k - 1) * candidateCount values from
// `random`. `points` must hold Lab values; none gives no centre.
QList<labpix> chooseSmartCenters(const QList<labpix> &points, int k, int candidateCount,
                                 RandomSequence &random);

// The same on samples held as parallel arrays (cluster bytes 255).
QList<labpix> chooseSmartCenters(const LabSamples &points, int k, int candidateCount,
                                 RandomSequence &random);
// The indices of the chosen samples, in order.
std::vector<int> smartCentreIndices(const LabSamples &points, int k, int candidateCount,
                                    RandomSequence &random);
