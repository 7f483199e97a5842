#include "smoothscale.h"

#include "parallel.h"

#include <QPainter>

#include <algorithm>

#if defined(__SSE2__)
#    include <emmintrin.h>
#endif

// The sample points and weights are those of Imlib2's smooth scaler as Qt
// keeps it (qimagescale.cpp): along a side that grows, each target pixel
// mixes two neighbouring source pixels with an 8-bit weight; along a side
// that shrinks, it sums a run of source pixels with 14-bit weights.

namespace {

constexpr int LargestSide = 32767;

// The four channels of a and b mixed as (a * wa + b * wb) >> 8 each, with
// wa + wb = 256: Qt's INTERPOLATE_PIXEL_256.
inline quint32 mix(quint32 a, quint32 wa, quint32 b, quint32 wb)
{
    const quint32 redBlue = ((((a & 0xff00ffu) * wa + (b & 0xff00ffu) * wb)) >> 8) & 0xff00ffu;
    const quint32 alphaGreen
            = (((a >> 8) & 0xff00ffu) * wa + ((b >> 8) & 0xff00ffu) * wb) & 0xff00ff00u;
    return redBlue | alphaGreen;
}

// Qt's sum over a run of source pixels, `step` apart: the first weighted
// `first`, the middle ones `each`, the last what is left of 1 << 14.
inline void sumRun(const quint32 *pixel, int first, int each, qsizetype step, quint32 sum[4])
{
    for (int c = 0; c < 4; ++c)
        sum[c] = ((*pixel >> (8 * c)) & 0xffu) * quint32(first);
    int left = (1 << 14) - first;
    for (; left > each; left -= each) {
        pixel += step;
        for (int c = 0; c < 4; ++c)
            sum[c] += ((*pixel >> (8 * c)) & 0xffu) * quint32(each);
    }
    pixel += step;
    for (int c = 0; c < 4; ++c)
        sum[c] += ((*pixel >> (8 * c)) & 0xffu) * quint32(left);
}

inline quint32 pack(const quint32 channels[4], int shift)
{
    quint32 pixel = 0;
    for (int c = 0; c < 4; ++c)
        pixel |= ((channels[c] >> shift) & 0xffu) << (8 * c);
    return pixel;
}

// One row enlarged horizontally from `mixed` (the source row after the
// vertical step, one entry longer than the source), columns left .. right - 1.
void enlargeRow(const quint32 *mixed, const int *points, const int *weights, quint32 *out, int left,
                int right)
{
    int x = left;
#if defined(__SSE2__)
    // Up to a 16-byte boundary one by one, then four at a time, stored
    // past the caches: a picture this large is not read again soon.
    for (; x < right && (reinterpret_cast<quintptr>(out + x) & 15) != 0; ++x) {
        const quint32 w = quint32(weights[x]);
        out[x] = mix(mixed[points[x]], 256 - w, mixed[points[x] + 1], w);
    }
    const __m128i zero = _mm_setzero_si128();
    const __m128i full = _mm_set1_epi16(256);
    for (; x + 4 <= right; x += 4) {
        const int *p = points + x;
        const __m128i a = _mm_setr_epi32(int(mixed[p[0]]), int(mixed[p[1]]), int(mixed[p[2]]),
                                         int(mixed[p[3]]));
        const __m128i b = _mm_setr_epi32(int(mixed[p[0] + 1]), int(mixed[p[1] + 1]),
                                         int(mixed[p[2] + 1]), int(mixed[p[3] + 1]));
        const int *w = weights + x;
        const __m128i wLow = _mm_setr_epi16(short(w[0]), short(w[0]), short(w[0]), short(w[0]),
                                            short(w[1]), short(w[1]), short(w[1]), short(w[1]));
        const __m128i wHigh = _mm_setr_epi16(short(w[2]), short(w[2]), short(w[2]), short(w[2]),
                                             short(w[3]), short(w[3]), short(w[3]), short(w[3]));
        const __m128i low
                = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(a, zero),
                                                               _mm_sub_epi16(full, wLow)),
                                               _mm_mullo_epi16(_mm_unpacklo_epi8(b, zero), wLow)),
                                 8);
        const __m128i high
                = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(a, zero),
                                                               _mm_sub_epi16(full, wHigh)),
                                               _mm_mullo_epi16(_mm_unpackhi_epi8(b, zero), wHigh)),
                                 8);
        _mm_stream_si128(reinterpret_cast<__m128i *>(out + x), _mm_packus_epi16(low, high));
    }
