#pragma once

#include <QtGlobal>

#include <vector>

// The handle of a filed cluster: its priority in bits 48..63 and its slot
// in the priority's bucket in bits 0..31. -1 means "not filed".
inline qint64 index2handle(int priority, int index)
{
    return (qint64(priority) << 48) + qint64(index);
}
inline int handle2priority(quint64 h)
{
    return int(h >> 48);
}
inline int handle2index(quint64 h)
{
    return int(quint32(h & 0xFFFFFFFFu));
}

// A bucket queue of clusters, named by their numbers: one bucket for each
// priority 0..999, taken lowest priority first and, within a bucket, last
// filed first. A cluster that leaves a bucket leaves an empty slot behind,
// so that the handles of the others stay valid; take() discards empty
// slots as it meets them.
class CPriorQueue2
{
public:
    static constexpr int Buckets = 1000;
    static constexpr int None = -1;

    // Writes the handle self-check line.
    CPriorQueue2();

    // Files `cluster` at the end of bucket `priority`; returns its handle.
    qint64 Register(int cluster, int priority);
    // Refiles the cluster of handle `h` when its priority is no longer
    // `priority`; returns its handle, the same one when nothing moved.
    qint64 Update(qint64 h, int priority);
    void Remove(qint64 h);
    // The cluster to merge next, out of the queue for good; None when the
    // queue is empty.
    int take();
    // The cluster take() would return, left in place; None when empty.
    int get() const;
    // Every filed cluster, by priority, then in filing order.
    std::vector<int> Clusters() const;

    // The bucket take() looks at first, or null when every bucket is empty.
    const std::vector<int> *lowestBucket() const
    {
        return m_lowest < Buckets ? &m_buckets[size_t(m_lowest)] : nullptr;
    }
    // The cluster in a slot, None for an empty slot.
    int at(qint64 h) const
    {
        return m_buckets[size_t(handle2priority(quint64(h)))][size_t(handle2index(quint64(h)))];
    }
    const std::vector<int> &bucket(int priority) const { return m_buckets[size_t(priority)]; }

private:
    std::vector<std::vector<int>> m_buckets;
    // The lowest bucket that may hold a slot: take() starts there.
    int m_lowest = Buckets;
};
