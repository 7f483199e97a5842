#include "levelpictures.h"

#include "imagebuffer.h"
#include "parallel.h"
#include "picturemeta.h"
#include "segmentor.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <system_error>

namespace {

// One picture on show, one being made, and one for a holder that keeps a
// picture a little longer.
constexpr size_t MostBuffers = 3;

} // namespace

LevelPictures::LevelPictures(const QImage &working, int width)
    : m_like(working)
    , m_working(working.size())
    , m_format(working.format())
    , m_width(width)
    , m_scaling(m_working, width)
    , m_way(Way::Qt)
{
    if (m_working.isEmpty() || m_scaling.size.isEmpty())
        return;
    if (m_scaling.identity()) {
        m_way = Way::Copy;
        return;
    }
    switch (smoothScalePath(m_format, m_working, m_scaling.size)) {
    case SmoothScalePath::Scaler:
        if (SmoothScale::handles(m_working, m_scaling.size)) {
            m_scale = std::make_unique<SmoothScale>(m_working, m_scaling.size);
            m_way = Way::Scale;
            // One picture on show, one being made.
            reserveBuffers(2);
        }
        break;
    case SmoothScalePath::Painter:
        m_way = Way::Paint;
        // The window's pixmap takes a copy of these.
        reserveBuffers(1);
        break;
    case SmoothScalePath::ScalerUnpremultiplied:
        break;
    }
}

LevelPictures::~LevelPictures()
{
    if (m_reserving.joinable())
        m_reserving.join();
}

void LevelPictures::reserveBuffers(int count)
{
    // A thread of its own only when the work may use more than one.
    if (threadBudget() < 2)
        return;
    const QSize size = m_scaling.size;
    const QImage::Format format = m_format;
    try {
        m_reserving = std::thread([this, count, size, format] {
            try {
                m_reserved.reserve(size_t(count));
                for (int i = 0; i < count; ++i) {
                    QImage buffer(size, format);
                    if (buffer.isNull())
                        return;
                    uchar *bits = buffer.bits();
                    for (qsizetype at = 0; at < buffer.sizeInBytes(); at += 4096)
                        bits[at] = 0;
                    m_reserved.push_back(std::move(buffer));
                }
            } catch (const std::bad_alloc &) {
                // Taken when needed, or not at all.
            }
        });
    } catch (const std::system_error &) {
        // No thread to be had: the buffers are taken when they are needed.
    }
}

// Scaled or not, Qt's pictures keep the resolution and text of the
// picture of the segmentation.
QImage LevelPictures::newBuffer()
{
    if (m_reserving.joinable())
        m_reserving.join();
    QImage buffer;
    if (!m_reserved.empty()) {
        buffer = std::move(m_reserved.back());
        m_reserved.pop_back();
    } else {
        buffer = QImage(m_way == Way::Copy ? m_working : m_scaling.size, m_format);
        if (buffer.isNull())
            throw std::bad_alloc();
    }
    copyResolutionAndText(m_picture, buffer);
    return buffer;
}

QImage LevelPictures::picture(CSegmentor &segmentor)
{
    if (!m_painted)
        m_picture = newImage(m_like, m_format);
    segmentor.updateImage(m_picture, !m_painted, m_changed);
    m_painted = true;
    for (Buffer &buffer : m_buffers)
        buffer.pending.add(m_changed);
    if (m_way == Way::Qt)
        return m_picture.scaledToWidth(m_width, Qt::SmoothTransformation);
    Buffer &buffer = freeBuffer();
    bringUpToDate(buffer);
    buffer.holdsLevel = true;
    buffer.pending.clear();
    return buffer.image;
}

// A buffer no one else holds, the one with the least to catch up on; or a
// new one. Past a few buffers the oldest is left to whoever holds it.
LevelPictures::Buffer &LevelPictures::freeBuffer()
{
    const auto pendingRows = [](const Buffer &buffer) {
        int rows = 0;
        for (int y = 0; y < buffer.pending.height(); ++y)
            rows += buffer.pending.any(y, y) ? 1 : 0;
        return buffer.holdsLevel ? rows : buffer.pending.height() + 1;
    };
    Buffer *best = nullptr;
    for (Buffer &buffer : m_buffers) {
        if (buffer.image.isDetached() && (!best || pendingRows(buffer) < pendingRows(*best)))
            best = &buffer;
    }
    if (best)
        return *best;
    if (m_buffers.size() >= MostBuffers)
        m_buffers.erase(m_buffers.begin());
    Buffer buffer;
    buffer.image = newBuffer();
    buffer.pending.reset(m_working.width(), m_working.height());
    m_buffers.push_back(std::move(buffer));
    return m_buffers.back();
}

void LevelPictures::bringUpToDate(Buffer &buffer)
{
    switch (m_way) {
    case Way::Copy:
        copyWorking(buffer);
        break;
    case Way::Scale:
        scaleWorking(buffer);
        break;
    case Way::Paint:
        paintWorking(buffer);
        break;
    case Way::Qt:
        break;
    }
}

void LevelPictures::copyWorking(Buffer &buffer)
{
    uchar *bits = buffer.image.bits();
    const qsizetype stride = buffer.image.bytesPerLine();
    std::vector<std::pair<int, int>> spans;
    for (int y = 0; y < m_working.height(); ++y) {
        if (buffer.holdsLevel)
            buffer.pending.columns(y, y, spans);
        else
            spans.assign(1, {0, m_working.width()});
        for (const auto &[left, right] : spans)
            memcpy(bits + stride * y + left * 4, m_picture.constScanLine(y) + left * 4,
                   size_t(right - left) * 4);
    }
}

void LevelPictures::scaleWorking(Buffer &buffer)
{
    if (!buffer.holdsLevel) {
        m_scale->scale(m_picture, buffer.image);
        return;
    }
    m_scale->scale(m_picture, buffer.image, [&](int y, SmoothScale::Spans &spans) {
        buffer.pending.columns(m_scale->firstRowRead(y), m_scale->lastRowRead(y), spans);
        for (auto &span : spans)
            span = m_scale->columnsReading(span.first, span.second - 1);
    });
}

// Qt paints these pictures with a bilinear filter: a target row reads the
// two source rows about its centre, and rows further on are taken in for
// the rounding. Only whole rows are painted again: a painter that starts a
// row in its middle steps through the source from there, and may land a
// little apart from where the whole row's steps land.
void LevelPictures::paintWorking(Buffer &buffer)
{
    const int height = m_scaling.size.height();
    const int width = m_scaling.size.width();
    const double scale = m_scaling.matrix.m22();
    const int lastRow = m_working.height() - 1;
    const auto changed = [&](int y) {
        if (!buffer.holdsLevel)
            return true;
        const int first = std::clamp(int(std::floor(y / scale)) - 2, 0, lastRow);
        const int last = std::clamp(int(std::floor((y + 1) / scale)) + 2, 0, lastRow);
        return buffer.pending.any(first, last);
    };
    uchar *bits = buffer.image.bits();
    const qsizetype stride = buffer.image.bytesPerLine();
    parallelBands(height, std::max(1, (1 << 16) / width), [&](int first, int end) {
        // A painter of its own for each band, on the same memory.
        QImage band(bits, width, height, stride, m_format);
        for (int y = first; y < end;) {
            if (!changed(y)) {
                ++y;
                continue;
            }
            int runEnd = y + 1;
            while (runEnd < end && changed(runEnd))
                ++runEnd;
            paintTransformedRows(m_picture, band, m_scaling.matrix, y, runEnd);
            y = runEnd;
        }
    });
}
