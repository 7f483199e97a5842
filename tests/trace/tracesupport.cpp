#include "tracesupport.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <random>

namespace tracesupport {

namespace {

constexpr quint32 Palette[] = {0x102030, 0xF0E0D0, 0x20A040, 0xC03020, 0x2040C0,
                               0xE0C010, 0x808080, 0x000000, 0xFFFFFF, 0x60B0F0};

LabelMap blank(int width, int height)
{
    LabelMap map;
    map.width = width;
    map.height = height;
    map.labels.assign(size_t(width) * size_t(height), Palette[0]);
    return map;
}

} // namespace

LabelMap checkerboard(int width, int height, int square)
{
    LabelMap map = blank(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            map.labels[size_t(y) * size_t(width) + size_t(x)]
                    = Palette[(x / square + y / square) % 2];
    return map;
}

LabelMap diagonal(int size)
{
    LabelMap map = blank(size, size);
    for (int i = 0; i < size; ++i) {
        map.labels[size_t(i) * size_t(size) + size_t(i)] = Palette[1];
        map.labels[size_t(i) * size_t(size) + size_t(size - 1 - i)] = Palette[2];
    }
    return map;
}

LabelMap nestedRings(int depth)
{
    const int size = 4 * depth + 1;
    LabelMap map = blank(size, size);
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const int ring = std::min(std::min(x, y), std::min(size - 1 - x, size - 1 - y)) / 2;
            map.labels[size_t(y) * size_t(size) + size_t(x)] = Palette[ring % 3];
        }
    }
    return map;
}

LabelMap randomMap(int width, int height, int labels, quint32 seed)
{
    LabelMap map = blank(width, height);
    std::mt19937 random(seed);
    for (quint32 &label : map.labels)
        label = Palette[random() % quint32(labels)];
    return map;
}

LabelMap blobMap(int width, int height, int labels, quint32 seed)
{
    LabelMap map = blank(width, height);
    std::mt19937 random(seed);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const size_t i = size_t(y) * size_t(width) + size_t(x);
            const quint32 roll = random() % 8;
            if (roll < 3 && x > 0)
                map.labels[i] = map.labels[i - 1];
            else if (roll < 6 && y > 0)
                map.labels[i] = map.labels[i - size_t(width)];
            else
                map.labels[i] = Palette[random() % quint32(labels)];
        }
    }
    return map;
}

LabelMap filledMap(int width, int height, quint32 label)
{
    LabelMap map = blank(width, height);
    std::fill(map.labels.begin(), map.labels.end(), label);
    return map;
}

LabelMap fromPicture(const QImage &picture)
{
    return colourLabels(picture);
}

std::vector<std::pair<QString, LabelMap>> awkwardMaps()
{
    std::vector<std::pair<QString, LabelMap>> maps;
    maps.emplace_back("1x1", filledMap(1, 1, 0x123456));
    maps.emplace_back("1x9", randomMap(1, 9, 2, 1));
    maps.emplace_back("9x1", randomMap(9, 1, 2, 2));
    maps.emplace_back("one region", filledMap(13, 7, 0x00FF00));
    maps.emplace_back("checkerboard", checkerboard(8, 8, 1));
    maps.emplace_back("checkerboard 5x3", checkerboard(5, 3, 1));
    maps.emplace_back("squares", checkerboard(20, 12, 3));
    maps.emplace_back("diagonals", diagonal(9));
    maps.emplace_back("islands in islands", nestedRings(5));
    maps.emplace_back("one-pixel regions", randomMap(17, 11, 9, 3));
    for (quint32 seed = 10; seed < 20; ++seed)
        maps.emplace_back(QStringLiteral("random %1").arg(seed),
                          randomMap(1 + int(seed % 7) * 5, 1 + int(seed % 5) * 7, 3, seed));
    for (quint32 seed = 20; seed < 26; ++seed)
        maps.emplace_back(QStringLiteral("blobs %1").arg(seed),
                          blobMap(40 + int(seed), 30, 4, seed));
    return maps;
}

