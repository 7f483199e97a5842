#include "colour.h"
#include "coloursketch.h"
#include "reference_segment.h"
#include "segmentcompare.h"
#include "segmentor.h"
#include "testsupport.h"

#include <QLoggingCategory>
#include <QTest>

using namespace testsupport;

namespace {

QRgb throughLab(QRgb rgb)
{
    int L, a, b;
    rgbtolab(rgb, &L, &a, &b);
    return lab2rgb(L, a, b);
}

// A row of pixels, left to right.
QImage row(const std::vector<QRgb> &colours)
{
    QImage image(int(colours.size()), 1, QImage::Format_RGB32);
    for (size_t x = 0; x < colours.size(); ++x)
        image.setPixel(int(x), 0, colours[x]);
    return image;
}

std::vector<int> keysOf(const CSegmentor &segmentor, int c)
{
    std::vector<int> keys;
    for (const auto &entry : segmentor.neighbours(c))
        keys.push_back(entry.first);
    return keys;
}

} // namespace

class TestSegment : public QObject
{
    Q_OBJECT

private slots:
    // Queue
    void handleEncoding();
    void handleSelfCheckLine();
    void takeOrder();
    void updateWithTheSameLikenessKeepsTheHandle();
    void updateLeavesANullBehind();
    void takeDiscardsNullOnlyBuckets();
    void priority999ComesLast();
    // Clusters
    void newClusters();
    void colourDistances();
    void rgbdiffOfPixels();
    void thresholdZeroMakesEveryClusterFull();
    void fullOnlyAboveTheThreshold();
    void newNeighbourOverwrites();
    void notifyWithItselfRefreshesDistances();
    void messagesToDeletedClustersAreDropped();
    void eatAndEatAll();
    void operationsMatchLiteral();
    // Segmenter and command
    void oneColourNeverReachesALevel();
    void brushstrokeZero();
    void equalCountsKeepTheEatersColour();
    void largerPartsColourWins();
    void onePixelPicture();
    void emptyPicture();
    void atMostLimitLevels();
    void sizeReduction();
    void largePictureShownAtItsWidth();
    void commandProgress();
    void noLevelMeansNoPicture();
};

// ---- Queue ----

void TestSegment::handleEncoding()
{
    const qint64 h = index2handle(10, 60);
    QCOMPARE(h, Q_INT64_C(2814749767106620));
    QCOMPARE(handle2priority(quint64(h)), 10);
    QCOMPARE(handle2index(quint64(h)), 60);
    QCOMPARE(handle2priority(quint64(index2handle(999, 123456))), 999);
}

void TestSegment::handleSelfCheckLine()
{
    const QStringList lines = debugLinesOf("kestrova.segment", [] {
        CSegmentor segmentor(row({0xFF000000u, 0xFF0000FFu}), 70);
        segmentor.Next(500);
    });
    QCOMPARE(lines.value(0), QString("handle prior ind, should be 10 60  2814749767106620 10 60"));
    QVERIFY(lines.value(1).startsWith("sizeof cluster is "));
    QCOMPARE(lines.value(2), QString("Clusters created"));
    QCOMPARE(lines.value(3), QString("Next started prevval is  0"));
    QVERIFY(lines.contains(QString("new val is  %1").arg(labdiff(0xFF000000u, 0xFF0000FFu))));
}

void TestSegment::takeOrder()
{
    CPriorQueue2 queue;
    const int A = 1, B = 2, C = 3;
    queue.Register(A, 3);
    queue.Register(B, 3);
    queue.Register(C, 7);
    QCOMPARE(queue.Clusters(), (std::vector<int> {A, B, C}));
    QCOMPARE(queue.get(), A);
    QCOMPARE(queue.take(), B);
    QCOMPARE(queue.take(), A);
    QCOMPARE(queue.take(), C);
    QCOMPARE(queue.take(), CPriorQueue2::None);
    QCOMPARE(queue.get(), CPriorQueue2::None);
}

void TestSegment::updateWithTheSameLikenessKeepsTheHandle()
{
    CPriorQueue2 queue;
    queue.Register(5, 4);
    const qint64 h = queue.Register(6, 4);
    QCOMPARE(h, index2handle(4, 1));
    QCOMPARE(queue.Update(h, 4), h);
    QCOMPARE(queue.bucket(4), (std::vector<int> {5, 6}));
}

