#include "poster.h"

#include "colour.h"
#include "distinctcolours.h"
#include "imagebuffer.h"
#include "labsamples.h"
#include "lloyd.h"
#include "paintclusters.h"
#include "smartcentres.h"
#include "stagetimer.h"
#include "workingformat.h"

#include <QLoggingCategory>

#include <algorithm>
#include <cmath>

Q_LOGGING_CATEGORY(lcPoster, "kestrova.poster", QtInfoMsg)

namespace {

constexpr int MaxPasses = 1000;

} // namespace

int posterCandidateCount(int colours)
{
    return int(std::log(double(colours))) + 2;
}

QImage Poster(const QImage &img, int colours, RandomSequence &random, const Progress &progress,
              PosterTrace *trace)
{
    StageTimer timer("poster");
    const QImage source = readableByRows(img);
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

    const LabSamples points = LabSamples::ofColours(distinct.colours());
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
    QImage result = newImage(source, workingFormatAsFile(source.format()));
    paintClusters(source, distinct, palette, result, progress);
    timer.stage("painting");

    if (trace) {
        trace->distinctColours = distinct.size();
        trace->seeds = seeds;
        trace->passes = clusters.passes;
        trace->palette = palette;
        trace->centres = clusters.centres;
    }
    return result;
}
