#pragma once

#include "largearray.h"

#include <QtGlobal>

#include <vector>

// Numbers 32-bit keys in the order they are first inserted, in a flat
// open-addressing table (linear probing, at most half full). Each key also
// holds a value, its number until the caller replaces it (below 2^31).
class FlatIndex
{
public:
    FlatIndex()
        : m_slots(size_t(1) << InitialBits)
        , m_mask((1u << InitialBits) - 1)
        , m_shift(32 - InitialBits)
    {
    }

    int size() const { return m_size; }

    // The key's number; a new key gets the next one.
    quint32 insert(quint32 key)
    {
        quint32 slot = home(key);
        for (;; slot = (slot + 1) & m_mask) {
            const Slot &s = m_slots[slot];
            if (!(s.value & Occupied))
                break;
            if (s.key == key)
                return s.value & ~Occupied;
        }
        Slot &s = m_slots[slot];
        s.key = key;
        s.value = quint32(m_size) | Occupied;
        ++m_size;
        if (quint64(m_size) * 2 > m_slots.size())
            grow();
        return quint32(m_size - 1);
    }

    // The value of a key that was inserted.
    quint32 valueOf(quint32 key) const
    {
        for (quint32 slot = home(key);; slot = (slot + 1) & m_mask) {
            const Slot &s = m_slots[slot];
            if (s.key == key && (s.value & Occupied))
                return s.value & ~Occupied;
        }
    }

    // Starts loading the slot where the look-up of `key` begins: a batch of
    // look-ups then waits for memory once instead of once per key.
    void prefetch(quint32 key) const { __builtin_prefetch(&m_slots[home(key)]); }

    // Replaces every value v by values[v].
    void remap(const std::vector<quint32> &values)
    {
        for (Slot &s : m_slots) {
            if (s.value & Occupied)
                s.value = values[s.value & ~Occupied] | Occupied;
        }
    }

private:
    static constexpr int InitialBits = 12;

    // An empty slot is all zero bytes.
    struct Slot
    {
        quint32 key;
        quint32 value;
    };
    static constexpr quint32 Occupied = 0x80000000u;

    // Fibonacci hashing: the high bits of the product.
    quint32 home(quint32 key) const { return (key * 0x9E3779B1u) >> m_shift; }

    void grow()
    {
        LargeArray<Slot> old(m_slots.size() * 2);
        old.swap(m_slots);
        m_mask = quint32(m_slots.size() - 1);
        --m_shift;
        for (const Slot &s : old) {
            if (!(s.value & Occupied))
                continue;
            quint32 slot = home(s.key);
            while (m_slots[slot].value & Occupied)
                slot = (slot + 1) & m_mask;
            m_slots[slot] = s;
        }
    }

    LargeArray<Slot> m_slots;
    quint32 m_mask;
    int m_shift;
    int m_size = 0;
};