void TestSegment::updateLeavesANullBehind()
{
    CPriorQueue2 queue;
    const qint64 h = queue.Register(5, 4);
    queue.Register(6, 4);
    const qint64 moved = queue.Update(h, 2);
    QCOMPARE(moved, index2handle(2, 0));
    QCOMPARE(queue.bucket(4), (std::vector<int> {CPriorQueue2::None, 6}));
    QCOMPARE(queue.at(moved), 5);
    QCOMPARE(queue.Clusters(), (std::vector<int> {5, 6}));
    queue.Remove(moved);
    QCOMPARE(queue.Clusters(), (std::vector<int> {6}));
}

void TestSegment::takeDiscardsNullOnlyBuckets()
{
    CPriorQueue2 queue;
    const qint64 first = queue.Register(1, 0);
    const qint64 second = queue.Register(2, 0);
    queue.Remove(first);
    queue.Remove(second);
    QCOMPARE(queue.take(), CPriorQueue2::None);
    QVERIFY(queue.bucket(0).empty());
}

void TestSegment::priority999ComesLast()
{
    CPriorQueue2 queue;
    queue.Register(1, 999);
    queue.Register(2, 998);
    queue.Register(3, 0);
    QCOMPARE(queue.take(), 3);
    QCOMPARE(queue.take(), 2);
    QCOMPARE(queue.take(), 1);
}

// ---- Clusters ----

void TestSegment::newClusters()
{
    const QImage picture = blockyPicture(5, 4, 3);
    CSegmentor segmentor(picture, 70);
    QCOMPARE(segmentor.clusterCount(), 20);
    for (int x = 0; x < 5; ++x) {
        for (int y = 0; y < 4; ++y) {
            const int c = segmentor.clusterAt(x, y);
            QCOMPARE(c, x * 4 + y);
            QCOMPARE(segmentor.cluster(c).m_pixelCount, 1);
            QCOMPARE(segmentor.pixels(c), std::vector<QPoint> {QPoint(x, y)});
            QCOMPARE(segmentor.color(c), throughLab(picture.pixel(x, y)));
            QVERIFY(segmentor.cluster(c).handle() >= 0);
        }
    }
    // The corner has three neighbours, in creation order.
    QCOMPARE(keysOf(segmentor, 0), (std::vector<int> {1, 4, 5}));
    QCOMPARE(keysOf(segmentor, segmentor.clusterAt(2, 1)),
             (std::vector<int> {4, 5, 6, 8, 10, 12, 13, 14}));
}

void TestSegment::colourDistances()
{
    QCOMPARE(clabdiff({10, 0, 0}, {10, 0, 0}), 0);
    QCOMPARE(clabdiff({0, 3, 4}, {0, 0, 0}), 5);
    QCOMPARE(clabdiff({100, 0, 0}, {0, 0, 0}), 100);
    QCOMPARE(clabdiff({53, 80, 67}, {0, 0, 0}), 117);
    QVERIFY(Labstruct({1, 2, 3}) == Labstruct({1, 2, 3}));
    QVERIFY(Labstruct({1, 2, 3}) != Labstruct({1, 2, 4}));
    // Two clusters of one colour are 0 apart.
    CSegmentor segmentor(row({0xFF336699u, 0xFF336699u}), 5);
    QCOMPARE(segmentor.cdiff(0, 1), 0);
    QCOMPARE(segmentor.likeness(0), 0);
}

void TestSegment::rgbdiffOfPixels()
{
    QCOMPARE(rgbdiff(0xFF000000u, 0xFF030400u), 5);
    QCOMPARE(rgbdiff(0x00FFFFFFu, 0xFFFFFFFFu), 0);
    QCOMPARE(rgbdiff(0xFFFFFFFFu, 0xFF000000u), 441);
}

void TestSegment::thresholdZeroMakesEveryClusterFull()
{
    const QImage picture = blockyPicture(4, 3, 5);
    for (int size : {0, -5, 40000}) {
        CSegmentor segmentor(picture, size);
        QVERIFY(segmentor.clusterThreshold() < 1);
        for (int c = 0; c < segmentor.clusterCount(); ++c) {
            QCOMPARE(segmentor.likeness(c), 999);
            QVERIFY(segmentor.neighbours(c).empty());
        }
        QCOMPARE(int(segmentor.queue().bucket(999).size()), 12);
    }
}

