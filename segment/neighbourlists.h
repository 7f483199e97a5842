#pragma once

#include "packedline.h"

#include <QtGlobal>

#include <algorithm>
#include <type_traits>
#include <utility>
#include <vector>

// A neighbour entry is one integer: the neighbour's number in the high bits
// and the distance to it in the low ones, so that entries order as their
// numbers and a search compares whole words. The packed form takes four
// bytes: 22 bits of number and 10 of distance. Lab distances between
// colours of 8-bit pixels stay below 400, so 10 bits hold every distance;
// numbers up to MaxKey fit, which covers every picture of fewer than
// 2^22 - 1 pixels (the colour sketch works on about a million). Larger
// pictures take the wide form: eight bytes, 32 bits of number and 16 of
// distance. The all-ones word is no entry of either form: it fills the
// unused room of a short list.
template<typename W, int DistanceBits, int NumberBits>
struct EntryForm
{
    using Word = W;
    static constexpr int Shift = DistanceBits;
    static constexpr Word Unused = ~Word(0);
    // The largest number an entry holds; one less than the field's largest
    // value, so that no entry is all ones.
    static constexpr quint64 MaxKey = (quint64(1) << NumberBits) - 2;
    static constexpr quint32 MaxDistance = (1u << DistanceBits) - 1;

    static Word make(quint32 key, quint16 distance) { return (Word(key) << Shift) | distance; }
    static quint32 key(Word w) { return quint32(w >> Shift); }
    static quint16 distance(Word w) { return quint16(w & MaxDistance); }
};
using PackedEntries = EntryForm<quint32, 10, 22>;
using WideEntries = EntryForm<quint64, 16, 32>;

// A cluster's neighbour list, kept inside the cluster's record: the
// length, and the entries themselves while there are few of them (eight
// packed or four wide, the rest of the record's cache line), or else where
// they lie in the pool of longer lists. A list lies inline exactly when it
// is that short.
struct NeighbourList
{
    static constexpr quint32 InlineBytes = 32;

    quint32 size() const { return m_sizeAndBits & SizeMask; }
    void setSize(quint32 size) { m_sizeAndBits = (m_sizeAndBits & ~SizeMask) | size; }
    // log2 of the room of the list's block in the pool.
    quint32 capacityBits() const { return m_sizeAndBits >> SizeBits; }
    void setCapacityBits(quint32 bits) { m_sizeAndBits = size() | (bits << SizeBits); }

    quint32 *words(quint32 *) { return m_inline.packed; }
    quint64 *words(quint64 *) { return m_inline.wide; }
    const quint32 *words(const quint32 *) const { return m_inline.packed; }
    const quint64 *words(const quint64 *) const { return m_inline.wide; }

    quint32 m_sizeAndBits = 0;
    // The block in the pool, for a list that is not inline.
    quint32 block = 0;
    union {
        quint32 packed[InlineBytes / 4];
        quint64 wide[InlineBytes / 8];
    } m_inline;

private:
    static constexpr int SizeBits = 27;
    static constexpr quint32 SizeMask = (1u << SizeBits) - 1;
};

// The lists that do not fit inline. A block has room for a power of two of
// entries, at least twice what fits inline, in the order of the numbers; a
// list that outgrows its block moves to a larger one, and one that shrinks
// to what fits inline goes back. The words of a block past the list's end
// are all ones, as in the record. Freed blocks are reused by lists of their
// size. The pool takes memory as the lists need it, a chunk of 64 K entries
// at a time, from the heap: a picture whose lists are short touches almost
// none of it. Blocks never move in memory.
template<typename Form>
class NeighbourPool
{
public:
    using Word = typename Form::Word;
    static constexpr quint32 Inline = NeighbourList::InlineBytes / sizeof(Word);
    static constexpr quint16 NoEntry = 0xFFFF;
    // Whether a line of entries is edited in registers.
    static constexpr bool InRegisters
            = packedline::Available && std::is_same_v<Word, quint32> && Inline == 8;

