#include "imagebuffer.h"

#include "largearray.h"

#include <climits>
#include <cstdlib>

#if defined(__linux__)
#    include <sys/mman.h>
#endif

namespace {

constexpr size_t HugePage = size_t(2) << 20;

void release(void *buffer)
{
    free(buffer);
}

} // namespace

void *allocateLarge(size_t bytes)
{
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    if (bytes >= 2 * HugePage) {
        void *buffer = nullptr;
        const size_t rounded = (bytes + HugePage - 1) / HugePage * HugePage;
        if (posix_memalign(&buffer, HugePage, rounded) != 0)
            throw std::bad_alloc();
        madvise(buffer, rounded, MADV_HUGEPAGE);
        return buffer;
    }
#endif
    void *buffer = malloc(bytes > 0 ? bytes : 1);
    if (!buffer)
        throw std::bad_alloc();
    return buffer;
}

void releaseLarge(void *memory)
{
    free(memory);
}

namespace {

QImage allocate(QSize size, QImage::Format format)
{
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    const qsizetype bytesPerLine = qsizetype(size.width()) * 4;
    const size_t bytes = size_t(bytesPerLine) * size_t(qMax(0, size.height()));
    const bool thirtyTwoBit = format == QImage::Format_RGB32 || format == QImage::Format_ARGB32;
    if (thirtyTwoBit && bytes >= 4 * HugePage && bytesPerLine <= INT_MAX) {
        void *buffer = nullptr;
        const size_t rounded = (bytes + HugePage - 1) / HugePage * HugePage;
        if (posix_memalign(&buffer, HugePage, rounded) == 0) {
            madvise(buffer, rounded, MADV_HUGEPAGE);
            return QImage(static_cast<uchar *>(buffer), size.width(), size.height(),
                          int(bytesPerLine), format, release, buffer);
        }
    }
#endif
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
