// What a cluster does to its neighbours and the queue: its likeness, the
// messages between neighbours, and the merges. Each operation is written
// once for both forms of neighbour entries; the public ones pick the form
// of the segmenter.

#include "segmentor.h"

#include "segmentlog.h"

#include <algorithm>

bool CSegmentor::Next(int limit)
{
    return withEntries([&](auto form) { return next<decltype(form)>(limit); });
}

void CSegmentor::SetNeighbours(int c, const std::vector<int> &list)
{
    withEntries([&](auto form) {
        for (int n : list)
            lists<decltype(form)>().pool.set(at(c).m_neighbours, quint32(n), quint16(cdiff(c, n)));
    });
    update(c);
}

void CSegmentor::NewNeighbour(int c, int old, int replacement)
{
    withEntries([&](auto form) { receive<decltype(form)>(c, old, replacement); });
}

void CSegmentor::NotifyNeighbours(int c, int replacement)
{
    withEntries([&](auto form) { notify<decltype(form)>(c, replacement); });
}

void CSegmentor::update(int c)
{
    withEntries([&](auto form) { updateWith<decltype(form)>(c); });
}

void CSegmentor::EatNeighbour(int eater, int victim)
{
    withEntries([&](auto form) { eatNeighbour<decltype(form)>(eater, victim); });
}

int CSegmentor::Feed(int c)
{
    return withEntries([&](auto form) {
        using Form = decltype(form);
        const int n = nearestNeighbour<Form>(c);
        if (n == NoCluster)
            return int(NoCluster);
        eatNeighbour<Form>(n, c);
        return n;
    });
}

int CSegmentor::Eat(int c)
{
    return withEntries([&](auto form) {
        using Form = decltype(form);
        const int n = nearestNeighbour<Form>(c);
        if (n == NoCluster)
            return int(NoCluster);
        eatNeighbour<Form>(c, n);
        return n;
    });
}

bool CSegmentor::EatAll(int c)
{
    return withEntries([&](auto form) { return eatAll<decltype(form)>(c); });
}

template<typename Form>
bool CSegmentor::next(int limit)
{
    qCDebug(lcSegment) << "Next started prevval is " << m_prevval;
    int iteration = 0;
    for (;;) {
        const int c = m_queue.take();
        if (c == CPriorQueue2::None) {
            qCDebug(lcSegment) << "Got NULL cluster in Next";
            return false;
        }
        const int val = at(c).m_likeness;
        prefetchNext<Form>();
        const int n = nearestNeighbour<Form>(c);
        if (n != NoCluster)
            eatNeighbour<Form>(n, c);
        remove(c);
        if (m_yield)
            m_yield();
        if (val > limit)
            return false;
        if (val > m_prevval) {
            m_prevval = val;
            qCDebug(lcSegment) << "new val is " << val;
            return true;
        }
        if (++iteration % 10000 == 0)
            qCDebug(lcSegment) << "iteration is " << iteration << "val is " << val;
    }
}

// The clusters the queue hands out next are known, unless this merge files
// others at the lowest priority, and what their merges read can start
// loading now, from addresses that need no load that could miss: the
// record of the third in line (its first neighbours come with it), and the
// records of the neighbours of the next, whose list was requested that way
// two merges before. Requesting either a place further ahead, the lists
// of the neighbours that lie in the pool, or the neighbours of the next
// eater gained nothing measurable; without these requests the merging
// takes about a quarter longer.
template<typename Form>
void CSegmentor::prefetchNext()
{
    constexpr int RecordAhead = 3;
    const std::vector<int> *bucket = m_queue.lowestBucket();
    if (!bucket)
        return;
    int ahead[RecordAhead];
    int found = 0;
    // Slots emptied by refiling are passed over, a few at the most.
    auto it = bucket->rbegin();
    for (int looked = 0; it != bucket->rend() && found < RecordAhead && looked < 16;
         ++it, ++looked) {
        if (*it != CPriorQueue2::None)
            ahead[found++] = *it;
    }
    if (found == 0)
        return;
    const NeighbourPool<Form> &pool = lists<Form>().pool;
    const CCluster &next = at(ahead[0]);
    pool.prefetch(next.m_neighbours);
    const auto list = pool.view(next.m_neighbours);
    for (quint32 i = 0; i < list.size; ++i)
        __builtin_prefetch(&m_clusters[list.key(i)]);
    if (found == RecordAhead)
        __builtin_prefetch(&m_clusters[size_t(ahead[RecordAhead - 1])]);
}

