#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

// Memory for large working arrays: blocks of several megabytes are aligned
// to huge pages and offered to the kernel as such, which saves most page
// faults and TLB misses when they are read out of order. Throws
// std::bad_alloc when there is not enough memory.
void *allocateLarge(size_t bytes);
// `bytes` is what was asked for.
void releaseLarge(void *memory, size_t bytes);
// Whether a block of `bytes` gets a mapping of its own, aligned to huge
// pages, rather than memory from the heap.
bool mapsAlone(size_t bytes);

// A fixed-size array of plain values, all bytes zero at first unless asked
// otherwise.
template<typename T>
class LargeArray
{
    static_assert(std::is_trivially_copyable_v<T>, "LargeArray holds plain values");

public:
    enum Uninitialised { Uninitialized };

    LargeArray() = default;
    explicit LargeArray(size_t size)
        : LargeArray(size, Uninitialized)
    {
        memset(static_cast<void *>(m_data.get()), 0, size * sizeof(T));
    }
    // For callers that write every element before reading it.
    LargeArray(size_t size, Uninitialised)
        : m_data(static_cast<T *>(allocateLarge(size * sizeof(T))), Release {size})
        , m_size(size)
    {
    }

    size_t size() const { return m_size; }
    T *data() { return m_data.get(); }
    const T *data() const { return m_data.get(); }
    T &operator[](size_t i) { return m_data.get()[i]; }
    const T &operator[](size_t i) const { return m_data.get()[i]; }
    T *begin() { return data(); }
    T *end() { return data() + m_size; }
    const T *begin() const { return data(); }
    const T *end() const { return data() + m_size; }

    void swap(LargeArray &other) noexcept
    {
        m_data.swap(other.m_data);
        std::swap(m_size, other.m_size);
    }

private:
    struct Release
    {
        size_t size = 0;
        void operator()(T *memory) const { releaseLarge(memory, size * sizeof(T)); }
    };
    std::unique_ptr<T, Release> m_data;
    size_t m_size = 0;
};
