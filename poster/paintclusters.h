#pragma once

#include "distinctcolours.h"
#include "progress.h"

#include <QImage>
#include <QList>

// Every pixel of `result` (32-bit, the size of `source`, a picture that
// WorkingRows reads) takes the colour `palette` gives its value's cluster
// in `distinct`, in bands of rows. Reports 50 + 35 * x / width for every
// column x, as the poster's painting does.
void paintClusters(const QImage &source, const DistinctColours &distinct,
                   const QList<QRgb> &palette, QImage &result, const Progress &progress);
