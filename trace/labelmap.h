#pragma once

#include <QImage>
#include <QtGlobal>

#include <vector>

// A picture of labels: pixels of one label that touch along a side make one
// region. A label is any 32-bit value: a colour, or 1 for ink and 0 for
// paper.
struct LabelMap
{
    int width = 0;
    int height = 0;
    // Row by row, width × height of them.
    std::vector<quint32> labels;

    quint32 at(int x, int y) const { return labels[size_t(y) * size_t(width) + size_t(x)]; }
};

// Every pixel's colour as its label, 0xRRGGBB (alpha left out).
LabelMap colourLabels(const QImage &picture);
// 1 for every pixel whose grey (qGray) is below `threshold`, else 0.
LabelMap inkLabels(const QImage &drawing, int threshold);
