// The outlines of label maps: exact along the pixels' sides, and within the
// tolerance when simplified, on maps of every awkward kind.

#include "boundaries.h"
#include "parallel.h"
#include "regions.h"
#include "testsupport.h"
#include "trace.h"
#include "tracesupport.h"

#include <QtTest>

#include <cmath>

using namespace tracesupport;

Q_DECLARE_METATYPE(LabelMap)

namespace {

// No label of the maps has this colour.
constexpr QRgb Background = 0xFFFF00FF;

void addMaps()
{
    QTest::addColumn<LabelMap>("map");
    for (const auto &[name, map] : awkwardMaps())
        QTest::newRow(qPrintable(name)) << map;
}

} // namespace

class TestTrace : public QObject
{
    Q_OBJECT

private slots:
    void exactOutlinesDrawTheLabels_data() { addMaps(); }
    void exactOutlinesDrawTheLabels();
    void everyChainServesBothSides_data() { addMaps(); }
    void everyChainServesBothSides();
    void simplifiedOutlinesLeaveNoGap_data() { addMaps(); }
    void simplifiedOutlinesLeaveNoGap();
    void checkerboardRegions();
    void diagonalTouchesStayApart();
    void specksJoinTheirMainNeighbour();
    void sameResultOnAnyThreads();
    void photographs();
};

void TestTrace::exactOutlinesDrawTheLabels()
{
    QFETCH(LabelMap, map);
    TraceSettings settings;
    settings.simplify = false;
    const Tracing tracing = traceLabels(map, settings);
    QCOMPARE(firstWrongPixel(drawTracing(tracing, Background), map), QString());
}

void TestTrace::everyChainServesBothSides()
{
    QFETCH(LabelMap, map);
    for (const bool simplify : {false, true}) {
        TraceSettings settings;
        settings.simplify = simplify;
        const Tracing tracing = traceLabels(map, settings);
        QCOMPARE(firstLoopProblem(tracing), QString());
        // Both regions read the same points: one forward, one backward.
        for (size_t c = 0; c < tracing.chains.size(); ++c) {
            const Chain &chain = tracing.chains[c];
            if (chain.left < 0 || chain.right < 0)
                continue;
            const std::vector<TracePoint> forward(tracing.points.begin() + chain.first,
                                                  tracing.points.begin() + chain.first
                                                          + chain.count);
            auto contains = [&](int region, bool reversed) {
                std::vector<TracePoint> wanted = forward;
                if (reversed)
                    std::reverse(wanted.begin(), wanted.end());
                for (qint32 l = tracing.regionLoopStart[size_t(region)];
                     l < tracing.regionLoopStart[size_t(region) + 1]; ++l) {
                    std::vector<TracePoint> loop = tracing.loopPoints(l);
                    const size_t n = loop.size();
                    for (size_t s = 0; s < n; ++s) {
                        size_t k = 0;
                        while (k < wanted.size() && loop[(s + k) % n] == wanted[k])
                            ++k;
                        if (k == wanted.size())
                            return true;
                    }
                }
                return false;
            };
            QVERIFY2(contains(chain.left, false), qPrintable(QString::number(c)));
            QVERIFY2(contains(chain.right, true), qPrintable(QString::number(c)));
        }
    }
}

void TestTrace::simplifiedOutlinesLeaveNoGap()
{
    QFETCH(LabelMap, map);
    const Regions regions = findRegions(map);
    for (const double tolerance : {0.5, 1.0}) {
        TraceSettings settings;
        settings.tolerance = tolerance;
        const Tracing tracing = traceLabels(map, settings);
        QCOMPARE(tracing.regionCount(), regions.count());
        const QImage drawn = drawTracing(tracing, Background);
        for (int y = 0; y < map.height; ++y) {
            for (int x = 0; x < map.width; ++x) {
                const QRgb got = drawn.pixel(x, y);
                QVERIFY2(got != Background,
                         qPrintable(QStringLiteral("gap at (%1, %2)").arg(x).arg(y)));
                if ((got & 0xFFFFFFu) != map.at(x, y))
                    QVERIFY2(distanceToBoundary(regions, x, y, 2) <= tolerance,
                             qPrintable(QStringLiteral("(%1, %2) moved").arg(x).arg(y)));
            }
        }
    }
}

