#pragma once

#include <QtGlobal>

#include <vector>

// Where a cluster's neighbour list lies in the pool, and how long it is:
// eight bytes, the block, and the length with log2 of the room in the
// block in its top six bits. Kept inside the cluster's record, so that one
// memory access finds both.
struct NeighbourList
{
    static constexpr quint32 NoBlock = 63;

    quint32 block = 0;

    quint32 size() const { return m_sizeAndBits & SizeMask; }
    void setSize(quint32 size) { m_sizeAndBits = (m_sizeAndBits & ~SizeMask) | size; }
    // log2 of the room in the block; NoBlock for a list without one.
    quint32 capacityBits() const { return m_sizeAndBits >> SizeBits; }
    void setCapacityBits(quint32 bits) { m_sizeAndBits = size() | (bits << SizeBits); }
    bool hasBlock() const { return capacityBits() != NoBlock; }
    quint32 capacity() const { return hasBlock() ? 1u << capacityBits() : 0; }

private:
    static constexpr int SizeBits = 26;
    static constexpr quint32 SizeMask = (1u << SizeBits) - 1;
    quint32 m_sizeAndBits = NoBlock << SizeBits;
};

// The pool of every neighbour list. A list is a block with room for a power
// of two of entries, each a neighbour's number and the distance to it, in
// the order of the numbers; eight entries fill one cache line. A list that
// outgrows its block moves to a larger one; freed blocks are reused by
// lists of their size. Blocks never move in memory.
class NeighbourPool
{
public:
    struct Entry
    {
        quint32 key;
        quint16 distance;
        quint16 unused;
    };

    // One list's entries, valid until the list changes.
    struct View
    {
        Entry *entries;
        quint32 size;

        quint32 key(quint32 i) const { return entries[i].key; }
        quint16 distance(quint32 i) const { return entries[i].distance; }
    };

    NeighbourPool();
    ~NeighbourPool();
    NeighbourPool(const NeighbourPool &) = delete;
    NeighbourPool &operator=(const NeighbourPool &) = delete;

    // A list with room for `capacity` entries.
    NeighbourList makeList(quint32 capacity);

    View view(const NeighbourList &list) const
    {
        if (!list.hasBlock())
            return View {nullptr, 0};
        return View {address(list.block), list.size()};
    }
    void prefetch(const NeighbourList &list) const
    {
        if (list.hasBlock())
            __builtin_prefetch(address(list.block));
    }

    // The index of `key`, or -1.
    int indexOf(const NeighbourList &list, quint32 key) const;
    static constexpr quint16 NoEntry = 0xFFFF;

    // Sets the distance of `key`, adding it in its place when missing.
    // Returns the distance it replaced, or NoEntry.
    quint16 set(NeighbourList &list, quint32 key, quint16 distance);
    // What remove(old) and then set(replacement, distance) do, in one move.
    // Returns the distances it removed and overwrote, NoEntry for none.
    struct Replaced
    {
        quint16 removed = NoEntry;
        quint16 overwritten = NoEntry;
    };
    Replaced replace(NeighbourList &list, quint32 old, quint32 replacement, quint16 distance);
    // Removes `key`; false when it was not there.
    bool remove(NeighbourList &list, quint32 key);
    // The smallest distance, or 0xFFFF for an empty list.
    quint16 least(const NeighbourList &list) const
    {
        const View v = view(list);
        quint16 smallest = 0xFFFF;
        for (quint32 i = 0; i < v.size; ++i)
            smallest = v.entries[i].distance < smallest ? v.entries[i].distance : smallest;
        return smallest;
    }
    // Replaces the whole list by `count` entries in order.
    void assign(NeighbourList &list, const Entry *entries, quint32 count);
    // Empties the list and gives its block back.
    void release(NeighbourList &list);
    // Appends an entry that comes after every entry already there.
    void append(NeighbourList &list, quint32 key, quint16 distance);

private:
    static constexpr int ChunkBits = 20;
    static constexpr quint32 ChunkEntries = 1u << ChunkBits;

    Entry *address(quint32 block) const
    {
        return m_chunks[block >> ChunkBits] + (block & (ChunkEntries - 1));
    }
    quint32 allocate(int bits);
    void reserve(NeighbourList &list, quint32 capacity);

    // Where each chunk of the pool numbering lies; consecutive chunks of one
    // allocation are consecutive in memory.
    std::vector<Entry *> m_chunks;
    std::vector<std::pair<void *, size_t>> m_allocations;
    // The start of the unused tail of the last chunk, in pool numbering.
    quint32 m_next = 0;
    // Free blocks by log2 of their room.
    std::vector<std::vector<quint32>> m_free;
};
