#include "poster.h"

#include "colour.h"
#include "distinctcolours.h"
#include "imagebuffer.h"
#include "labconvert.h"
#include "labsamples.h"
#include "lloyd.h"
#include "parallel.h"
#include "smartcentres.h"
#include "stagetimer.h"
#include "workingformat.h"

#include <QLoggingCategory>

#include <algorithm>
#include <cmath>

Q_LOGGING_CATEGORY(lcPoster, "kestrova.poster", QtInfoMsg)

namespace {

constexpr int MaxPasses = 1000;
// Colours per band at the least.
constexpr int ColourGrain = 4096;

LabSamples labSamples(const std::vector<QRgb> &colours)
{
    LabSamples samples;
    samples.l.resize(colours.size());
    samples.a.resize(colours.size());
    samples.b.resize(colours.size());
    parallelBands(int(colours.size()), ColourGrain, [&](int first, int end) {
        rgbtolabMany(colours.data() + first, size_t(end - first), samples.l.data() + first,
                     samples.a.data() + first, samples.b.data() + first);
    });
    return samples;
}

// Every pixel of the rows first .. end - 1 takes the palette colour of its
// value's cluster: the value's number in `distinct`. A row's look-ups are
// prefetched a batch at a time.
void paintRows(const QImage &source, const DistinctColours &distinct, const QList<QRgb> &palette,
               uchar *result, qsizetype resultBytesPerLine, int first, int end)
{
    constexpr int Batch = 32;
    const int width = source.width();
    const uchar *bits = source.constBits();
    const qsizetype bytesPerLine = source.bytesPerLine();
    const QRgb opaque = source.format() == QImage::Format_RGB32 ? 0xFF000000u : 0u;
    for (int y = first; y < end; ++y) {
        const auto *from = reinterpret_cast<const QRgb *>(bits + y * bytesPerLine);
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

// Paints the whole result in bands of rows; reports the painting's column
// values.
void paint(const QImage &source, const DistinctColours &distinct, const QList<QRgb> &palette,
           QImage &result, const Progress &progress)
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

} // namespace

int posterCandidateCount(int colours)
{
    return int(std::log(double(colours))) + 2;
}

QImage Poster(const QImage &img, int colours, RandomSequence &random, const Progress &progress,
              PosterTrace *trace)
{
    StageTimer timer("poster");
    const QImage source = toWorkingFormat(img);
    const int k = std::clamp(colours, 1, 255);
    progress.report(0);
    qCDebug(lcPoster) << "finding uniq pixels";
    // Without pixels there is nothing to seed from.
    if (source.width() < 1 || source.height() < 1) {
        progress.report(20);
        qCDebug(lcPoster) << "Done. Size is " << 0;
        progress.report(25);
        return source.copy();
    }

    DistinctColours distinct(source);
    progress.report(20);
    qCDebug(lcPoster) << "Done. Size is " << distinct.size();
    timer.stage("distinct colours");

    const LabSamples points = labSamples(distinct.colours());
    progress.report(25);
    timer.stage("lab samples");

    const QList<labpix> seeds = chooseSmartCenters(points, k, posterCandidateCount(k), random);
    progress.report(30);
    qCDebug(lcPoster) << "converted to lab and made " << seeds.size() << "clusters";
    timer.stage("seeding");

    LloydObserver observer;
    observer.assigned = [] { qCDebug(lcPoster) << "points assigned"; };
    observer.moved = [trace](const QList<labpix> &centres) {
        qCDebug(lcPoster) << "iteration done";
        if (trace)
            trace->centresAfterPass.append(centres);
    };
    const LabGroups groups = LabGroups::of(points);

    LloydResult clusters = lloyd(groups.triples, groups.weights, seeds, MaxPasses, observer);
    if (!clusters.converged)
        qCDebug(lcPoster) << "stopped after" << clusters.passes << "passes";
    qCDebug(lcPoster) << "completed";
    progress.report(50);
    timer.stage("lloyd passes");

    QList<QRgb> palette;
    for (const labpix &centre : std::as_const(clusters.centres))
        palette.append(lab2rgb(centre.l, centre.a, centre.b));
    std::vector<quint8> clusterOf(size_t(distinct.size()));
    for (size_t i = 0; i < clusterOf.size(); ++i)
        clusterOf[i] = clusters.clusters[groups.groupOf[i]];
    distinct.setClusters(clusterOf);
    QImage result = newImage(source, source.format());
    paint(source, distinct, palette, result, progress);
    timer.stage("painting");

    if (trace) {
        trace->distinctColours = distinct.size();
        trace->seeds = seeds;
        trace->passes = clusters.passes;
        trace->palette = palette;
    }
    return result;
}
