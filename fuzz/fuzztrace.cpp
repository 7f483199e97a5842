// The fuzz target of the tracing: any bytes as a small label map, traced
// along the pixels and fitted, with the properties the tests check on
// generated maps checked here on every input.

#include "fuzztargets.h"

#include "drawingtrace.h"
#include "labelmap.h"
#include "regions.h"
#include "svgdocument.h"
#include "trace.h"

#include <QPainter>
#include <QPainterPath>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr QRgb Background = 0xFFFF00FF;

[[noreturn]] void fail(const char *what, int x, int y)
{
    std::fprintf(stderr, "fuzz_trace: %s at (%d, %d)\n", what, x, y);
    std::abort();
}

// The regions drawn without anti-aliasing, each curve flattened the same
// way whichever way its loop runs.
QImage draw(const Tracing &tracing)
{
    QImage image(tracing.width, tracing.height, QImage::Format_RGB32);
    image.fill(Background);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, false);
    for (int r = 0; r < tracing.regionCount(); ++r) {
        QPainterPath path;
        for (qint32 l = tracing.regionLoopStart[size_t(r)];
             l < tracing.regionLoopStart[size_t(r) + 1]; ++l) {
            std::vector<unsigned char> rounded;
            const std::vector<TracePoint> p = tracing.loopPoints(l, &rounded);
            const size_t n = p.size();
            auto middle = [&](size_t i, size_t j) {
                return QPointF((p[i].x + p[j].x) / 2.0, (p[i].y + p[j].y) / 2.0);
            };
            path.moveTo(p[0].x, p[0].y);
            for (size_t i = 1; i <= n; ++i) {
                const size_t at = i % n;
                if (!rounded[at]) {
                    path.lineTo(p[at].x, p[at].y);
                    continue;
                }
                QPointF from = middle(i - 1, at);
                QPointF to = middle(at, (at + 1) % n);
                const bool swapped
                        = std::make_pair(from.x(), from.y()) > std::make_pair(to.x(), to.y());
                if (swapped)
                    std::swap(from, to);
                QPolygonF piece;
                for (int k = 0; k <= 16; ++k) {
                    const double t = k / 16.0;
                    const double u = 1 - t;
                    piece << QPointF(u * u * from.x() + 2 * t * u * p[at].x + t * t * to.x(),
                                     u * u * from.y() + 2 * t * u * p[at].y + t * t * to.y());
                }
                if (swapped)
                    std::reverse(piece.begin(), piece.end());
                for (const QPointF &q : piece)
                    path.lineTo(q);
            }
            path.closeSubpath();
        }
        painter.fillPath(path, QColor::fromRgb(0xFF000000u | tracing.regionLabel[size_t(r)]));
    }
    return image;
}

} // namespace

void fuzzTrace(const uint8_t *data, size_t size)
{
    if (size < 3)
        return;
    const int width = 1 + data[0] % 24;
    const int height = 1 + data[1] % 24;
    const int labels = 1 + data[2] % 5;
    LabelMap map;
    map.width = width;
    map.height = height;
    map.labels.resize(size_t(width) * size_t(height));
    for (size_t i = 0; i < map.labels.size(); ++i) {
        const uint8_t byte = 3 + i < size ? data[3 + i] : uint8_t(i * 7);
        map.labels[i] = 0x102030u * (byte % labels) + 0x050505u;
    }
    const Regions regions = findRegions(map);
    for (const bool simplify : {false, true}) {
        TraceSettings settings;
        settings.simplify = simplify;
        const Tracing tracing = traceLabels(map, settings);
        if (tracing.regionCount() != regions.count())
            fail("the regions differ", 0, 0);
        const QImage drawn = draw(tracing);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const QRgb got = drawn.pixel(x, y);
                if (got == Background)
                    fail("a gap", x, y);
                if ((got & 0xFFFFFFu) == map.at(x, y))
                    continue;
                if (!simplify)
                    fail("a pixel of another region", x, y);
                // Within the tolerance of one pixel: a pixel of another
                // region among its eight neighbours.
                bool near = false;
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dx = -1; dx <= 1; ++dx)
                        near = near
                                || (x + dx >= 0 && y + dy >= 0 && x + dx < width && y + dy < height
                                    && regions.at(x + dx, y + dy) != regions.at(x, y));
                if (!near && x > 0 && y > 0 && x + 1 < width && y + 1 < height)
                    fail("a pixel moved further than the tolerance", x, y);
            }
        }
        VectorDrawing drawing;
        drawing.size = QSize(width, height);
        drawing.fills = tracing;
        drawing.hasFills = true;
        if (svgDocument(drawing).isEmpty())
            fail("no document", 0, 0);
    }
}
