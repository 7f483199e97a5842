#include "largearray.h"

#include <cstdint>
#include <cstdlib>
#include <new>

#if defined(__linux__)
#    include <sys/mman.h>
#endif

namespace {

constexpr size_t HugePage = size_t(2) << 20;

size_t mappedSize(size_t bytes)
{
    return (bytes + HugePage - 1) / HugePage * HugePage;
}

} // namespace

bool mapsAlone(size_t bytes)
{
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    return bytes >= 2 * HugePage;
#else
    (void)bytes;
    return false;
#endif
}

// A large block gets a mapping of its own, aligned to huge pages, which
// goes back to the system when it is freed: blocks taken from the heap
// would stay with the process, and a long batch would grow with every
// picture.
void *allocateLarge(size_t bytes)
{
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    if (mapsAlone(bytes)) {
        const size_t size = mappedSize(bytes);
        void *raw = mmap(nullptr, size + HugePage, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (raw == MAP_FAILED)
            throw std::bad_alloc();
        // Keep the huge-page-aligned part; give back what is before and after.
        const uintptr_t start = reinterpret_cast<uintptr_t>(raw);
        const uintptr_t aligned = (start + HugePage - 1) & ~uintptr_t(HugePage - 1);
        if (aligned > start)
            munmap(raw, aligned - start);
        const size_t tail = (start + size + HugePage) - (aligned + size);
        if (tail > 0)
            munmap(reinterpret_cast<void *>(aligned + size), tail);
        void *buffer = reinterpret_cast<void *>(aligned);
        madvise(buffer, size, MADV_HUGEPAGE);
        return buffer;
    }
#endif
    void *buffer = malloc(bytes > 0 ? bytes : 1);
    if (!buffer)
        throw std::bad_alloc();
    return buffer;
}

void releaseLarge(void *memory, size_t bytes)
{
    if (!memory)
        return;
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    if (mapsAlone(bytes)) {
        munmap(memory, mappedSize(bytes));
        return;
    }
#endif
    free(memory);
}
