#include "paintclusters.h"

#include "parallel.h"
#include "workingformat.h"

#include <algorithm>

namespace {

// Every pixel of the rows first .. end - 1 takes the palette colour of its
// value's cluster: the value's number in `distinct`. A row's look-ups are
// prefetched a batch at a time.
void paintRows(const QImage &source, const DistinctColours &distinct, const QList<QRgb> &palette,
               uchar *result, qsizetype resultBytesPerLine, int first, int end)
{
    constexpr int Batch = 32;
    const int width = source.width();
    WorkingRows rows(source);
    const QRgb opaque = source.format() == QImage::Format_RGB32 ? 0xFF000000u : 0u;
    for (int y = first; y < end; ++y) {
        const QRgb *from = rows.row(y);
        auto *to = reinterpret_cast<QRgb *>(result + y * resultBytesPerLine);
        for (int left = 0; left < width; left += Batch) {
            const int right = std::min(width, left + Batch);
            for (int x = left; x < right; ++x)
                distinct.prefetch(from[x] | opaque);
            for (int x = left; x < right; ++x)
                to[x] = palette.at(distinct.clusterOf(from[x] | opaque));
        }
    }
}

} // namespace

void paintClusters(const QImage &source, const DistinctColours &distinct,
                   const QList<QRgb> &palette, QImage &result, const Progress &progress)
{
    ColumnProgress columns(progress, 50, 35, source.width());
    uchar *bits = result.bits();
    const qsizetype bytesPerLine = result.bytesPerLine();
    parallelBands(
            source.height(), rowsOf(HeavyBandPixels, source.width()),
            [&](int first, int end) {
                paintRows(source, distinct, palette, bits, bytesPerLine, first, end);
            },
            columns.bandProgress(source.height()));
    columns.finish();
}
