#include "reference_poster.h"

#include "colour.h"

#include <QDebug>
#include <QSet>

#include <cmath>

namespace reference {

namespace {

// The 32-bit signed arithmetic of the distances, wrapping as the machine
// does instead of overflowing into undefined behaviour. Lab values never come
// near the limit; arbitrary 16-bit fields can.
qint32 wrappedSquare(qint32 d)
{
    return qint32(quint32(d) * quint32(d));
}

qint32 wrappedSum(qint32 a, qint32 b)
{
    return qint32(quint32(a) + quint32(b));
}

qint32 squaredDistance(LabSample p, LabSample q)
{
    const qint32 dl = qint32(p.l) - qint32(q.l);
    const qint32 da = qint32(p.a) - qint32(q.a);
    const qint32 db = qint32(p.b) - qint32(q.b);
    return wrappedSum(wrappedSum(wrappedSquare(dl), wrappedSquare(da)), wrappedSquare(db));
}

LabSample labSample(unsigned int rgb)
{
    int L = 0, a = 0, b = 0;
    rgbtolab(rgb, &L, &a, &b);
    return LabSample {qint16(L), qint16(a), qint16(b), 255, 0};
}

// The candidate that a draw u picks: walk the samples, taking away each
// distance from the remaining share until one covers it; the last sample is
// taken without a test.
int rouletteIndex(const QList<double> &minDist, double total, double u)
{
    const int n = int(minDist.size());
    if (n - 1 <= 0)
        return 0;
    double p = u * total;
    int ci = 0;
    while (ci < n - 1) {
        if (minDist[ci] >= p)
            return ci;
        p -= minDist[ci];
        ++ci;
    }
    return ci;
}

double potentialOf(const QList<LabSample> &points, const QList<double> &minDist, int ci)
{
    double potential = 0.0;
    for (int i = 0; i < points.size(); ++i)
        potential += std::min(distSq(points[i], points[ci]), minDist[i]);
    return potential;
}

// The nearest centre: strictly smaller distances win, so the lower index
// wins a tie; index 0 when there are no centres.
int nearestCentre(LabSample p, const QList<LabSample> &centres)
{
    int best = 0;
    qint32 bestDist = 1000000000;
    for (int j = 0; j < centres.size(); ++j) {
        const qint32 d = squaredDistance(p, centres[j]);
        if (d < bestDist) {
            best = j;
            bestDist = d;
        }
    }
    return best;
}

struct ClusterSums
{
    qint64 sumL = 0;
    qint64 sumA = 0;
    qint64 sumB = 0;
    qint32 count = 0;
};

// Distinct values in the order first met, column by column.
QList<unsigned int> distinctColours(const QImage &img)
{
    QSet<unsigned int> seen;
    QList<unsigned int> order;
    for (int x = 0; x < img.width(); ++x) {
        for (int y = 0; y < img.height(); ++y) {
            const unsigned int value = img.pixel(x, y);
            if (!seen.contains(value)) {
                seen.insert(value);
                order.append(value);
            }
        }
    }
    return order;
}

// One assignment pass; true when any sample changed cluster.
bool assign(QList<LabSample> &points, const QList<LabSample> &centres)
{
    bool changed = false;
    for (LabSample &p : points) {
        const int best = nearestCentre(p, centres);
        if (int(p.cluster) != best)
            changed = true;
        p.cluster = quint8(best);
    }
    return changed;
}

// The mean step; a centre that received no sample keeps its previous record.
void moveCentres(const QList<LabSample> &points, QList<LabSample> &centres)
{
    QList<ClusterSums> sums(centres.size());
    for (const LabSample &p : points) {
        ClusterSums &s = sums[p.cluster];
        s.sumL += qint64(p.l);
        s.sumA += qint64(p.a);
        s.sumB += qint64(p.b);
        s.count += 1;
    }
    for (int j = 0; j < centres.size(); ++j) {
        const ClusterSums &s = sums[j];
        if (s.count == 0)
            continue;
        centres[j].l = qint16(s.sumL / qint64(s.count));
        centres[j].a = qint16(s.sumA / qint64(s.count));
        centres[j].b = qint16(s.sumB / qint64(s.count));
        centres[j].cluster = quint8(j);
    }
}

int lloyd(QList<LabSample> &points, QList<LabSample> &centres, PosterTrace *trace)
{
    const int maximumPasses = 1000;
    int passes = 0;
    bool changed = true;
    while (changed && passes < maximumPasses) {
        changed = assign(points, centres);
        ++passes;
        moveCentres(points, centres);
        if (trace)
            trace->centresAfterPass.append(centres);
    }
    if (changed)
        qDebug() << "poster reference: stopped after" << passes << "passes";
    return passes;
}

void paint(const QImage &img, QImage &result, const QList<LabSample> &centres,
           const QList<unsigned int> &palette, const Progress &progress)
{
    const int w = img.width(), h = img.height();
    for (int x = 0; x < w; ++x) {
        for (int y = 0; y < h; ++y) {
            const int best = nearestCentre(labSample(img.pixel(x, y)), centres);
            result.setPixel(x, y, palette[best]);
        }
        progress.report(50 + (35 * x) / w);
    }
}

} // namespace

double distSq(LabSample p, LabSample q)
{
    return double(squaredDistance(p, q));
}

double getRandomScalar(RandomSequence &random)
{
    return double(random.next()) / 2147483647.0;
}

QList<LabSample> chooseSmartCenters(const QList<LabSample> &points, int k, int candidateCount,
                                    RandomSequence &random)
{
    QList<LabSample> result;
    const int n = int(points.size());
    if (n < 1)
        return result;
    int i0 = int(double(n) * getRandomScalar(random));
    if (i0 > n - 1)
        i0 = n - 1;
    result.append(points[i0]);

    QList<double> minDist(n);
    double total = 0.0;
    for (int i = 0; i < n; ++i) {
        minDist[i] = distSq(points[i], points[i0]);
        total += minDist[i];
    }
    for (int c = 1; c < k; ++c) {
        double bestPotential = -1.0;
        int bestIndex = -1;
        for (int candidate = 0; candidate < candidateCount; ++candidate) {
            const int ci = rouletteIndex(minDist, total, getRandomScalar(random));
            const double potential = potentialOf(points, minDist, ci);
            if (bestPotential < 0 || potential < bestPotential) {
                bestPotential = potential;
                bestIndex = ci;
            }
        }
        // Without candidates there is nothing to choose from.
        if (bestIndex < 0)
            break;
        result.append(points[bestIndex]);
        for (int i = 0; i < n; ++i)
            minDist[i] = std::min(distSq(points[i], points[bestIndex]), minDist[i]);
        total = bestPotential;
    }
    return result;
}

int posterCandidateCount(int colours)
{
    return int(std::log(double(colours))) + 2;
}

QImage Poster(const QImage &picture, int colours, RandomSequence &random, const Progress &progress,
              PosterTrace *trace)
{
    const QImage img
            = picture.format() == QImage::Format_RGB32 || picture.format() == QImage::Format_ARGB32
            ? picture
            : picture.convertToFormat(QImage::Format_ARGB32);
    progress.report(0);
    const QList<unsigned int> uniqueColours = distinctColours(img);
    progress.report(20);
    if (trace)
        trace->distinctColours = int(uniqueColours.size());

    QList<LabSample> points;
    for (unsigned int value : uniqueColours)
        points.append(labSample(value));
    progress.report(25);
    // Nothing to seed from (no pixels), or no colour asked for.
    if (points.isEmpty() || colours < 1)
        return img.copy();

    QList<LabSample> centres
            = chooseSmartCenters(points, colours, posterCandidateCount(colours), random);
    if (trace)
        trace->seeds = centres;
    progress.report(30);

    const int passes = lloyd(points, centres, trace);
    if (trace)
        trace->passes = passes;
    progress.report(50);

    QList<unsigned int> palette;
    for (const LabSample &c : centres)
        palette.append(lab2rgb(c.l, c.a, c.b));
    if (trace)
        trace->palette = palette;

    QImage result = img.copy();
    paint(img, result, centres, palette, progress);
    return result;
}

QImage palettePoster(const QImage &picture, const QList<PaletteEntry> &palette)
{
    const QImage img
            = picture.format() == QImage::Format_RGB32 || picture.format() == QImage::Format_ARGB32
            ? picture
            : picture.convertToFormat(QImage::Format_ARGB32);
    QImage result = img.copy();
    for (int x = 0; x < img.width(); ++x) {
        for (int y = 0; y < img.height(); ++y) {
            const LabSample p = labSample(img.pixel(x, y));
            int best = 0;
            qint32 bestDistance = 1000000000;
            for (int j = 0; j < palette.size(); ++j) {
                const LabSample c {qint16(palette[j].l), qint16(palette[j].a), qint16(palette[j].b),
                                   0, 0};
                const qint32 d = squaredDistance(p, c);
                if (d < bestDistance) {
                    best = j;
                    bestDistance = d;
                }
            }
            result.setPixel(x, y, palette[best].rgb | 0xFF000000u);
        }
    }
    return result;
}

} // namespace reference
