#include "lloyd.h"

#include "vectorclones.h"

#include <algorithm>
#include <cmath>
#include <limits>

// Which samples can change cluster is bounded with the triangle inequality
// (Hamerly's bounds): every sample keeps an upper bound on its distance to
// its own centre and a lower bound on its distance to every other one. When
// the centres move, the bounds widen by how far they moved; while the upper
// bound stays below the lower one, the own centre is strictly the nearest,
// so the sample keeps its cluster whatever the tie rule, and nothing is
// computed for it. Every other sample is searched exactly, in integers.

namespace {

// The bounds are doubles; their rounding errors stay many orders below this.
constexpr double Slack = 1e-6;
constexpr int ScanBlock = 256;
// Larger than any squared Lab distance: the first centre always wins it.
constexpr qint32 Unreached = 1000000000;

// Eight 32-bit lanes: one AVX2 register, or two SSE ones.
typedef qint32 Lanes __attribute__((vector_size(32)));
constexpr int LaneCount = 8;

// The nearest and second nearest centre of `count` samples, eight at a
// time with every lane in registers across the centres. The arrays hold
// room for `count` rounded up to eight.
KESTROVA_VECTOR_CLONES
void nearestTwo(const qint16 *l, const qint16 *a, const qint16 *b, int count, const labpix *centres,
                int k, qint32 *best, qint32 *bestDist, qint32 *secondDist)
{
    for (int i = 0; i < count; i += LaneCount) {
        Lanes pl, pa, pb;
        for (int lane = 0; lane < LaneCount; ++lane) {
            pl[lane] = l[i + lane];
            pa[lane] = a[i + lane];
            pb[lane] = b[i + lane];
        }
        Lanes nearestIndex = Lanes {} + 0;
        Lanes nearest = Lanes {} + Unreached;
        Lanes second = Lanes {} + Unreached;
        for (int j = 0; j < k; ++j) {
            const Lanes dl = pl - centres[j].l, da = pa - centres[j].a, db = pb - centres[j].b;
            const Lanes d = dl * dl + da * da + db * db;
            const Lanes nearer = d < nearest;
            second = nearer ? nearest : (d < second ? d : second);
            nearestIndex = nearer ? Lanes {} + j : nearestIndex;
            nearest = nearer ? d : nearest;
        }
        for (int lane = 0; lane < LaneCount; ++lane) {
            best[i + lane] = nearestIndex[lane];
            bestDist[i + lane] = nearest[lane];
            secondDist[i + lane] = second[lane];
        }
    }
}

double root(qint32 squared)
{
    return squared >= Unreached ? std::numeric_limits<double>::infinity() : std::sqrt(squared);
}

class Lloyd
{
public:
    Lloyd(const LabSamples &points, const std::vector<qint32> &weights, const QList<labpix> &seeds)
        : m_points(points)
        , m_weights(weights)
        , m_centres(seeds.begin(), seeds.end())
        , m_clusters(size_t(points.size()), 255)
        , m_upper(size_t(points.size()))
        , m_lower(size_t(points.size()))
        , m_sums(size_t(seeds.size()))
        , m_moved(size_t(seeds.size()), 0.0)
    {
    }

    // Assigns every sample exactly; true when any cluster changed.
    bool assignAll()
    {
        bool changed = false;
        qint16 l[ScanBlock], a[ScanBlock], b[ScanBlock];
        qint32 best[ScanBlock], bestDist[ScanBlock], secondDist[ScanBlock];
        const int n = m_points.size();
        for (int begin = 0; begin < n; begin += ScanBlock) {
            const int end = std::min(n, begin + ScanBlock);
            gather(
                    begin, end, [begin](int p) { return begin + p; }, l, a, b);
            nearestTwo(l, a, b, end - begin, m_centres.data(), k(), best, bestDist, secondDist);
            for (int i = begin; i < end; ++i) {
                changed |= assign(i, best[i - begin]);
                m_upper[size_t(i)] = root(bestDist[i - begin]);
                m_lower[size_t(i)] = root(secondDist[i - begin]);
            }
        }
        return changed;
    }

    // Assigns after the centres moved, searching only where the bounds
    // allow a change.
    bool assignMoved()
    {
        int farthest = 0;
        for (int j = 1; j < k(); ++j) {
            if (m_moved[size_t(j)] > m_moved[size_t(farthest)])
                farthest = j;
        }
        double runnerUp = 0;
        for (int j = 0; j < k(); ++j) {
            if (j != farthest)
                runnerUp = std::max(runnerUp, m_moved[size_t(j)]);
        }
        const double most = m_moved[size_t(farthest)];
        const int n = m_points.size();
        const double *moved = m_moved.data();
        const quint8 *clusters = m_clusters.data();
        double *upperBounds = m_upper.data();
        double *lowerBounds = m_lower.data();
        m_pending.resize(size_t(n));
        int *pending = m_pending.data();
        int count = 0;
        for (int i = 0; i < n; ++i) {
            const int own = clusters[i];
            const double upper = upperBounds[i] + moved[own];
            const double lower = lowerBounds[i] - (own == farthest ? runnerUp : most);
            upperBounds[i] = upper;
            lowerBounds[i] = lower;
            // Without a branch: every sample is written, the count moves on
            // only for those that may change.
            pending[count] = i;
            count += upper + Slack < lower ? 0 : 1;
        }
        m_pending.resize(size_t(count));
        return searchPending();
    }