void TestSegment::fullOnlyAboveTheThreshold()
{
    // Four pixels of one colour, size 2.
    CSegmentor segmentor(row({0xFF102030u, 0xFF102030u, 0xFF102030u, 0xFF102030u}), 2);
    segmentor.EatNeighbour(1, 2);
    segmentor.discard(2);
    QCOMPARE(segmentor.cluster(1).m_pixelCount, 2);
    QCOMPARE(segmentor.likeness(1), 0);
    QCOMPARE(keysOf(segmentor, 3), std::vector<int> {1});
    segmentor.EatNeighbour(1, 0);
    segmentor.discard(0);
    QCOMPARE(segmentor.cluster(1).m_pixelCount, 3);
    QCOMPARE(segmentor.likeness(1), 999);
    // It left its neighbour, which is now alone; its own list stays.
    QVERIFY(segmentor.neighbours(3).empty());
    QCOMPARE(segmentor.likeness(3), 999);
    QCOMPARE(keysOf(segmentor, 1), std::vector<int> {3});
}

void TestSegment::newNeighbourOverwrites()
{
    // Cluster 1 lists 0 and 2; after 2 takes a new colour, the message
    // "0 is now 2" leaves one entry for 2, with the fresh distance.
    CSegmentor segmentor(row({0xFF000000u, 0xFF808080u, 0xFF404040u, 0xFFFFFFFFu}), 70);
    const int before = segmentor.neighbours(1)[1].second;
    segmentor.EatNeighbour(2, 3);
    QCOMPARE(segmentor.neighbours(1)[1].second, before);
    segmentor.NewNeighbour(1, 0, 2);
    QCOMPARE(keysOf(segmentor, 1), std::vector<int> {2});
    QCOMPARE(segmentor.neighbours(1)[0].second, segmentor.cdiff(1, 2));
    QCOMPARE(segmentor.likeness(1), segmentor.cdiff(1, 2));
}

void TestSegment::notifyWithItselfRefreshesDistances()
{
    CSegmentor segmentor(row({0xFF000000u, 0xFF808080u, 0xFFFFFFFFu}), 70);
    segmentor.EatNeighbour(0, 1);
    segmentor.discard(1);
    // 0 kept its colour (equal counts); 2 holds the distance to black.
    QCOMPARE(segmentor.neighbours(2), (std::vector<std::pair<int, int>> {{0, 100}}));
    segmentor.NotifyNeighbours(0, 0);
    QCOMPARE(segmentor.neighbours(2), (std::vector<std::pair<int, int>> {{0, 100}}));
}

void TestSegment::messagesToDeletedClustersAreDropped()
{
    CSegmentor segmentor(row({0xFF000000u, 0xFF101010u, 0xFFFFFFFFu}), 70);
    segmentor.discard(0);
    // 1 still lists 0; a message from 1 to its neighbours reaches 2 only.
    const int likeness = segmentor.likeness(0);
    segmentor.NotifyNeighbours(1, 1);
    QVERIFY(segmentor.cluster(0).m_deleted);
    QVERIFY(segmentor.neighbours(0).empty());
    QCOMPARE(segmentor.likeness(0), likeness);
    QCOMPARE(keysOf(segmentor, 1), (std::vector<int> {0, 2}));
    QCOMPARE(keysOf(segmentor, 2), std::vector<int> {1});
}

void TestSegment::eatAndEatAll()
{
    // Eat: the cluster eats its nearest neighbour and hands it back.
    CSegmentor eating(row({0xFF000000u, 0xFF000000u, 0xFFFFFFFFu}), 70);
    QCOMPARE(eating.Eat(1), 0);
    QCOMPARE(eating.cluster(1).m_pixelCount, 2);
    // EatAll: runs of one colour are eaten until the likeness rises.
    CSegmentor all(row({0xFF000000u, 0xFF000000u, 0xFF000000u, 0xFFFFFFFFu}), 70);
    int passes = 0;
    all.setYield([&passes] { ++passes; });
    QCOMPARE(all.EatAll(1), false);
    QCOMPARE(all.cluster(1).m_pixelCount, 3);
    QVERIFY(all.cluster(0).m_deleted && all.cluster(2).m_deleted);
    QCOMPARE(all.likeness(1), 100);
    QCOMPARE(passes, 1);
    QCOMPARE(all.queue().Clusters(), (std::vector<int> {3, 1}));
}

