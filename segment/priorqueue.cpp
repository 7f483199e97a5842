#include "priorqueue.h"

#include "segmentlog.h"

CPriorQueue2::CPriorQueue2()
    : m_buckets(Buckets)
{
    const qint64 h = index2handle(10, 60);
    qCDebug(lcSegment) << "handle prior ind, should be 10 60 " << h << handle2priority(quint64(h))
                       << handle2index(quint64(h));
}

qint64 CPriorQueue2::Register(int cluster, int priority)
{
    std::vector<int> &bucket = m_buckets[size_t(priority)];
    bucket.push_back(cluster);
    if (priority < m_lowest)
        m_lowest = priority;
    return index2handle(priority, int(bucket.size() - 1));
}

qint64 CPriorQueue2::Update(qint64 h, int priority)
{
    const int p = handle2priority(quint64(h));
    if (p == priority)
        return h;
    int &slot = m_buckets[size_t(p)][size_t(handle2index(quint64(h)))];
    const int cluster = slot;
    slot = None;
    return Register(cluster, priority);
}

void CPriorQueue2::Remove(qint64 h)
{
    m_buckets[size_t(handle2priority(quint64(h)))][size_t(handle2index(quint64(h)))] = None;
}

int CPriorQueue2::take()
{
    for (; m_lowest < Buckets; ++m_lowest) {
        std::vector<int> &bucket = m_buckets[size_t(m_lowest)];
        while (!bucket.empty()) {
            const int cluster = bucket.back();
            bucket.pop_back();
            if (cluster != None)
                return cluster;
        }
    }
    return None;
}

int CPriorQueue2::get() const
{
    for (const std::vector<int> &bucket : m_buckets) {
        for (int cluster : bucket) {
            if (cluster != None)
                return cluster;
        }
    }
    return None;
}

std::vector<int> CPriorQueue2::Clusters() const
{
    std::vector<int> clusters;
    for (const std::vector<int> &bucket : m_buckets) {
        for (int cluster : bucket) {
            if (cluster != None)
                clusters.push_back(cluster);
        }
    }
    return clusters;
}
