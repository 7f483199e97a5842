#pragma once

// Compares the fast segmenter with the literal one, cluster by cluster.

#include "reference_segment.h"
#include "segmentor.h"

#include <QString>

namespace segmentcompare {

// Empty when the two hold the same clusters (deleted or not, pixel count,
// colour, likeness, handle, neighbours and their distances) and the same
// queue, slot for slot; otherwise names the first difference.
QString firstDifference(const CSegmentor &fast, const reference::LiteralSegmentor &literal,
                        int width, int height);

} // namespace segmentcompare

#define KESTROVA_COMPARE_SEGMENTORS(fast, literal, width, height) \
    do { \
        const QString difference_ \
                = segmentcompare::firstDifference((fast), (literal), (width), (height)); \
        QVERIFY2(difference_.isEmpty(), qPrintable(difference_)); \
    } while (false)
