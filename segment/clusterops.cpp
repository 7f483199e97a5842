// What a cluster does to its neighbours and the queue: its likeness, the
// messages between neighbours, and the merges.

#include "segmentor.h"

#include <algorithm>

bool CSegmentor::SetNeighbours(int c, const std::vector<int> &list)
{
    for (int n : list)
        m_pool.set(at(c).m_neighbours, quint32(n), quint16(cdiff(c, n)));
    update(c);
    return true;
}

bool CSegmentor::NewNeighbour(int c, int old, int replacement)
{
    receive(c, old, replacement);
    return true;
}

quint16 CSegmentor::receive(int c, int old, int replacement)
{
    NeighbourList &list = at(c).m_neighbours;
    quint16 distance = NoDistance;
    if (replacement == NoCluster) {
        m_pool.remove(list, quint32(old));
    } else if (replacement == old) {
        distance = quint16(cdiff(c, old));
        m_pool.set(list, quint32(old), distance);
    } else {
        distance = quint16(cdiff(c, replacement));
        m_pool.replace(list, quint32(old), quint32(replacement), distance);
    }
    update(c);
    return distance;
}

// The messages may change this cluster's own list (a neighbour that turns
// out full tells its neighbours in turn), so they go to a snapshot of it.
// A cluster deleted since its key was written gets no message. The
// neighbours' records, lists and queue slots are far apart in memory: they
// are all requested first, so that they arrive together. Each neighbour's
// new distance to the replacement is kept beside the snapshot, for the
// merge that follows.
bool CSegmentor::NotifyNeighbours(int c, int replacement)
{
    if (size_t(m_depth) == m_snapshots.size())
        m_snapshots.emplace_back();
    Snapshot &snapshot = m_snapshots[size_t(m_depth)];
    std::vector<quint32> &keys = snapshot.keys;
    const NeighbourPool::View own = m_pool.view(at(c).m_neighbours);
    keys.assign(own.keys, own.keys + own.size);
    snapshot.distances.assign(keys.size(), NoDistance);
    for (quint32 key : keys)
        __builtin_prefetch(&m_clusters[key]);
    for (quint32 key : keys) {
        const CCluster &n = m_clusters[key];
        m_pool.prefetch(n.m_neighbours);
        if (n.m_slot >= 0)
            m_queue.prefetch(n.handle());
    }
    const int depth = m_depth++;
    for (size_t i = 0; i < m_snapshots[size_t(depth)].keys.size(); ++i) {
        const int n = int(m_snapshots[size_t(depth)].keys[i]);
        if (n != replacement && !at(n).m_deleted)
            m_snapshots[size_t(depth)].distances[i] = receive(n, c, replacement);
    }
    --m_depth;
    return true;
}

void CSegmentor::update(int c)
{
    CCluster &cluster = at(c);
    cluster.m_likeness = 500;
    if (cluster.m_pixelCount > m_clusterthresh) {
        NotifyNeighbours(c, NoCluster);
        cluster.m_likeness = 999;
    } else if (cluster.m_neighbours.size() > 0) {
        cluster.m_likeness = std::min<quint16>(500, m_pool.least(cluster.m_neighbours));
    } else {
        cluster.m_likeness = 999;
    }
    if (cluster.m_slot >= 0) {
        const qint64 h = m_queue.Update(cluster.handle(), cluster.m_likeness);
        cluster.m_filedAt = quint16(handle2priority(quint64(h)));
        cluster.m_slot = handle2index(quint64(h));
    }
}

bool CSegmentor::EatNeighbour(int eater, int victim)
{
    CCluster &e = at(eater);
    const CCluster &v = at(victim);
    m_pool.remove(e.m_neighbours, quint32(victim));
    const qint32 nThis = e.m_pixelCount;
    const qint32 nVictim = v.m_pixelCount;
    // The larger part's colour wins; never an average.
    if (nThis < nVictim && lab(eater) != lab(victim)) {
        record(eater, Change::Colour, e.m_colour);
        e.m_lab = v.m_lab;
        e.m_colour = v.m_colour;
        NotifyNeighbours(eater, eater);
    }
    const int depth = m_depth;
    NotifyNeighbours(victim, eater);
    mergeVictimsNeighbours(eater, victim, m_snapshots[size_t(depth)]);
    e.m_pixelCount += v.m_pixelCount;
    record(victim, Change::Eater, victim);
    m_eaters[size_t(victim)] = eater;
    update(eater);
    return true;
}