#endif
    for (; x < right; ++x) {
        const quint32 w = quint32(weights[x]);
        out[x] = mix(mixed[points[x]], 256 - w, mixed[points[x] + 1], w);
    }
}

// The vertical step of an enlargement: source columns first .. last of
// the rows top and top + 1 mixed with `weight`.
void mixRows(const quint32 *top, const quint32 *bottom, quint32 weight, quint32 *mixed, int first,
             int last)
{
    int c = first;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    const __m128i wb = _mm_set1_epi16(short(weight));
    const __m128i wa = _mm_set1_epi16(short(256 - weight));
    for (; c + 4 <= last + 1; c += 4) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(top + c));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bottom + c));
        const __m128i low
                = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(a, zero), wa),
                                               _mm_mullo_epi16(_mm_unpacklo_epi8(b, zero), wb)),
                                 8);
        const __m128i high
                = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(a, zero), wa),
                                               _mm_mullo_epi16(_mm_unpackhi_epi8(b, zero), wb)),
                                 8);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(mixed + c), _mm_packus_epi16(low, high));
    }
#endif
    for (; c <= last; ++c)
        mixed[c] = mix(top[c], 256 - weight, bottom[c], weight);
}

} // namespace

SmoothScale::Axis::Axis(int source, int target)
    : up(target >= source)
    , points(size_t(target))
    , weights(size_t(target))
    , firstRead(size_t(target))
    , lastRead(size_t(target))
{
    const qint64 step = (qint64(source) << 16) / target;
    qint64 position = up ? qint64(0x8000 * source / target - 0x8000) : 0;
    const int share = ((target << 14) + source - 1) / source;
    for (int i = 0; i < target; ++i, position += step) {
        points[size_t(i)] = int(std::max<qint64>(0, position >> 16));
        if (up) {
            const qint64 whole = position >> 16;
            weights[size_t(i)] = whole < 0 || whole >= source - 1 ? 0 : int((position >> 8) & 0xff);
        } else {
            const int first = int(((0x10000 - (position & 0xffff)) * share) >> 16);
            weights[size_t(i)] = first | (share << 16);
        }
        int extra = 0;
        if (up) {
            extra = weights[size_t(i)] > 0 ? 1 : 0;
        } else {
            const int each = weights[size_t(i)] >> 16;
            for (int left = (1 << 14) - (weights[size_t(i)] & 0xffff); left > each; left -= each)
                ++extra;
            ++extra;
        }
        firstRead[size_t(i)] = points[size_t(i)];
        lastRead[size_t(i)] = points[size_t(i)] + extra;
    }
    lastReadSoFar = lastRead;
    for (size_t i = 1; i < lastReadSoFar.size(); ++i)
        lastReadSoFar[i] = std::max(lastReadSoFar[i], lastReadSoFar[i - 1]);
    firstReadFromHere = firstRead;
    for (size_t i = firstReadFromHere.size(); i-- > 1;)
        firstReadFromHere[i - 1] = std::min(firstReadFromHere[i - 1], firstReadFromHere[i]);
}

bool SmoothScale::handles(QSize from, QSize to)
{
    const auto within = [](QSize size) {
        return size.width() >= 1 && size.height() >= 1 && size.width() <= LargestSide
                && size.height() <= LargestSide;
    };
    if (!within(from) || !within(to))
        return false;
    // Every pixel read lies in the picture.
    const Axis x(from.width(), to.width());
    const Axis y(from.height(), to.height());
    return x.lastReadSoFar.back() < from.width() && y.lastReadSoFar.back() < from.height();
}