    // Moves every centre with samples to their mean.
    void moveCentres()
    {
        for (int j = 0; j < k(); ++j) {
            const ccenters &s = m_sums[size_t(j)];
            labpix &centre = m_centres[size_t(j)];
            if (s.count == 0) {
                m_moved[size_t(j)] = 0;
                continue;
            }
            labpix mean;
            mean.l = qint16(s.sumL / s.count);
            mean.a = qint16(s.sumA / s.count);
            mean.b = qint16(s.sumB / s.count);
            mean.cluster = quint8(j);
            const int dl = mean.l - centre.l, da = mean.a - centre.a, db = mean.b - centre.b;
            m_moved[size_t(j)] = std::sqrt(double(dl * dl + da * da + db * db));
            centre = mean;
        }
    }

    QList<labpix> centres() const { return QList<labpix>(m_centres.begin(), m_centres.end()); }
    std::vector<quint8> takeClusters() { return std::move(m_clusters); }

private:
    int k() const { return int(m_centres.size()); }

    // The exact search of the pending samples, a block at a time gathered
    // into arrays of their own.
    bool searchPending()
    {
        bool changed = false;
        qint16 l[ScanBlock], a[ScanBlock], b[ScanBlock];
        qint32 best[ScanBlock], bestDist[ScanBlock], secondDist[ScanBlock];
        const int count = int(m_pending.size());
        for (int begin = 0; begin < count; begin += ScanBlock) {
            const int end = std::min(count, begin + ScanBlock);
            gather(
                    begin, end, [this, begin](int p) { return m_pending[size_t(begin + p)]; }, l, a,
                    b);
            nearestTwo(l, a, b, end - begin, m_centres.data(), k(), best, bestDist, secondDist);
            for (int p = begin; p < end; ++p) {
                const int i = m_pending[size_t(p)];
                changed |= assign(i, best[p - begin]);
                m_upper[size_t(i)] = root(bestDist[p - begin]);
                m_lower[size_t(i)] = root(secondDist[p - begin]);
            }
        }
        return changed;
    }

    // Copies the samples sampleOf(0 .. end - begin - 1) into l, a and b,
    // padded with zeros to a whole number of lanes.
    template<typename SampleOf>
    void gather(int begin, int end, SampleOf sampleOf, qint16 *l, qint16 *a, qint16 *b) const
    {
        const int count = end - begin;
        for (int p = 0; p < count; ++p) {
            const size_t i = size_t(sampleOf(p));
            l[p] = m_points.l[i];
            a[p] = m_points.a[i];
            b[p] = m_points.b[i];
        }
        for (int p = count; p % LaneCount; ++p)
            l[p] = a[p] = b[p] = 0;
    }

    // Files sample i under `cluster`, keeping the sums up to date.
    bool assign(int i, int cluster)
    {
        const int old = m_clusters[size_t(i)];
        if (old == cluster)
            return false;
        const qint64 w = m_weights[size_t(i)];
        const qint64 l = w * m_points.l[size_t(i)], a = w * m_points.a[size_t(i)],
                     b = w * m_points.b[size_t(i)];
        if (old != 255) {
            ccenters &from = m_sums[size_t(old)];
            from.sumL -= l;
            from.sumA -= a;
            from.sumB -= b;
            from.count -= qint32(w);
        }
        ccenters &to = m_sums[size_t(cluster)];
        to.sumL += l;
        to.sumA += a;
        to.sumB += b;
        to.count += qint32(w);
        m_clusters[size_t(i)] = quint8(cluster);
        return true;
    }

    const LabSamples &m_points;
    const std::vector<qint32> &m_weights;
    std::vector<labpix> m_centres;
    std::vector<quint8> m_clusters;
    std::vector<double> m_upper;
    std::vector<double> m_lower;
    std::vector<ccenters> m_sums;
    std::vector<double> m_moved;
    std::vector<int> m_pending;
};

} // namespace

LloydResult lloyd(const LabSamples &points, const std::vector<qint32> &weights,
                  const QList<labpix> &seeds, int maxPasses, const LloydObserver &observer)
{
    Lloyd iteration(points, weights, seeds);
    LloydResult result;
    for (;;) {
        const bool changed = result.passes == 0 ? iteration.assignAll() : iteration.assignMoved();
        if (observer.assigned)
            observer.assigned();
        iteration.moveCentres();
        ++result.passes;
        if (observer.moved)
            observer.moved(iteration.centres());
        if (!changed) {
            result.converged = true;
            break;
        }
        if (result.passes >= maxPasses)
            break;
    }
    // After a pass that changed nothing the centres are the means of the
    // clusters that pass made, so every sample is nearest to its own.
    // Otherwise the clusters are found again for the final centres.
    if (!result.converged)
        iteration.assignAll();
    result.centres = iteration.centres();
    result.clusters = iteration.takeClusters();
    return result;
}
