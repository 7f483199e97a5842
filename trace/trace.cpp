#include "trace.h"

#include "boundaries.h"
#include "regions.h"
#include "simplify.h"
#include "stagetimer.h"

Tracing traceLabels(const LabelMap &map, const TraceSettings &settings, const Progress &progress)
{
    StageTimer timer("trace");
    progress.report(0);
    Tracing tracing;
    {
        const Regions regions = settings.minArea > 1
                ? findRegions(mergeSpecks(map, settings.minArea))
                : findRegions(map);
        timer.stage("regions");
        progress.report(30);
        tracing = findBoundaries(regions);
        timer.stage("boundaries");
    }
    progress.report(60);
    if (settings.simplify) {
        const Progress inner {[&](int value) { progress.report(60 + value * 40 / 100); },
                              progress.processEvents};
        simplifyChains(tracing, settings.tolerance, settings.curves, inner);
        timer.stage("simplified");
    }
    progress.report(100);
    return tracing;
}