SmoothScale::SmoothScale(QSize from, QSize to)
    : m_from(from)
    , m_to(to)
    , m_x(from.width(), to.width())
    , m_y(from.height(), to.height())
{
}

std::pair<int, int> SmoothScale::columnsReading(int a, int b) const
{
    const auto first = std::lower_bound(m_x.lastReadSoFar.begin(), m_x.lastReadSoFar.end(), a);
    const auto end
            = std::upper_bound(m_x.firstReadFromHere.begin(), m_x.firstReadFromHere.end(), b);
    const int left = int(first - m_x.lastReadSoFar.begin());
    const int right = int(end - m_x.firstReadFromHere.begin());
    return left < right ? std::make_pair(left, right) : std::make_pair(0, 0);
}

void SmoothScale::scale(const QImage &source, QImage &target) const
{
    const int width = m_to.width();
    scale(source, target, [width](int, Spans &spans) { spans.assign(1, {0, width}); });
}

void SmoothScale::scale(const QImage &source, QImage &target, const SpansOfRow &spansOf) const
{
    Q_ASSERT(source.size() == m_from && target.size() == m_to);
    Q_ASSERT(source.format() == target.format() && source.depth() == 32);
    const Plane in {const_cast<quint32 *>(reinterpret_cast<const quint32 *>(source.constBits())),
                    source.bytesPerLine() / 4};
    const Plane out {reinterpret_cast<quint32 *>(target.bits()), target.bytesPerLine() / 4};
    const bool opaque = !source.hasAlphaChannel();
    // Bands of about 64 thousand pixels.
    const int grain = std::max(1, (1 << 16) / m_to.width());
    parallelBands(m_to.height(), grain, [&](int first, int end) {
        if (m_x.up && m_y.up)
            enlarge(in, out, first, end, spansOf);
        else
            reduce(in, out, opaque, first, end, spansOf);
    });
}

// Both sides grow: each span of a row is mixed vertically once, over the
// source columns it needs, and then horizontally.
void SmoothScale::enlarge(const Plane &in, const Plane &out, int first, int end,
                          const SpansOfRow &spansOf) const
{
    std::vector<quint32> mixed(size_t(m_from.width()) + 1, 0);
    Spans spans;
    for (int y = first; y < end; ++y) {
        spansOf(y, spans);
        const quint32 *top = in.line(m_y.points[size_t(y)]);
        const int weight = m_y.weights[size_t(y)];
        for (const auto &[left, right] : spans) {
            const int c0 = m_x.firstRead[size_t(left)];
            const int c1 = m_x.lastRead[size_t(right - 1)];
            if (weight > 0)
                mixRows(top, top + in.stride, quint32(weight), mixed.data(), c0, c1);
            else
                std::copy(top + c0, top + c1 + 1, mixed.begin() + c0);
            enlargeRow(mixed.data(), m_x.points.data(), m_x.weights.data(), out.line(y), left,
                       right);
        }
    }
#if defined(__SSE2__)
    // The streamed stores are seen before the band is reported done.
    _mm_sfence();
#endif
}

// A side shrinks: Qt's sums over runs of source pixels, pixel by pixel.
void SmoothScale::reduce(const Plane &in, const Plane &out, bool opaque, int first, int end,
                         const SpansOfRow &spansOf) const
{
    const quint32 alpha = opaque ? 0xff000000u : 0u;
    Spans spans;
    for (int y = first; y < end; ++y) {
        spansOf(y, spans);
        const int yWeight = m_y.weights[size_t(y)];
        const quint32 *row = in.line(m_y.points[size_t(y)]);
        quint32 *line = out.line(y);
        for (const auto &[left, right] : spans) {
            for (int x = left; x < right; ++x) {
                const quint32 *pixel = row + m_x.points[size_t(x)];
                const int xWeight = m_x.weights[size_t(x)];
                line[x] = reducePixel(pixel, in.stride, xWeight, yWeight) | alpha;
            }
        }
    }
}