// The likeness is the smallest distance of the list. When the entries that
// left or changed were not at the smallest, the new smallest is the old one
// or the new distance, and the list need not be searched again.
template<typename Form>
quint16 CSegmentor::receive(int c, int old, int replacement)
{
    NeighbourPool<Form> &pool = lists<Form>().pool;
    CCluster &cluster = at(c);
    NeighbourList &list = cluster.m_neighbours;
    const quint16 before = cluster.m_likeness;
    if (replacement == NoCluster) {
        pool.remove(list, quint32(old));
        updateWith<Form>(c);
        return NoDistance;
    }
    typename NeighbourPool<Form>::Replaced replaced;
    const quint16 distance = quint16(cdiff(c, replacement));
    if (replacement == old)
        replaced.overwritten = pool.set(list, quint32(old), distance);
    else
        replaced = pool.replace(list, quint32(old), quint32(replacement), distance);
    if (cluster.m_pixelCount > m_clusterthresh || list.size() == 0) {
        updateWith<Form>(c);
        return distance;
    }
    // A list in the record is searched for its smallest distance in a few
    // instructions, cheaper than the branch that would avoid it.
    if (list.size() <= NeighbourPool<Form>::Inline) {
        refile(c, std::min<quint16>(LikenessCeiling, pool.least(list)));
        return distance;
    }
    const bool known = before < LikenessCeiling && replaced.removed != before
            && replaced.overwritten != before;
    if (known)
        refile(c, std::min(before, distance));
    else
        updateWith<Form>(c);
    return distance;
}

// The messages may change this cluster's own list (a neighbour that turns
// out full tells its neighbours in turn), so they go to a snapshot of it.
// A cluster deleted since its key was written gets no message. The
// neighbours' records are far apart in memory: they are all requested
// first, so that they arrive together, and a list that does not fit in its
// record is requested a message ahead. Each neighbour's new distance to the
// replacement is kept beside the snapshot, for the merge that follows.
template<typename Form>
void CSegmentor::notify(int c, int replacement)
{
    const NeighbourPool<Form> &pool = lists<Form>().pool;
    if (size_t(m_depth) == m_snapshots.size())
        m_snapshots.emplace_back();
    Snapshot &snapshot = m_snapshots[size_t(m_depth)];
    const auto own = pool.view(at(c).m_neighbours);
    const quint32 count = own.size;
    if (snapshot.keys.size() < count) {
        snapshot.keys.resize(count);
        snapshot.distances.resize(count);
    }
    snapshot.count = count;
    // Deeper notifications use snapshots of their own; these buffers stay
    // where they are even when the list of snapshots grows.
    quint32 *keys = snapshot.keys.data();
    quint16 *distances = snapshot.distances.data();
    for (quint32 i = 0; i < count; ++i) {
        keys[i] = own.key(i);
        distances[i] = NoDistance;
        __builtin_prefetch(&m_clusters[keys[i]]);
    }
    ++m_depth;
    for (quint32 i = 0; i < count; ++i) {
        if (i + 1 < count)
            pool.prefetch(m_clusters[keys[i + 1]].m_neighbours);
        const int n = int(keys[i]);
        if (n != replacement && !at(n).m_deleted)
            distances[i] = receive<Form>(n, c, replacement);
    }
    --m_depth;
}

template<typename Form>
void CSegmentor::updateWith(int c)
{
    CCluster &cluster = at(c);
    cluster.m_likeness = LikenessCeiling;
    if (cluster.m_pixelCount > m_clusterthresh) {
        notify<Form>(c, NoCluster);
        cluster.m_likeness = NeverMerges;
        refile(c, NeverMerges);
    } else if (cluster.m_neighbours.size() > 0) {
        refile(c,
               std::min<quint16>(LikenessCeiling, lists<Form>().pool.least(cluster.m_neighbours)));
    } else {
        refile(c, NeverMerges);
    }
}

void CSegmentor::move(CCluster &cluster)
{
    const qint64 h = m_queue.Update(cluster.handle(), cluster.m_likeness);
    cluster.m_filedAt = quint16(handle2priority(quint64(h)));
    cluster.m_slot = handle2index(quint64(h));
}

