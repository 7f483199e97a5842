#include "smartcentres.h"

#include "vectorclones.h"

#include <algorithm>
#include <vector>

// Every squared distance here is an integer below 2^18 and every sum of them
// is below 2^53, so integer arithmetic gives exactly the double sums of the
// seeding, whatever order they are taken in. The roulette walk subtracts
// distances from a double one at a time; each subtraction it makes is exact
// (see rouletteIndex), so the walk stops where the running integer sum first
// reaches the drawn value, which block sums find without walking.

namespace {

// A block of squared distances sums to less than 2^31.
constexpr int Block = 4096;

// The squared distance of sample i to c, inlined into the loops below.
inline int distanceOf(const qint16 *l, const qint16 *a, const qint16 *b, int i, labpix c)
{
    const int dl = l[i] - c.l;
    const int da = a[i] - c.a;
    const int db = b[i] - c.b;
    return dl * dl + da * da + db * db;
}

KESTROVA_VECTOR_CLONES
void distancesTo(const LabSamples &points, labpix c, int begin, int end, qint32 *out)
{
    const qint16 *l = points.l.data();
    const qint16 *a = points.a.data();
    const qint16 *b = points.b.data();
    for (int i = begin; i < end; ++i)
        out[i - begin] = distanceOf(l, a, b, i, c);
}

// The sum of min(distance to c, minDist) over the samples begin .. end - 1.
KESTROVA_VECTOR_CLONES
qint32 blockPotential(const LabSamples &points, labpix c, const qint32 *minDist, int begin, int end)
{
    const qint16 *l = points.l.data();
    const qint16 *a = points.a.data();
    const qint16 *b = points.b.data();
    qint32 sum = 0;
    for (int i = begin; i < end; ++i) {
        const int d = distanceOf(l, a, b, i, c);
        sum += d < minDist[i] ? d : minDist[i];
    }
    return sum;
}

// minDist = min(distance to c, minDist) over the block; returns its new sum.
KESTROVA_VECTOR_CLONES
qint32 lowerBlock(const LabSamples &points, labpix c, qint32 *minDist, int begin, int end)
{
    const qint16 *l = points.l.data();
    const qint16 *a = points.a.data();
    const qint16 *b = points.b.data();
    qint32 sum = 0;
    for (int i = begin; i < end; ++i) {
        const int d = distanceOf(l, a, b, i, c);
        const qint32 m = d < minDist[i] ? d : minDist[i];
        minDist[i] = m;
        sum += m;
    }
    return sum;
}

class Seeding
{
public:
    explicit Seeding(const LabSamples &points)
        : m_points(points)
        , m_minDist(size_t(points.size()))
        , m_blockSums(size_t((points.size() + Block - 1) / Block))
    {
    }

    // Distances to the first centre; returns their total.
    qint64 start(labpix first)
    {
        qint64 total = 0;
        for (int block = 0; block < blockCount(); ++block) {
            const int begin = block * Block;
            const int end = std::min(m_points.size(), begin + Block);
            distancesTo(m_points, first, begin, end, m_minDist.data() + begin);
            qint64 sum = 0;
            for (int i = begin; i < end; ++i)
                sum += m_minDist[size_t(i)];
            m_blockSums[size_t(block)] = sum;
            total += sum;
        }
        return total;
    }

    qint64 potential(labpix candidate) const
    {
        qint64 total = 0;
        for (int block = 0; block < blockCount(); ++block) {
            const int begin = block * Block;
            const int end = std::min(m_points.size(), begin + Block);
            total += blockPotential(m_points, candidate, m_minDist.data(), begin, end);
        }
        return total;
    }

    void lower(labpix centre)
    {
        for (int block = 0; block < blockCount(); ++block) {
            const int begin = block * Block;
            const int end = std::min(m_points.size(), begin + Block);
            m_blockSums[size_t(block)] = lowerBlock(m_points, centre, m_minDist.data(), begin, end);
        }
    }

    // The walk from sample 0: stop at the first sample whose distance is at
    // least what is left of p, else subtract it and go on; the last sample
    // is taken without a test. While the walk goes on, the distance is
    // below p, and p is below 2^53, so p is a multiple of its own unit in
    // the last place, which divides every integer: p - distance is exact.
    // What is left of p at sample i is therefore p minus the exact sum of
    // the distances before it, and the walk stops at the first i whose
    // running sum, its own distance included, reaches p.
    int rouletteIndex(double p) const
    {
        const int n = m_points.size();
        if (n - 1 <= 0)
            return 0;
        qint64 before = 0;
        int block = 0;
        while (block < blockCount() && double(before + m_blockSums[size_t(block)]) < p)
            before += m_blockSums[size_t(block++)];
        if (block == blockCount())
            return n - 1;
        const int end = std::min(n, (block + 1) * Block);
        for (int i = block * Block; i < end; ++i) {
            before += m_minDist[size_t(i)];
            if (double(before) >= p)
                return std::min(i, n - 1);
        }
        return n - 1;
    }

private:
    int blockCount() const { return int(m_blockSums.size()); }

    const LabSamples &m_points;
    std::vector<qint32> m_minDist;
    std::vector<qint64> m_blockSums;
};

} // namespace

std::vector<int> smartCentreIndices(const LabSamples &points, int k, int candidateCount,
                                    RandomSequence &random)
{
    std::vector<int> chosen;
    const int n = points.size();
    if (n < 1)
        return chosen;
    // A draw of exactly 1.0 would point one past the last sample.
    chosen.push_back(std::min(int(n * getRandomScalar(random)), n - 1));
    Seeding seeding(points);
    qint64 total = seeding.start(points.at(chosen.front()));
    for (int c = 1; c < k; ++c) {
        qint64 bestPotential = -1;
        int bestIndex = 0;
        for (int t = 0; t < candidateCount; ++t) {
            const double u = getRandomScalar(random);
            const int candidate = seeding.rouletteIndex(u * double(total));
            const qint64 potential = seeding.potential(points.at(candidate));
            // Among equal potentials the earliest drawn stays.
            if (bestPotential < 0 || potential < bestPotential) {
                bestPotential = potential;
                bestIndex = candidate;
            }
        }
        chosen.push_back(bestIndex);
        seeding.lower(points.at(bestIndex));
        total = std::max<qint64>(bestPotential, 0);
    }
    return chosen;
}

QList<labpix> chooseSmartCenters(const LabSamples &points, int k, int candidateCount,
                                 RandomSequence &random)
{
    QList<labpix> centres;
    for (int i : smartCentreIndices(points, k, candidateCount, random))
        centres.append(points.at(i));
    return centres;
}

QList<labpix> chooseSmartCenters(const QList<labpix> &points, int k, int candidateCount,
                                 RandomSequence &random)
{
    QList<labpix> centres;
    const LabSamples samples = LabSamples::fromList(points);
    for (int i : smartCentreIndices(samples, k, candidateCount, random))
        centres.append(points.at(i));
    return centres;
}