// Random messages and merges on both segmenters leave the same clusters.
void TestSegment::operationsMatchLiteral()
{
    for (int round = 0; round < 40; ++round) {
        const QImage picture = blockyPicture(4 + round % 3, 3 + round % 2, quint32(round));
        const int w = picture.width(), h = picture.height();
        const int size = 1 + round % 6;
        CSegmentor fast(picture, size);
        reference::LiteralSegmentor literal(picture, size);
        auto literalOf = [&](int c) { return literal.clusterAt(c / h, c % h); };
        for (int step = 0; step < 12; ++step) {
            const int c = (round * 7 + step * 5) % (w * h);
            if (fast.cluster(c).m_deleted || fast.neighbours(c).empty())
                continue;
            const auto list = fast.neighbours(c);
            const int n = list[size_t(step) % list.size()].first;
            if (fast.cluster(n).m_deleted)
                continue;
            switch (step % 4) {
            case 0:
                fast.NotifyNeighbours(c, c);
                literalOf(c)->NotifyNeighbours(literalOf(c));
                break;
            case 1:
                fast.NewNeighbour(c, n, c == 0 ? 1 : 0);
                literalOf(c)->NewNeighbour(literalOf(n), literalOf(c == 0 ? 1 : 0));
                break;
            case 2:
                fast.NewNeighbour(c, n, n);
                literalOf(c)->NewNeighbour(literalOf(n), literalOf(n));
                break;
            default:
                fast.EatNeighbour(c, n);
                fast.discard(n);
                literalOf(c)->EatNeighbour(literalOf(n));
                literal.queue();
                break;
            }
            if (step % 4 == 3) {
                // The literal queue hands out the eaten cluster's slot too.
                reference::CPriorQueue2 &queue
                        = const_cast<reference::CPriorQueue2 &>(literal.queue());
                queue.Remove(literalOf(n)->m_handle);
                literalOf(n)->retire();
            }
            KESTROVA_COMPARE_SEGMENTORS(fast, literal, w, h);
        }
    }
}

// ---- Segmenter and command ----

void TestSegment::oneColourNeverReachesALevel()
{
    const QImage picture = filled(7, 5, 0xFF4080C0u);
    CSegmentor segmentor(picture, 1000);
    QVERIFY(!segmentor.Next(20));
    QCOMPARE(segmentor.prevval(), 0);
    // Drained to the last cluster, which had likeness 999 and went too.
    QVERIFY(segmentor.queue().Clusters().empty());
    KESTROVA_COMPARE_PICTURES(segmentor.CurrentImage(), filled(7, 5, 0xFF000002u));
}

void TestSegment::brushstrokeZero()
{
    const QImage picture = blockyPicture(6, 4, 7);
    CSegmentor segmentor(picture, 0);
    QVERIFY(!segmentor.Next(998));
    QImage expected(6, 4, QImage::Format_RGB32);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 6; ++x)
            expected.setPixel(x, y, throughLab(picture.pixel(x, y)));
    }
    // The last cluster filed, row by row, was taken and deleted.
    expected.setPixel(5, 3, 0xFF000002u);
    KESTROVA_COMPARE_PICTURES(segmentor.CurrentImage(), expected);
    QCOMPARE(segmentor.queue().Clusters().size(), size_t(23));
}

void TestSegment::equalCountsKeepTheEatersColour()
{
    CSegmentor segmentor(row({0xFFFF0000u, 0xFFFF0008u}), 70);
    QVERIFY(segmentor.Next(20));
    KESTROVA_COMPARE_PICTURES(segmentor.CurrentImage(),
                              row({throughLab(0xFFFF0000u), throughLab(0xFFFF0000u)}));
}

