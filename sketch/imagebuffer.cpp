#include "imagebuffer.h"

#include "largearray.h"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <new>

#if defined(__linux__)
#    include <sys/mman.h>
#endif

namespace {

constexpr size_t HugePage = size_t(2) << 20;

bool mappedAlone(size_t bytes)
{
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    return bytes >= 2 * HugePage;
#else
    Q_UNUSED(bytes);
    return false;
#endif
}

size_t mappedSize(size_t bytes)
{
    return (bytes + HugePage - 1) / HugePage * HugePage;
}

} // namespace

// A large block gets a mapping of its own, aligned to huge pages, which
// goes back to the system when it is freed: blocks taken from the heap
// would stay with the process, and a long batch would grow with every
// picture.
void *allocateLarge(size_t bytes)
{
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    if (mappedAlone(bytes)) {
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
    if (mappedAlone(bytes)) {
        munmap(memory, mappedSize(bytes));
        return;
    }
#endif
    free(memory);
}

namespace {

struct Mapping
{
    void *memory;
    size_t bytes;
};

void releaseMapping(void *info)
{
    const Mapping *mapping = static_cast<Mapping *>(info);
    releaseLarge(mapping->memory, mapping->bytes);
    delete mapping;
}

QImage allocate(QSize size, QImage::Format format)
{
    const qsizetype bytesPerLine = qsizetype(size.width()) * 4;
    const size_t bytes = size_t(bytesPerLine) * size_t(qMax(0, size.height()));
    const bool thirtyTwoBit = format == QImage::Format_RGB32 || format == QImage::Format_ARGB32;
    if (thirtyTwoBit && mappedAlone(bytes) && bytesPerLine <= INT_MAX) {
        try {
            auto *mapping = new Mapping {allocateLarge(bytes), bytes};
            return QImage(static_cast<uchar *>(mapping->memory), size.width(), size.height(),
                          int(bytesPerLine), format, releaseMapping, mapping);
        } catch (const std::bad_alloc &) {
            // Qt's own allocation says no in its own way: a null picture.
        }
    }
    return QImage(size, format);
}

} // namespace

QImage newImage(const QImage &like, QImage::Format format)
{
    QImage image = allocate(like.size(), format);
    // QImage gives a null picture when memory runs out: the callers would
    // write into it.
    if (image.isNull() && !like.size().isEmpty())
        throw std::bad_alloc();
    image.setDotsPerMeterX(like.dotsPerMeterX());
    image.setDotsPerMeterY(like.dotsPerMeterY());
    for (const QString &key : like.textKeys())
        image.setText(key, like.text(key));
    return image;
}