    // One list's entries, valid until the list changes.
    struct View
    {
        const Word *entries;
        quint32 size;

        quint32 key(quint32 i) const { return Form::key(entries[i]); }
        quint16 distance(quint32 i) const { return Form::distance(entries[i]); }
    };

    NeighbourPool() = default;
    ~NeighbourPool();
    NeighbourPool(const NeighbourPool &) = delete;
    NeighbourPool &operator=(const NeighbourPool &) = delete;

    // An empty inline list.
    static void clear(NeighbourList &list)
    {
        list.m_sizeAndBits = 0;
        list.block = 0;
        Word *words = list.words(static_cast<Word *>(nullptr));
        for (quint32 i = 0; i < Inline; ++i)
            words[i] = Form::Unused;
    }

    Word *entries(NeighbourList &list) const
    {
        return list.size() <= Inline ? list.words(static_cast<Word *>(nullptr))
                                     : address(list.block);
    }
    const Word *entries(const NeighbourList &list) const
    {
        return list.size() <= Inline ? list.words(static_cast<const Word *>(nullptr))
                                     : address(list.block);
    }
    View view(const NeighbourList &list) const { return View {entries(list), list.size()}; }
    // Requests a list that lies in the pool.
    void prefetch(const NeighbourList &list) const
    {
        if (list.size() > Inline)
            __builtin_prefetch(address(list.block));
    }