void TestSegment::largerPartsColourWins()
{
    // Two of one colour, then one of another: the pair merges first, then
    // the single pixel eats the pair and takes its colour.
    const QRgb a = 0xFF20A040u, b = 0xFF28A040u;
    CSegmentor segmentor(row({a, a, b}), 70);
    QVERIFY(segmentor.Next(20));
    QCOMPARE(segmentor.queue().Clusters(), std::vector<int> {2});
    KESTROVA_COMPARE_PICTURES(segmentor.CurrentImage(),
                              row({throughLab(a), throughLab(a), throughLab(a)}));
    CSegmentor stepwise(row({a, a, b}), 70);
    stepwise.EatNeighbour(1, 0);
    stepwise.discard(0);
    stepwise.EatNeighbour(2, 1);
    QCOMPARE(stepwise.color(2), throughLab(a));
}

void TestSegment::onePixelPicture()
{
    CSegmentor segmentor(filled(1, 1, 0xFF123456u), 70);
    QCOMPARE(segmentor.likeness(0), 999);
    QVERIFY(segmentor.neighbours(0).empty());
    QVERIFY(!segmentor.Next(99));
    QCOMPARE(segmentor.CurrentImage().pixel(0, 0), 0xFF000002u);
}

void TestSegment::emptyPicture()
{
    CSegmentor segmentor(QImage(0, 4, QImage::Format_RGB32), 70);
    QCOMPARE(segmentor.clusterCount(), 0);
    QVERIFY(!segmentor.Next(20));
    QVERIFY(colourSketch(QImage(), {20, 70}).isNull());
}

void TestSegment::atMostLimitLevels()
{
    for (int limit : {1, 3, 10, 40}) {
        CSegmentor segmentor(randomPicture(30, 20, quint32(limit)), 500);
        int levels = 0;
        int previous = 0;
        while (segmentor.Next(limit)) {
            ++levels;
            QVERIFY(segmentor.prevval() > previous);
            QVERIFY(segmentor.prevval() <= limit);
            previous = segmentor.prevval();
        }
        QVERIFY(levels <= limit);
    }
}

void TestSegment::sizeReduction()
{
    QCOMPARE(colourSketchWorkingPicture(QImage(2000, 1000, QImage::Format_RGB32)).size(),
             QSize(1414, 707));
    QCOMPARE(colourSketchWorkingPicture(QImage(1000, 1000, QImage::Format_RGB32)).size(),
             QSize(1000, 1000));
    QCOMPARE(colourSketchWorkingPicture(QImage(1000, 1001, QImage::Format_RGB32)).width(), 999);
}

void TestSegment::largePictureShownAtItsWidth()
{
    // Noise: the first merge already reaches a level.
    const QImage picture = randomPicture(2000, 1000, 5);
    ColourSketch sketch(picture, {20, 70});
    QCOMPARE(sketch.workingSize(), QSize(1414, 707));
    QVERIFY(sketch.nextLevel());
    QCOMPARE(sketch.picture().size(), QSize(2000, 1000));
}

void TestSegment::commandProgress()
{
    ProgressRecorder recorder;
    std::vector<QImage> levels;
    ColourSketchObserver observer;
    observer.level = [&levels](const QImage &level) { levels.push_back(level); };
    const QImage last
            = colourSketch(blockyPicture(40, 30, 9), {20, 70}, recorder.progress(), observer);
    QVERIFY(levels.size() >= 3);
    std::vector<int> expected {5, 10};
    for (size_t k = 1; k <= levels.size(); ++k)
        expected.push_back(10 + int(90 * k) / 20);
    QCOMPARE(recorder.values, expected);
    KESTROVA_COMPARE_PICTURES(last, levels.back());
    // A yield after every merge and after every level.
    QVERIFY(recorder.yields > int(levels.size()));
}

void TestSegment::noLevelMeansNoPicture()
{
    QVERIFY(colourSketch(blockyPicture(20, 10, 4), {0, 70}).isNull());
    QVERIFY(colourSketch(filled(20, 10, 0xFF808080u), {99, 70}).isNull());
    QVERIFY(colourSketch(blockyPicture(20, 10, 4), {99, 0}).isNull());
    QVERIFY(!colourSketch(blockyPicture(20, 10, 4), {99, 70}).isNull());
}

QTEST_APPLESS_MAIN(TestSegment)
#include "tst_segment.moc"
