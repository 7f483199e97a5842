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
quint32 position(const NeighbourPool::Entry *entries, quint32 size, quint32 key)
{
    if (size > 32)
        return quint32(
                std::lower_bound(entries, entries + size, key,
                                 [](const NeighbourPool::Entry &e, quint32 k) { return e.key < k; })
                - entries);
    quint32 i = 0;
    while (i < size && entries[i].key < key)
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
    for (const auto &allocation : m_allocations)
        releaseLarge(allocation.first, allocation.second);
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
        m_allocations.reserve(m_allocations.size() + 1);
        auto *memory = static_cast<Entry *>(allocateLarge(entries * sizeof(Entry)));
        m_allocations.emplace_back(memory, entries * sizeof(Entry));
        for (size_t i = 0; i < entries; i += ChunkEntries)
            m_chunks.push_back(memory + i);
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
    if (list.size() > 0)
        memcpy(address(block), address(list.block), list.size() * sizeof(Entry));
    if (list.hasBlock())
        m_free[list.capacityBits()].push_back(list.block);
    list.block = block;
    list.setCapacityBits(quint32(bits));
}

int NeighbourPool::indexOf(const NeighbourList &list, quint32 key) const
{
    const View v = view(list);
    const quint32 i = position(v.entries, v.size, key);
    return i < v.size && v.entries[i].key == key ? int(i) : -1;
}

quint16 NeighbourPool::set(NeighbourList &list, quint32 key, quint16 distance)
{
    View v = view(list);
    const quint32 i = position(v.entries, v.size, key);
    if (i < v.size && v.entries[i].key == key) {
        const quint16 previous = v.entries[i].distance;
        v.entries[i].distance = distance;
        return previous;
    }
    reserve(list, list.size() + 1);
    v = view(list);
    for (quint32 j = v.size; j > i; --j)
        v.entries[j] = v.entries[j - 1];
    v.entries[i] = Entry {key, distance, 0};
    list.setSize(list.size() + 1);
    return NoEntry;
}

// One walk finds both places; the entries between them then move by one,
// towards the place `old` leaves.
NeighbourPool::Replaced NeighbourPool::replace(NeighbourList &list, quint32 old,
                                               quint32 replacement, quint16 distance)
{
    Replaced replaced;
    const View v = view(list);
    const quint32 last = std::max(old, replacement);
    quint32 at = v.size, to = v.size, i = 0;
    for (; i < v.size && v.entries[i].key <= last; ++i) {
        if (v.entries[i].key == old)
            at = i;
        if (to == v.size && v.entries[i].key >= replacement)
            to = i;
    }
    if (to == v.size)
        to = i;
    if (at == v.size) {
        replaced.overwritten = set(list, replacement, distance);
        return replaced;
    }
    replaced.removed = v.entries[at].distance;
    if (to < v.size && v.entries[to].key == replacement) {
        replaced.overwritten = v.entries[to].distance;
        v.entries[to].distance = distance;
        for (quint32 j = at + 1; j < v.size; ++j)
            v.entries[j - 1] = v.entries[j];
        list.setSize(list.size() - 1);
        return replaced;
    }
    if (to > at) {
        for (quint32 j = at + 1; j < to; ++j)
            v.entries[j - 1] = v.entries[j];
        v.entries[to - 1] = Entry {replacement, distance, 0};
    } else {
        for (quint32 j = at; j > to; --j)
            v.entries[j] = v.entries[j - 1];
        v.entries[to] = Entry {replacement, distance, 0};
    }
    return replaced;
}

bool NeighbourPool::remove(NeighbourList &list, quint32 key)
{
    const View v = view(list);
    const quint32 i = position(v.entries, v.size, key);
    if (i == v.size || v.entries[i].key != key)
        return false;
    for (quint32 j = i + 1; j < v.size; ++j)
        v.entries[j - 1] = v.entries[j];
    list.setSize(list.size() - 1);
    return true;
}

void NeighbourPool::assign(NeighbourList &list, const Entry *entries, quint32 count)
{
    reserve(list, count);
    if (count > 0)
        memcpy(address(list.block), entries, count * sizeof(Entry));
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
    address(list.block)[list.size()] = Entry {key, distance, 0};
    list.setSize(list.size() + 1);
}