// The merge of the lists finds the eater's smallest distance on the way,
// so that its likeness needs no search of the list unless it is full.
template<typename Form>
void CSegmentor::eatNeighbour(int eater, int victim)
{
    CCluster &e = at(eater);
    const CCluster &v = at(victim);
    lists<Form>().pool.remove(e.m_neighbours, quint32(victim));
    const qint32 nThis = e.m_pixelCount;
    const qint32 nVictim = v.m_pixelCount;
    // The larger part's colour wins; never an average.
    if (nThis < nVictim && lab(eater) != lab(victim)) {
        recordRecolouring(eater, e.m_colour);
        e.m_lab = v.m_lab;
        e.m_colour = v.m_colour;
        notify<Form>(eater, eater);
    }
    const int depth = m_depth;
    notify<Form>(victim, eater);
    const quint16 least = mergeVictimsNeighbours<Form>(eater, victim, m_snapshots[size_t(depth)]);
    e.m_pixelCount += v.m_pixelCount;
    m_eaters[size_t(victim)] = eater;
    if (e.m_pixelCount > m_clusterthresh || e.m_neighbours.size() == 0)
        updateWith<Form>(eater);
    else
        refile(eater, std::min<quint16>(LikenessCeiling, least));
}

// The eater takes every neighbour of the victim with a fresh distance,
// replacing any entry it had for it; its entries for its own other
// neighbours keep the distances they had, even after it changed colour.
// Both lists are in order, so this is one merge of the two. The distance
// between two colours is symmetric and no colour changed since the victim's
// neighbours were told: the distances they received are the eater's too.
// Returns the smallest distance of the merged list.
template<typename Form>
quint16 CSegmentor::mergeVictimsNeighbours(int eater, int victim, const Snapshot &told)
{
    Lists<Form> &lists = this->lists<Form>();
    NeighbourList &list = at(eater).m_neighbours;
    const auto own = lists.pool.view(list);
    const auto theirs = lists.pool.view(at(victim).m_neighbours);
    if (lists.merged.size() < std::max(own.size + theirs.size, NeighbourPool<Form>::Inline))
        lists.merged.resize(std::max(own.size + theirs.size, NeighbourPool<Form>::Inline));
    auto *merged = lists.merged.data();
    quint32 count = 0, i = 0;
    quint32 least = 0xFFFF;
    for (quint32 j = 0; j < theirs.size; ++j) {
        const quint32 key = theirs.key(j);
        if (int(key) == eater)
            continue;
        for (; i < own.size && own.key(i) < key; ++i) {
            least = std::min<quint32>(least, own.distance(i));
            merged[count++] = own.entries[i];
        }
        if (i < own.size && own.key(i) == key)
            ++i;
        const bool known = j < told.count && told.keys[j] == key && told.distances[j] != NoDistance;
        const quint16 distance = known ? told.distances[j] : quint16(cdiff(eater, int(key)));
        least = std::min<quint32>(least, distance);
        merged[count++] = Form::make(key, distance);
    }
    for (; i < own.size; ++i) {
        least = std::min<quint32>(least, own.distance(i));
        merged[count++] = own.entries[i];
    }
    lists.pool.assign(list, merged, count);
    return quint16(least);
}

template<typename Form>
int CSegmentor::nearestNeighbour(int c) const
{
    const CCluster &cluster = m_clusters[size_t(c)];
    const NeighbourPool<Form> &pool = lists<Form>().pool;
    const quint32 i = pool.firstAt(cluster.m_neighbours, cluster.m_likeness);
    return i < cluster.m_neighbours.size() ? int(pool.view(cluster.m_neighbours).key(i))
                                           : int(NoCluster);
}

// Eats every neighbour at the current likeness, pass after pass, until the
// likeness rises. A key that left the list during a pass is looked up as an
// inserting look-up does: it comes back with distance 0.
template<typename Form>
bool CSegmentor::eatAll(int c)
{
    NeighbourPool<Form> &pool = lists<Form>().pool;
    const quint16 start = at(c).m_likeness;
    for (;;) {
        const auto own = pool.view(at(c).m_neighbours);
        std::vector<quint32> keys;
        for (quint32 i = 0; i < own.size; ++i)
            keys.push_back(own.key(i));
        for (quint32 key : keys) {
            const int index = pool.indexOf(at(c).m_neighbours, key);
            const quint16 distance
                    = index < 0 ? 0 : pool.view(at(c).m_neighbours).distance(quint32(index));
            if (index < 0)
                pool.set(at(c).m_neighbours, key, 0);
            if (distance != at(c).m_likeness)
                continue;
            const int n = int(key);
            eatNeighbour<Form>(c, n);
            discard(n);
        }
        if (m_yield)
            m_yield();
        if (at(c).m_likeness > start)
            return false;
    }
}
