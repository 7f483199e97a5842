#include "imagebuffer.h"

#include "largearray.h"
#include "picturemeta.h"

#include <climits>
#include <new>

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
    const bool grey = format == QImage::Format_Grayscale8;
    const bool thirtyTwoBit = format == QImage::Format_RGB32 || format == QImage::Format_ARGB32;
    // Qt's own line length: whole 32-bit words.
    const qsizetype bytesPerLine
            = grey ? (qsizetype(size.width()) + 3) & ~qsizetype(3) : qsizetype(size.width()) * 4;
    const size_t bytes = size_t(bytesPerLine) * size_t(qMax(0, size.height()));
    if ((thirtyTwoBit || grey) && mapsAlone(bytes) && bytesPerLine <= INT_MAX) {
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
    copyResolutionAndText(like, image);
    return image;
}
