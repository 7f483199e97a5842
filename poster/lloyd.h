#pragma once

#include "labpix.h"
#include "labsamples.h"

#include <QList>

#include <functional>
#include <vector>

// Lloyd's iteration on Lab samples: assign every sample to its nearest
// centre (the lower index among equals), move every centre to the integer
// mean of its samples (a centre without samples stays), and repeat until an
// assignment changes nothing or `maxPasses` passes have run.
struct LloydResult
{
    QList<labpix> centres;
    // The cluster of every sample: its nearest final centre.
    std::vector<quint8> clusters;
    int passes = 0;
    bool converged = false;
};

struct LloydObserver
{
    // After each assignment.
    std::function<void()> assigned;
    // After each move of the centres, with the centres.
    std::function<void(const QList<labpix> &)> moved;
};

// At most 255 centres; `points` must not be empty. Each point counts
// `weights[i]` times in the means.
LloydResult lloyd(const LabSamples &points, const std::vector<qint32> &weights,
                  const QList<labpix> &seeds, int maxPasses, const LloydObserver &observer = {});