    // The index of the first entry at `distance`, or the list's size.
    quint32 firstAt(const NeighbourList &list, quint16 distance) const
    {
        const Word *e = entries(list);
        if constexpr (InRegisters) {
            if (list.size() <= Inline)
                return packedline::firstWith(e, Form::MaxDistance, distance);
        }
        quint32 i = 0;
        while (i < list.size() && Form::distance(e[i]) != distance)
            ++i;
        return i;
    }
    // The index of `key`, or -1.
    int indexOf(const NeighbourList &list, quint32 key) const;
    // Sets the distance of `key`, adding it in its place when missing.
    // Returns the distance it replaced, or NoEntry.
    quint16 set(NeighbourList &list, quint32 key, quint16 distance)
    {
        if (list.size() >= Inline)
            return setLong(list, key, distance);
        Word *e = list.words(static_cast<Word *>(nullptr));
        const quint32 i = below(e, Form::make(key, 0));
        if (i < list.size() && Form::key(e[i]) == key) {
            const quint16 previous = Form::distance(e[i]);
            e[i] = Form::make(key, distance);
            return previous;
        }
        insertAt(e, i, Form::make(key, distance));
        list.setSize(list.size() + 1);
        return NoEntry;
    }
    // What remove(old) and then set(replacement, distance) do, in one move.
    // Returns the distances it removed and overwrote, NoEntry for none.
    struct Replaced
    {
        quint16 removed = NoEntry;
        quint16 overwritten = NoEntry;
    };
    Replaced replace(NeighbourList &list, quint32 old, quint32 replacement, quint16 distance)
    {
        if (list.size() > Inline)
            return replaceLong(list, old, replacement, distance);
        Replaced replaced;
        Word *e = list.words(static_cast<Word *>(nullptr));
        const quint32 at = below(e, Form::make(old, 0));
        if (at == list.size() || Form::key(e[at]) != old) {
            replaced.overwritten = set(list, replacement, distance);
            return replaced;
        }
        replaced.removed = Form::distance(e[at]);
        removeAt(e, at);
        const quint32 to = below(e, Form::make(replacement, 0));
        if (Form::key(e[to]) == replacement) {
            replaced.overwritten = Form::distance(e[to]);
            e[to] = Form::make(replacement, distance);
            list.setSize(list.size() - 1);
        } else {
            insertAt(e, to, Form::make(replacement, distance));
        }
        return replaced;
    }
    // Removes `key`; false when it was not there.
    bool remove(NeighbourList &list, quint32 key)
    {
        if (list.size() > Inline)
            return removeLong(list, key);
        Word *e = list.words(static_cast<Word *>(nullptr));
        const quint32 i = below(e, Form::make(key, 0));
        if (i == list.size() || Form::key(e[i]) != key)
            return false;
        removeAt(e, i);
        list.setSize(list.size() - 1);
        return true;
    }
    // The smallest distance, or 0xFFFF for an empty list. The unused words
    // of a short list read as the largest distance, above every real one.
    quint16 least(const NeighbourList &list) const
    {
        if (list.size() > Inline)
            return leastLong(list);
        const Word *e = list.words(static_cast<const Word *>(nullptr));
        quint32 smallest = Form::MaxDistance;
        if constexpr (InRegisters) {
            smallest = packedline::least(e, Form::MaxDistance);
        } else {
            for (quint32 i = 0; i < Inline; ++i)
                smallest = std::min<quint32>(smallest, Form::distance(e[i]));
        }
        return list.size() == 0 ? 0xFFFF : quint16(smallest);
    }
    // Replaces the whole list by `count` entries in order; `words` must be
    // readable up to at least Inline words.
    void assign(NeighbourList &list, const Word *words, quint32 count);
    // Empties the list and gives its block back.
    void release(NeighbourList &list);

private:
    // The words a search counts over: the inline room, or the block's.
    static quint32 room(const NeighbourList &list)
    {
        return list.size() <= Inline ? Inline : 1u << list.capacityBits();
    }
    // Short lists are edited over their whole room, without a branch on
    // where the entry is: the count of entries below a word, and shifts
    // that select each word from its place or the next. A line of packed
    // entries is edited in registers.
    static quint32 below(const Word *e, Word target)
    {
        if constexpr (InRegisters)
            return packedline::below(e, target);
        quint32 count = 0;
        for (quint32 i = 0; i < Inline; ++i)
            count += e[i] < target;
        return count;
    }
    // The last word must be unused; it drops off.
    static void insertAt(Word *e, quint32 at, Word word)
    {
        if constexpr (InRegisters) {
            packedline::insertAt(e, at, word);
        } else {
            Word previous[Inline];
            previous[0] = word;
            for (quint32 i = 1; i < Inline; ++i)
                previous[i] = e[i - 1];
            for (quint32 i = 0; i < Inline; ++i)
                e[i] = i < at ? e[i] : i == at ? word : previous[i];
        }
    }
    static void removeAt(Word *e, quint32 at)
    {
        if constexpr (InRegisters) {
            packedline::removeAt(e, at);
        } else {
            Word next[Inline];
            for (quint32 i = 0; i + 1 < Inline; ++i)
                next[i] = e[i + 1];
            next[Inline - 1] = Form::Unused;
            for (quint32 i = 0; i < Inline; ++i)
                e[i] = i < at ? e[i] : next[i];
        }
    }
    quint16 setLong(NeighbourList &list, quint32 key, quint16 distance);
    Replaced replaceLong(NeighbourList &list, quint32 old, quint32 replacement, quint16 distance);
    bool removeLong(NeighbourList &list, quint32 key);
    quint16 leastLong(const NeighbourList &list) const;

    static constexpr int ChunkBits = 16;
    static constexpr quint32 ChunkEntries = 1u << ChunkBits;

    Word *address(quint32 block) const
    {
        return m_chunks[block >> ChunkBits] + (block & (ChunkEntries - 1));
    }
    quint32 allocate(int bits);
    // Gives the list room for `size` entries and sets its length; the
    // entries stay where they were in order, up to the new length.
    Word *resize(NeighbourList &list, quint32 size);

    // Where each chunk of the pool numbering lies; consecutive chunks of one
    // allocation are consecutive in memory.
    std::vector<Word *> m_chunks;
    std::vector<std::pair<void *, size_t>> m_allocations;
    // The start of the unused tail of the last chunk, in pool numbering.
    quint32 m_next = 0;
    // Free blocks by log2 of their room.
    std::vector<quint32> m_free[32];
};

extern template class NeighbourPool<PackedEntries>;
extern template class NeighbourPool<WideEntries>;