// The eater takes every neighbour of the victim with a fresh distance,
// replacing any entry it had for it; its entries for its own other
// neighbours keep the distances they had, even after it changed colour.
// Both lists are in order, so this is one merge of the two. The distance
// between two colours is symmetric and no colour changed since the victim's
// neighbours were told: the distances they received are the eater's too.
void CSegmentor::mergeVictimsNeighbours(int eater, int victim, const Snapshot &told)
{
    NeighbourList &list = at(eater).m_neighbours;
    const NeighbourPool::View own = m_pool.view(list);
    const NeighbourPool::View theirs = m_pool.view(at(victim).m_neighbours);
    m_mergedKeys.resize(own.size + theirs.size);
    m_mergedDistances.resize(own.size + theirs.size);
    quint32 count = 0, i = 0;
    for (quint32 j = 0; j < theirs.size; ++j) {
        const quint32 key = theirs.keys[j];
        if (int(key) == eater)
            continue;
        for (; i < own.size && own.keys[i] < key; ++i, ++count) {
            m_mergedKeys[count] = own.keys[i];
            m_mergedDistances[count] = own.distances[i];
        }
        if (i < own.size && own.keys[i] == key)
            ++i;
        m_mergedKeys[count] = key;
        const bool known
                = j < told.keys.size() && told.keys[j] == key && told.distances[j] != NoDistance;
        m_mergedDistances[count++] = known ? told.distances[j] : quint16(cdiff(eater, int(key)));
    }
    for (; i < own.size; ++i, ++count) {
        m_mergedKeys[count] = own.keys[i];
        m_mergedDistances[count] = own.distances[i];
    }
    m_pool.assign(list, m_mergedKeys.data(), m_mergedDistances.data(), count);
}

int CSegmentor::nearestNeighbour(int c) const
{
    const CCluster &cluster = m_clusters[size_t(c)];
    const NeighbourPool::View list = m_pool.view(cluster.m_neighbours);
    for (quint32 i = 0; i < list.size; ++i) {
        if (list.distances[i] == cluster.m_likeness)
            return int(list.keys[i]);
    }
    return NoCluster;
}

int CSegmentor::Feed(int c)
{
    const int n = nearestNeighbour(c);
    if (n == NoCluster)
        return NoCluster;
    return EatNeighbour(n, c) ? n : NoCluster;
}

int CSegmentor::Eat(int c)
{
    const int n = nearestNeighbour(c);
    if (n == NoCluster)
        return NoCluster;
    return EatNeighbour(c, n) ? n : NoCluster;
}

// Eats every neighbour at the current likeness, pass after pass, until the
// likeness rises. A key that left the list during a pass is looked up as an
// inserting look-up does: it comes back with distance 0.
bool CSegmentor::EatAll(int c)
{
    const quint16 start = at(c).m_likeness;
    for (;;) {
        const NeighbourPool::View own = m_pool.view(at(c).m_neighbours);
        const std::vector<quint32> keys(own.keys, own.keys + own.size);
        for (quint32 key : keys) {
            const int index = m_pool.indexOf(at(c).m_neighbours, key);
            const quint16 distance
                    = index < 0 ? 0 : m_pool.view(at(c).m_neighbours).distances[index];
            if (index < 0)
                m_pool.set(at(c).m_neighbours, key, 0);
            if (distance != at(c).m_likeness)
                continue;
            const int n = int(key);
            if (EatNeighbour(c, n))
                discard(n);
        }
        if (m_yield)
            m_yield();
        if (at(c).m_likeness > start)
            return false;
    }
}
