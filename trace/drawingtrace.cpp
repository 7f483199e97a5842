#include "drawingtrace.h"

#include "labelmap.h"
#include "parallel.h"
#include "sidebyside.h"
#include "trace.h"

#include <exception>

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
    progress.report(0);
    drawing.hasFills = !layers.fills.isNull();
    drawing.hasInk = !layers.ink.isNull();
    if (drawing.hasFills && drawing.hasInk) {
        // The two layers do not depend on each other: the ink is traced on
        // a thread of its own, within the caller's budget, while the colours
        // are traced here, where the progress is reported.
        const int budget = threadBudget();
        std::exception_ptr failure[2];
        runSideBySide(2, [&](int slot) {
            try {
                if (slot == 0) {
                    drawing.fills = traceLabels(colourLabels(layers.fills), trace,
                                                share(progress, 0, 100));
                } else {
                    const ThreadBudget inherited(budget);
                    drawing.ink = traceLabels(inkLabels(layers.ink, settings.threshold), trace);
                }
            } catch (...) {
                failure[slot] = std::current_exception();
            }
        });
        for (const std::exception_ptr &thrown : failure) {
            if (thrown)
                std::rethrow_exception(thrown);
        }
    } else if (drawing.hasFills) {
        drawing.fills = traceLabels(colourLabels(layers.fills), trace, share(progress, 0, 100));
    } else if (drawing.hasInk) {
        drawing.ink = traceLabels(inkLabels(layers.ink, settings.threshold), trace,
                                  share(progress, 0, 100));
    }
    progress.report(100);
    return drawing;
}