void TestTrace::checkerboardRegions()
{
    const Tracing tracing = findBoundaries(findRegions(checkerboard(4, 4, 1)));
    // Every square is a region of its own, with one loop of four corners.
    QCOMPARE(tracing.regionCount(), 16);
    for (int r = 0; r < 16; ++r) {
        QCOMPARE(tracing.regionLoopStart[size_t(r) + 1] - tracing.regionLoopStart[size_t(r)], 1);
        QCOMPARE(tracing.loopPoints(tracing.regionLoopStart[size_t(r)]).size(), size_t(4));
    }
    // The outer loop of the square at (1, 1) starts at its top right corner
    // and runs counter-clockwise on the screen.
    const std::vector<TracePoint> loop = tracing.loopPoints(tracing.regionLoopStart[5]);
    QCOMPARE(tracing.regionArea[5], qint64(1));
    std::vector<TracePoint> corners = loop;
    std::sort(corners.begin(), corners.end(), [](TracePoint a, TracePoint b) {
        return std::make_pair(a.y, a.x) < std::make_pair(b.y, b.x);
    });
    QCOMPARE(corners[0], (TracePoint {1, 1}));
    QCOMPARE(corners[3], (TracePoint {2, 2}));
}

void TestTrace::diagonalTouchesStayApart()
{
    // Two dark pixels touching at a corner, on white: three regions.
    LabelMap map = filledMap(2, 2, 0xFFFFFF);
    map.labels[0] = 0;
    map.labels[3] = 0;
    const Regions regions = findRegions(map);
    QCOMPARE(regions.count(), 4);
    const Tracing tracing = findBoundaries(regions);
    // The corner (1, 1) is a node where four chains meet.
    int atCentre = 0;
    for (const Chain &chain : tracing.chains) {
        const TracePoint a = tracing.points[size_t(chain.first)];
        const TracePoint b = tracing.points[size_t(chain.first + chain.count - 1)];
        atCentre += (a == TracePoint {1, 1}) + (b == TracePoint {1, 1});
    }
    QCOMPARE(atCentre, 4);
    for (int r = 0; r < 4; ++r)
        QCOMPARE(tracing.loopPoints(tracing.regionLoopStart[size_t(r)]).size(), size_t(4));
}

void TestTrace::specksJoinTheirMainNeighbour()
{
    // A one-pixel speck on the border of two regions joins the one it
    // shares three sides with.
    LabelMap map = filledMap(6, 3, 0x0000FF);
    for (int y = 0; y < 3; ++y)
        for (int x = 3; x < 6; ++x)
            map.labels[size_t(y) * 6 + size_t(x)] = 0x00FF00;
    map.labels[1 * 6 + 2] = 0xFF0000;
    const LabelMap kept = mergeSpecks(map, 0);
    QCOMPARE(kept.labels, map.labels);
    const LabelMap merged = mergeSpecks(map, 2);
    QCOMPARE(merged.at(2, 1), quint32(0x0000FF));
    QCOMPARE(findRegions(merged).count(), 2);
    // A region as large as the limit stays.
    QCOMPARE(findRegions(mergeSpecks(map, 1)).count(), 3);
}

void TestTrace::sameResultOnAnyThreads()
{
    const LabelMap map = blobMap(300, 200, 5, 7);
    Tracing first;
    for (const int threads : {1, 2, 3, 8}) {
        const ThreadBudget budget(threads);
        TraceSettings settings;
        settings.minArea = 4;
        const Tracing tracing = traceLabels(map, settings);
        if (threads == 1) {
            first = tracing;
            continue;
        }
        QVERIFY(tracing.points == first.points);
        QCOMPARE(tracing.rounded, first.rounded);
        QCOMPARE(tracing.halves, first.halves);
        QCOMPARE(tracing.loopStart, first.loopStart);
        QCOMPARE(tracing.regionLabel, first.regionLabel);
    }
}

void TestTrace::photographs()
{
    const QString path = testsupport::photo("evening-glow-2560x1600.jpg");
    if (path.isEmpty())
        QSKIP("the photographs are not beside the repository");
    const QImage picture = QImage(path).scaledToWidth(400).convertToFormat(QImage::Format_RGB32);
    // A posterised photograph: few colours, ragged regions.
    QImage poster = picture;
    for (int y = 0; y < poster.height(); ++y) {
        QRgb *row = reinterpret_cast<QRgb *>(poster.scanLine(y));
        for (int x = 0; x < poster.width(); ++x)
            row[x] = row[x] & 0xFFC0C0C0u;
    }
    const LabelMap map = colourLabels(poster);
    TraceSettings settings;
    settings.simplify = false;
    QCOMPARE(firstWrongPixel(drawTracing(traceLabels(map, settings), Background), map), QString());
    settings.simplify = true;
    const QImage drawn = drawTracing(traceLabels(map, settings), Background);
    for (int y = 0; y < drawn.height(); ++y)
        for (int x = 0; x < drawn.width(); ++x)
            QVERIFY(drawn.pixel(x, y) != Background);
}

QTEST_APPLESS_MAIN(TestTrace)
#include "tst_trace.moc"
