#include "segmentcompare.h"

namespace segmentcompare {

namespace {

QString clusterDifference(const CSegmentor &fast, int c, const reference::CCluster &literal)
{
    const CCluster &cluster = fast.cluster(c);
    if (cluster.m_deleted != literal.isDeleted())
        return QString("deleted %1, expected %2").arg(cluster.m_deleted).arg(literal.isDeleted());
    if (cluster.m_deleted)
        return {};
    if (cluster.m_pixelCount != literal.m_pixels.size())
        return QString("%1 pixels, expected %2")
                .arg(cluster.m_pixelCount)
                .arg(literal.m_pixels.size());
    const Labstruct lab = fast.lab(c);
    if (lab.L != literal.m_lab.L || lab.a != literal.m_lab.a || lab.b != literal.m_lab.b)
        return QString("colour (%1, %2, %3), expected (%4, %5, %6)")
                .arg(lab.L)
                .arg(lab.a)
                .arg(lab.b)
                .arg(literal.m_lab.L)
                .arg(literal.m_lab.a)
                .arg(literal.m_lab.b);
    if (cluster.m_likeness != literal.m_likeness)
        return QString("likeness %1, expected %2").arg(cluster.m_likeness).arg(literal.m_likeness);
    if (cluster.handle() != literal.m_handle)
        return QString("handle %1, expected %2").arg(cluster.handle()).arg(literal.m_handle);
    const auto neighbours = fast.neighbours(c);
    const auto keys = literal.m_neighbours.keys();
    if (int(neighbours.size()) != keys.size())
        return QString("%1 neighbours, expected %2").arg(neighbours.size()).arg(keys.size());
    for (int i = 0; i < keys.size(); ++i) {
        const int expected = keys[i].index;
        const int distance = literal.m_neighbours.value(keys[i]);
        if (neighbours[size_t(i)] != std::make_pair(expected, distance))
            return QString("neighbour %1 is %2 at %3, expected %4 at %5")
                    .arg(i)
                    .arg(neighbours[size_t(i)].first)
                    .arg(neighbours[size_t(i)].second)
                    .arg(expected)
                    .arg(distance);
    }
    return {};
}

QString queueDifference(const CPriorQueue2 &fast, const reference::CPriorQueue2 &literal)
{
    for (int p = 0; p < CPriorQueue2::Buckets; ++p) {
        const std::vector<int> &bucket = fast.bucket(p);
        const QList<reference::CCluster *> &expected = literal.bucket(p);
        if (int(bucket.size()) != expected.size())
            return QString("bucket %1 has %2 slots, expected %3")
                    .arg(p)
                    .arg(bucket.size())
                    .arg(expected.size());
        for (int i = 0; i < expected.size(); ++i) {
            const int e = expected[i] ? expected[i]->m_index : CPriorQueue2::None;
            if (bucket[size_t(i)] != e)
                return QString("bucket %1 slot %2 holds %3, expected %4")
                        .arg(p)
                        .arg(i)
                        .arg(bucket[size_t(i)])
                        .arg(e);
        }
    }
    return {};
}

} // namespace

QString firstDifference(const CSegmentor &fast, const reference::LiteralSegmentor &literal,
                        int width, int height)
{
    for (int x = 0; x < width; ++x) {
        for (int y = 0; y < height; ++y) {
            const QString difference
                    = clusterDifference(fast, fast.clusterAt(x, y), *literal.clusterAt(x, y));
            if (!difference.isEmpty())
                return QString("cluster (%1, %2): %3").arg(x).arg(y).arg(difference);
        }
    }
    if (fast.prevval() != literal.prevval())
        return QString("level %1, expected %2").arg(fast.prevval()).arg(literal.prevval());
    return queueDifference(fast.queue(), literal.queue());
}

} // namespace segmentcompare
