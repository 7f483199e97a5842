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

// The first index whose entry is at least `target`: the count of the
// entries below it, which needs no branch on the data. A list is counted
// over its whole room, inline or in its block, where the unused words are
// all ones and never below a target; lines of packed entries are counted
// in registers.
template<typename Word, quint32 Inline>
quint32 position(const Word *entries, quint32 size, quint32 capacity, Word target)
{
    if (capacity > 64)
        return quint32(std::lower_bound(entries, entries + size, target) - entries);
    quint32 below = 0;
    if constexpr (NeighbourPool<PackedEntries>::InRegisters && std::is_same_v<Word, quint32>) {
        for (quint32 i = 0; i < capacity; i += 8)
            below += packedline::below(entries + i, target);
    } else {
        for (quint32 i = 0; i < capacity; ++i)
            below += entries[i] < target;
    }
    return below;
}

template<typename Word>
void shift(Word *to, const Word *from, quint32 count)
{
    memmove(to, from, count * sizeof(Word));
}

} // namespace

template<typename Form>
NeighbourPool<Form>::~NeighbourPool()
{
    for (const auto &allocation : m_allocations)
        releaseLarge(allocation.first, allocation.second);
}

template<typename Form>
quint32 NeighbourPool<Form>::allocate(int bits)
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
        auto *memory = static_cast<Word *>(allocateLarge(entries * sizeof(Word)));
        m_allocations.emplace_back(memory, entries * sizeof(Word));
        for (size_t i = 0; i < entries; i += ChunkEntries)
            m_chunks.push_back(memory + i);
    }
    const quint32 block = m_next;
    m_next += capacity;
    return block;
}

// Entries past the new length are dropped; a list that grows keeps its
// entries in front and gets room for the new ones behind them.
template<typename Form>
typename Form::Word *NeighbourPool<Form>::resize(NeighbourList &list, quint32 size)
{
    const quint32 old = list.size();
    Word *own = list.words(static_cast<Word *>(nullptr));
    if (size <= Inline) {
        if (old > Inline) {
            memcpy(own, address(list.block), size * sizeof(Word));
            m_free[list.capacityBits()].push_back(list.block);
            std::fill(own + size, own + Inline, Form::Unused);
        } else if (size < old) {
            std::fill(own + size, own + old, Form::Unused);
        }
        list.setSize(size);
        return own;
    }
    if (old <= Inline || size > (1u << list.capacityBits())) {
        const int bits = bitsFor(std::max(size, 2 * Inline));
        const quint32 block = allocate(bits);
        memcpy(address(block), entries(list), old * sizeof(Word));
        std::fill(address(block) + old, address(block) + (1u << bits), Form::Unused);
        if (old > Inline)
            m_free[list.capacityBits()].push_back(list.block);
        list.block = block;
        list.setCapacityBits(quint32(bits));
    } else if (size < old) {
        std::fill(address(list.block) + size, address(list.block) + old, Form::Unused);
    }
    list.setSize(size);
    return address(list.block);
}

template<typename Form>
int NeighbourPool<Form>::indexOf(const NeighbourList &list, quint32 key) const
{
    const Word *e = entries(list);
    const quint32 i = position<Word, Inline>(e, list.size(), room(list), Form::make(key, 0));
    return i < list.size() && Form::key(e[i]) == key ? int(i) : -1;
}

template<typename Form>
quint16 NeighbourPool<Form>::setLong(NeighbourList &list, quint32 key, quint16 distance)
{
    Word *e = entries(list);
    const quint32 size = list.size();
    const quint32 i = position<Word, Inline>(e, size, room(list), Form::make(key, 0));
    if (i < size && Form::key(e[i]) == key) {
        const quint16 previous = Form::distance(e[i]);
        e[i] = Form::make(key, distance);
        return previous;
    }
    e = resize(list, size + 1);
    shift(e + i + 1, e + i, size - i);
    e[i] = Form::make(key, distance);
    return NoEntry;
}

// The entries between the two places move by one, towards the place `old`
// leaves.
template<typename Form>
typename NeighbourPool<Form>::Replaced
NeighbourPool<Form>::replaceLong(NeighbourList &list, quint32 old, quint32 replacement,
                                 quint16 distance)
{
    Replaced replaced;
    Word *e = entries(list);
    const quint32 size = list.size();
    const quint32 at = position<Word, Inline>(e, size, room(list), Form::make(old, 0));
    if (at == size || Form::key(e[at]) != old) {
        replaced.overwritten = set(list, replacement, distance);
        return replaced;
    }
    replaced.removed = Form::distance(e[at]);
    const quint32 to = position<Word, Inline>(e, size, room(list), Form::make(replacement, 0));
    if (to < size && Form::key(e[to]) == replacement) {
        replaced.overwritten = Form::distance(e[to]);
        e[to] = Form::make(replacement, distance);
        shift(e + at, e + at + 1, size - at - 1);
        resize(list, size - 1);
        return replaced;
    }
    if (to > at) {
        shift(e + at, e + at + 1, to - 1 - at);
        e[to - 1] = Form::make(replacement, distance);
    } else {
        shift(e + to + 1, e + to, at - to);
        e[to] = Form::make(replacement, distance);
    }
    return replaced;
}

template<typename Form>
bool NeighbourPool<Form>::removeLong(NeighbourList &list, quint32 key)
{
    Word *e = entries(list);
    const quint32 size = list.size();
    const quint32 i = position<Word, Inline>(e, size, room(list), Form::make(key, 0));
    if (i == size || Form::key(e[i]) != key)
        return false;
    shift(e + i, e + i + 1, size - i - 1);
    resize(list, size - 1);
    return true;
}

template<typename Form>
quint16 NeighbourPool<Form>::leastLong(const NeighbourList &list) const
{
    const Word *e = address(list.block);
    quint32 smallest = Form::MaxDistance;
    if constexpr (InRegisters) {
        for (quint32 i = 0; i < list.size(); i += 8)
            smallest = std::min(smallest, packedline::least(e + i, Form::MaxDistance));
    } else {
        for (quint32 i = 0; i < list.size(); ++i)
            smallest = std::min<quint32>(smallest, Form::distance(e[i]));
    }
    return quint16(smallest);
}

// A short list is written over its whole room, from the words the caller
// guarantees readable.
template<typename Form>
void NeighbourPool<Form>::assign(NeighbourList &list, const Word *words, quint32 count)
{
    const quint32 size = list.size();
    if (count <= Inline) {
        if (size > Inline)
            m_free[list.capacityBits()].push_back(list.block);
        Word *own = list.words(static_cast<Word *>(nullptr));
        for (quint32 i = 0; i < Inline; ++i) {
            const Word word = words[i];
            own[i] = i < count ? word : Form::Unused;
        }
        list.setSize(count);
        return;
    }
    if (size <= Inline || count > (1u << list.capacityBits())) {
        if (size > Inline)
            m_free[list.capacityBits()].push_back(list.block);
        const int bits = bitsFor(std::max(count, 2 * Inline));
        list.block = allocate(bits);
        list.setCapacityBits(quint32(bits));
    }
    list.setSize(count);
    memcpy(address(list.block), words, count * sizeof(Word));
    std::fill(address(list.block) + count, address(list.block) + (1u << list.capacityBits()),
              Form::Unused);
}

template<typename Form>
void NeighbourPool<Form>::release(NeighbourList &list)
{
    if (list.size() > Inline)
        m_free[list.capacityBits()].push_back(list.block);
    clear(list);
}

template class NeighbourPool<PackedEntries>;
template class NeighbourPool<WideEntries>;
