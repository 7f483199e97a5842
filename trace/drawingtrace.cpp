#include "drawingtrace.h"

#include "labelmap.h"
#include "trace.h"

namespace {

Progress share(const Progress &progress, int base, int span)
{
    return {[&progress, base, span](int value) { progress.report(base + value * span / 100); },
            progress.processEvents};
}

} // namespace

VectorDrawing traceDrawing(const VectorLayers &layers, const VectorSettings &settings,
                           const Progress &progress)
{
    VectorDrawing drawing;
    drawing.size = layers.size;
    TraceSettings trace;
    trace.simplify = settings.curves;
    trace.tolerance = settings.tolerance;
    trace.curves = settings.curves;
    trace.minArea = settings.minArea;
    const bool both = !layers.fills.isNull() && !layers.ink.isNull();
    progress.report(0);
    if (!layers.fills.isNull()) {
        drawing.fills = traceLabels(colourLabels(layers.fills), trace,
                                    share(progress, 0, both ? 50 : 100));
        drawing.hasFills = true;
    }
    if (!layers.ink.isNull()) {
        drawing.ink = traceLabels(inkLabels(layers.ink, settings.threshold), trace,
                                  share(progress, both ? 50 : 0, both ? 50 : 100));
        drawing.hasInk = true;
    }
    progress.report(100);
    return drawing;
}
