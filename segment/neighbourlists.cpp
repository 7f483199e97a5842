#include "neighbourlists.h"

#include "largearray.h"

#include <algorithm>
#include <cstring>

namespace {

int bitsFor(quint32 capacity)
{
    int bits = 0;
    while ((1u << bits) < capacity)
        ++bits;
    return bits;
}

// The first index whose key is at least `key`. Lists are short: a plain
// walk beats a binary search until they are not.
quint32 position(const quint32 *keys, quint32 size, quint32 key)
{
    if (size > 32)
        return quint32(std::lower_bound(keys, keys + size, key) - keys);
    quint32 i = 0;
    while (i < size && keys[i] < key)
        ++i;
    return i;
}

} // namespace

NeighbourPool::NeighbourPool()
    : m_free(32)
{
}

NeighbourPool::~NeighbourPool()
{
    for (void *memory : m_allocations)
        releaseLarge(memory);
}

NeighbourList NeighbourPool::makeList(quint32 capacity)
{
    NeighbourList list;
    if (capacity > 0) {
        list.setCapacityBits(quint32(bitsFor(capacity)));
        list.block = allocate(int(list.capacityBits()));
    }
    return list;
}

quint32 NeighbourPool::allocate(int bits)
{
    std::vector<quint32> &freeBlocks = m_free[size_t(bits)];
    if (!freeBlocks.empty()) {
        const quint32 block = freeBlocks.back();
        freeBlocks.pop_back();
        return block;
    }
    // A block never straddles two allocations: a block that does not fit in
    // what is left of the last chunk starts a new one, and a block larger
    // than a chunk gets chunks of its own, in one piece.
    const quint32 capacity = 1u << bits;
    const quint32 end = quint32(m_chunks.size()) << ChunkBits;
    if (m_next + capacity > end) {
        m_next = end;
        const size_t entries = size_t(std::max<quint32>(1, capacity >> ChunkBits)) * ChunkEntries;
        m_allocations.reserve(m_allocations.size() + 2);
        auto *keys = static_cast<quint32 *>(allocateLarge(entries * sizeof(quint32)));
        m_allocations.push_back(keys);
        auto *distances = static_cast<quint16 *>(allocateLarge(entries * sizeof(quint16)));
        m_allocations.push_back(distances);
        for (size_t i = 0; i < entries; i += ChunkEntries)
            m_chunks.push_back(Chunk {keys + i, distances + i});
    }
    const quint32 block = m_next;
    m_next += capacity;
    return block;
}

void NeighbourPool::reserve(NeighbourList &list, quint32 capacity)
{
    if (capacity <= list.capacity())
        return;
    const int bits = bitsFor(capacity);
    const quint32 block = allocate(bits);
    if (list.size() > 0) {
        memcpy(keys(block), keys(list.block), list.size() * sizeof(quint32));
        memcpy(distances(block), distances(list.block), list.size() * sizeof(quint16));
    }
    if (list.hasBlock())
        m_free[list.capacityBits()].push_back(list.block);
    list.block = block;
    list.setCapacityBits(quint32(bits));
}

int NeighbourPool::indexOf(const NeighbourList &list, quint32 key) const
{
    const View v = view(list);
    const quint32 i = position(v.keys, v.size, key);
    return i < v.size && v.keys[i] == key ? int(i) : -1;
}

void NeighbourPool::set(NeighbourList &list, quint32 key, quint16 distance)
{
    View v = view(list);
    const quint32 i = position(v.keys, v.size, key);
    if (i < v.size && v.keys[i] == key) {
        v.distances[i] = distance;
        return;
    }
    reserve(list, list.size() + 1);
    v = view(list);
    for (quint32 j = v.size; j > i; --j) {
        v.keys[j] = v.keys[j - 1];
        v.distances[j] = v.distances[j - 1];
    }
    v.keys[i] = key;
    v.distances[i] = distance;
    list.setSize(list.size() + 1);
}

void NeighbourPool::replace(NeighbourList &list, quint32 old, quint32 replacement, quint16 distance)
{
    const View v = view(list);
    const quint32 at = position(v.keys, v.size, old);
    if (at == v.size || v.keys[at] != old) {
        set(list, replacement, distance);
        return;
    }
    const quint32 to = position(v.keys, v.size, replacement);
    if (to < v.size && v.keys[to] == replacement) {
        v.distances[to] = distance;
        remove(list, old);
        return;
    }
    // The freed place of `old` and the place of `replacement` close up: the
    // entries between them move by one.
    if (to > at) {
        for (quint32 j = at + 1; j < to; ++j) {
            v.keys[j - 1] = v.keys[j];
            v.distances[j - 1] = v.distances[j];
        }
        v.keys[to - 1] = replacement;
        v.distances[to - 1] = distance;
    } else {
        for (quint32 j = at; j > to; --j) {
            v.keys[j] = v.keys[j - 1];
            v.distances[j] = v.distances[j - 1];
        }
        v.keys[to] = replacement;
        v.distances[to] = distance;
    }
}

bool NeighbourPool::remove(NeighbourList &list, quint32 key)
{
    const View v = view(list);
    const quint32 i = position(v.keys, v.size, key);
    if (i == v.size || v.keys[i] != key)
        return false;
    for (quint32 j = i + 1; j < v.size; ++j) {
        v.keys[j - 1] = v.keys[j];
        v.distances[j - 1] = v.distances[j];
    }
    list.setSize(list.size() - 1);
    return true;
}

void NeighbourPool::assign(NeighbourList &list, const quint32 *newKeys, const quint16 *newDistances,
                           quint32 count)
{
    reserve(list, count);
    if (count > 0) {
        memcpy(keys(list.block), newKeys, count * sizeof(quint32));
        memcpy(distances(list.block), newDistances, count * sizeof(quint16));
    }
    list.setSize(count);
}

void NeighbourPool::release(NeighbourList &list)
{
    if (list.hasBlock())
        m_free[list.capacityBits()].push_back(list.block);
    list = NeighbourList();
}

void NeighbourPool::append(NeighbourList &list, quint32 key, quint16 distance)
{
    reserve(list, list.size() + 1);
    keys(list.block)[list.size()] = key;
    distances(list.block)[list.size()] = distance;
    list.setSize(list.size() + 1);
}