quint32 SmoothScale::reducePixel(const quint32 *pixel, qsizetype stride, int xWeight,
                                 int yWeight) const
{
    quint32 sum[4];
    if (m_x.up) {
        // Down vertically, then the two columns mixed.
        sumRun(pixel, yWeight & 0xffff, yWeight >> 16, stride, sum);
        if (xWeight > 0) {
            quint32 right[4];
            sumRun(pixel + 1, yWeight & 0xffff, yWeight >> 16, stride, right);
            for (int c = 0; c < 4; ++c)
                sum[c] = (sum[c] * quint32(256 - xWeight) + right[c] * quint32(xWeight)) >> 8;
        }
        return pack(sum, 14);
    }
    if (m_y.up) {
        sumRun(pixel, xWeight & 0xffff, xWeight >> 16, 1, sum);
        if (yWeight > 0) {
            quint32 below[4];
            sumRun(pixel + stride, xWeight & 0xffff, xWeight >> 16, 1, below);
            for (int c = 0; c < 4; ++c)
                sum[c] = (sum[c] * quint32(256 - yWeight) + below[c] * quint32(yWeight)) >> 8;
        }
        return pack(sum, 14);
    }
    // Down both ways: runs of rows of runs of columns.
    const int firstShare = yWeight & 0xffff;
    const int each = yWeight >> 16;
    quint32 run[4];
    sumRun(pixel, xWeight & 0xffff, xWeight >> 16, 1, run);
    for (int c = 0; c < 4; ++c)
        sum[c] = (run[c] >> 4) * quint32(firstShare);
    int left = (1 << 14) - firstShare;
    for (; left > each; left -= each) {
        pixel += stride;
        sumRun(pixel, xWeight & 0xffff, xWeight >> 16, 1, run);
        for (int c = 0; c < 4; ++c)
            sum[c] += (run[c] >> 4) * quint32(each);
    }
    pixel += stride;
    sumRun(pixel, xWeight & 0xffff, xWeight >> 16, 1, run);
    for (int c = 0; c < 4; ++c)
        sum[c] += (run[c] >> 4) * quint32(left);
    return pack(sum, 24);
}

ScaleToWidth::ScaleToWidth(QSize from, int width)
{
    const qreal factor = qreal(width) / from.width();
    matrix = QImage::trueMatrix(QTransform::fromScale(factor, factor), from.width(), from.height());
    size = identity() ? from
                      : QSize(qRound(qAbs(matrix.m11()) * from.width()),
                              qRound(qAbs(matrix.m22()) * from.height()));
    // Qt gives a null picture then.
    if (size.isEmpty())
        size = QSize(0, 0);
}

SmoothScalePath smoothScalePath(QImage::Format format, QSize from, QSize to)
{
    if (format != QImage::Format_ARGB32)
        return SmoothScalePath::Scaler;
    const bool shrinksMuch = to.height() * 2 < from.height() || to.width() * 2 < from.width();
    const bool large = qint64(from.width()) * from.height() >= (1 << 20);
    return shrinksMuch || large ? SmoothScalePath::ScalerUnpremultiplied : SmoothScalePath::Painter;
}

void paintTransformedRows(const QImage &source, QImage &target, const QTransform &matrix, int first,
                          int end)
{
    if (first >= end)
        return;
    uchar *bits = target.bits();
    const qsizetype stride = target.bytesPerLine();
    std::fill(bits + stride * first, bits + stride * end, uchar(0));
    QPainter painter(&target);
    painter.setClipRect(QRect(0, first, target.width(), end - first));
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setTransform(matrix);
    painter.drawImage(QPoint(0, 0), source);
}
