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

// The likeness is the smallest distance of the list. When the entries that
// left or changed were not at the smallest, the new smallest is the old one
// or the new distance, and the list need not be searched again.
quint16 CSegmentor::receive(int c, int old, int replacement)
{
    CCluster &cluster = at(c);
    NeighbourList &list = cluster.m_neighbours;
    const quint16 before = cluster.m_likeness;
    if (replacement == NoCluster) {
        m_pool.remove(list, quint32(old));
        update(c);
        return NoDistance;
    }
    NeighbourPool::Replaced replaced;
    const quint16 distance = quint16(cdiff(c, replacement));
    if (replacement == old)
        replaced.overwritten = m_pool.set(list, quint32(old), distance);
    else
        replaced = m_pool.replace(list, quint32(old), quint32(replacement), distance);
    const bool known = before < 500 && cluster.m_pixelCount <= m_clusterthresh
            && replaced.removed != before && replaced.overwritten != before;
    if (known)
        refile(c, std::min(before, distance));
    else
        update(c);
    return distance;
}

// The messages may change this cluster's own list (a neighbour that turns
// out full tells its neighbours in turn), so they go to a snapshot of it.
// A cluster deleted since its key was written gets no message. The
// neighbours' records and lists are far apart in memory: they
// are all requested first, so that they arrive together. Each neighbour's
// new distance to the replacement is kept beside the snapshot, for the
// merge that follows.
bool CSegmentor::NotifyNeighbours(int c, int replacement)
{
    if (size_t(m_depth) == m_snapshots.size())
        m_snapshots.emplace_back();
    Snapshot &snapshot = m_snapshots[size_t(m_depth)];
    const NeighbourPool::View own = m_pool.view(at(c).m_neighbours);
    const quint32 count = own.size;
    snapshot.keys.resize(count);
    snapshot.distances.resize(count);
    // Deeper notifications use snapshots of their own; these buffers stay
    // where they are even when the list of snapshots grows.
    quint32 *keys = snapshot.keys.data();
    quint16 *distances = snapshot.distances.data();
    for (quint32 i = 0; i < count; ++i) {
        keys[i] = own.key(i);
        distances[i] = NoDistance;
        __builtin_prefetch(&m_clusters[keys[i]]);
    }
    for (quint32 i = 0; i < count; ++i)
        m_pool.prefetch(m_clusters[keys[i]].m_neighbours);
    ++m_depth;
    for (quint32 i = 0; i < count; ++i) {
        const int n = int(keys[i]);
        if (n != replacement && !at(n).m_deleted)
            distances[i] = receive(n, c, replacement);
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
        refile(c, 999);
    } else if (cluster.m_neighbours.size() > 0) {
        refile(c, std::min<quint16>(500, m_pool.least(cluster.m_neighbours)));
    } else {
        refile(c, 999);
    }
}

void CSegmentor::refile(int c, quint16 likeness)
{
    CCluster &cluster = at(c);
    cluster.m_likeness = likeness;
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
        recordRecolouring(eater, e.m_colour);
        e.m_lab = v.m_lab;
        e.m_colour = v.m_colour;
        NotifyNeighbours(eater, eater);
    }
    const int depth = m_depth;
    NotifyNeighbours(victim, eater);
    mergeVictimsNeighbours(eater, victim, m_snapshots[size_t(depth)]);
    e.m_pixelCount += v.m_pixelCount;
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
    m_merged.resize(own.size + theirs.size);
    quint32 count = 0, i = 0;
    for (quint32 j = 0; j < theirs.size; ++j) {
        const quint32 key = theirs.key(j);
        if (int(key) == eater)
            continue;
        for (; i < own.size && own.key(i) < key; ++i)
            m_merged[count++] = own.entries[i];
        if (i < own.size && own.key(i) == key)
            ++i;
        const bool known
                = j < told.keys.size() && told.keys[j] == key && told.distances[j] != NoDistance;
        m_merged[count++] = {key, known ? told.distances[j] : quint16(cdiff(eater, int(key))), 0};
    }
    for (; i < own.size; ++i)
        m_merged[count++] = own.entries[i];
    m_pool.assign(list, m_merged.data(), count);
}

int CSegmentor::nearestNeighbour(int c) const
{
    const CCluster &cluster = m_clusters[size_t(c)];
    const NeighbourPool::View list = m_pool.view(cluster.m_neighbours);
    for (quint32 i = 0; i < list.size; ++i) {
        if (list.distance(i) == cluster.m_likeness)
            return int(list.key(i));
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
        std::vector<quint32> keys;
        for (quint32 i = 0; i < own.size; ++i)
            keys.push_back(own.key(i));
        for (quint32 key : keys) {
            const int index = m_pool.indexOf(at(c).m_neighbours, key);
            const quint16 distance
                    = index < 0 ? 0 : m_pool.view(at(c).m_neighbours).distance(quint32(index));
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