QImage drawTracing(const Tracing &tracing, QRgb background)
{
    QImage image(tracing.width, tracing.height, QImage::Format_RGB32);
    image.fill(background);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(Qt::NoPen);
    for (int r = 0; r < tracing.regionCount(); ++r) {
        QPainterPath path;
        path.setFillRule(Qt::WindingFill);
        for (qint32 l = tracing.regionLoopStart[size_t(r)];
             l < tracing.regionLoopStart[size_t(r) + 1]; ++l) {
            std::vector<unsigned char> rounded;
            const std::vector<TracePoint> points = tracing.loopPoints(l, &rounded);
            const size_t n = points.size();
            auto middle = [&](size_t i, size_t j) {
                return QPointF((points[i].x + points[j].x) / 2.0,
                               (points[i].y + points[j].y) / 2.0);
            };
            path.moveTo(points[0].x, points[0].y);
            for (size_t i = 1; i <= n; ++i) {
                const size_t at = i % n;
                if (rounded[at]) {
                    // Flattened the same way whichever way the loop runs,
                    // so that both regions beside it get the same polygon.
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
                        piece << QPointF(
                                u * u * from.x() + 2 * t * u * points[at].x + t * t * to.x(),
                                u * u * from.y() + 2 * t * u * points[at].y + t * t * to.y());
                    }
                    if (swapped)
                        std::reverse(piece.begin(), piece.end());
                    for (const QPointF &q : piece)
                        path.lineTo(q);
                } else {
                    path.lineTo(points[at].x, points[at].y);
                }
            }
            path.closeSubpath();
        }
        painter.fillPath(path, QColor::fromRgb(0xFF000000u | tracing.regionLabel[size_t(r)]));
    }
    return image;
}

// The distance from the centre of pixel (x, y) to the nearest side between
// two pixels of different regions, or the picture's edge.
double distanceToBoundary(const Regions &regions, int x, int y, int reach)
{
    double best = 1e9;
    const double cx = x + 0.5;
    const double cy = y + 0.5;
    auto region = [&](int px, int py) {
        return px < 0 || py < 0 || px >= regions.width || py >= regions.height ? -1
                                                                               : regions.at(px, py);
    };
    auto segment = [&](double ax, double ay, double bx, double by) {
        const double dx = bx - ax;
        const double dy = by - ay;
        const double t
                = std::clamp(((cx - ax) * dx + (cy - ay) * dy) / (dx * dx + dy * dy), 0.0, 1.0);
        best = std::min(best, std::hypot(cx - ax - t * dx, cy - ay - t * dy));
    };
    for (int py = y - reach; py <= y + reach; ++py) {
        for (int px = x - reach; px <= x + reach; ++px) {
            if (region(px, py) != region(px + 1, py))
                segment(px + 1, py, px + 1, py + 1);
            if (region(px, py) != region(px, py + 1))
                segment(px, py + 1, px + 1, py + 1);
        }
    }
    return best;
}

QImage pictureOf(const LabelMap &map)
{
    QImage image(map.width, map.height, QImage::Format_RGB32);
    for (int y = 0; y < map.height; ++y)
        for (int x = 0; x < map.width; ++x)
            image.setPixel(x, y, 0xFF000000u | map.at(x, y));
    return image;
}

QString firstWrongPixel(const QImage &drawn, const LabelMap &map)
{
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) {
            const quint32 got = drawn.pixel(x, y) & 0xFFFFFFu;
            if (got != map.at(x, y))
                return QStringLiteral("(%1, %2) is #%3, its label #%4")
                        .arg(x)
                        .arg(y)
                        .arg(got, 6, 16, QLatin1Char('0'))
                        .arg(map.at(x, y), 6, 16, QLatin1Char('0'));
        }
    }
    return {};
}

QString firstLoopProblem(const Tracing &tracing)
{
    std::vector<int> uses(tracing.chains.size() * 2, 0);
    for (int r = 0; r < tracing.regionCount(); ++r) {
        for (qint32 l = tracing.regionLoopStart[size_t(r)];
             l < tracing.regionLoopStart[size_t(r) + 1]; ++l) {
            const qint32 first = tracing.loopStart[size_t(l)];
            const qint32 end = tracing.loopStart[size_t(l) + 1];
            for (qint32 k = first; k < end; ++k) {
                const qint32 half = tracing.halves[size_t(k)];
                const Chain &chain = tracing.chains[size_t(half / 2)];
                if ((half % 2 == 0 ? chain.left : chain.right) != r)
                    return QStringLiteral("loop %1 of region %2 runs along chain %3 with another "
                                          "region on its left")
                            .arg(l)
                            .arg(r)
                            .arg(half / 2);
                ++uses[size_t(half)];
                const qint32 nextHalf = tracing.halves[size_t(k + 1 < end ? k + 1 : first)];
                const Chain &next = tracing.chains[size_t(nextHalf / 2)];
                const TracePoint finish = tracing.points[size_t(
                        half % 2 == 0 ? chain.first + chain.count - 1 : chain.first)];
                const TracePoint start = tracing.points[size_t(
                        nextHalf % 2 == 0 ? next.first : next.first + next.count - 1)];
                if (finish != start)
                    return QStringLiteral("loop %1 breaks after chain %2").arg(l).arg(half / 2);
            }
        }
    }
    for (size_t h = 0; h < uses.size(); ++h) {
        const Chain &chain = tracing.chains[h / 2];
        const int expected = (h % 2 == 0 ? chain.left : chain.right) >= 0 ? 1 : 0;
        if (uses[h] != expected)
            return QStringLiteral("half %1 is used %2 times").arg(h).arg(uses[h]);
    }
    return {};
}

} // namespace tracesupport
