#include "colour.h"
#include "reference_segment.h"
#include "testsupport.h"

#include <QTest>

using namespace testsupport;
using reference::CCluster;
using reference::CPriorQueue2;
using reference::LiteralSegmentor;

namespace {

QRgb throughLab(QRgb rgb)
{
    int L, a, b;
    rgbtolab(rgb, &L, &a, &b);
    return lab2rgb(L, a, b);
}

// A cluster of one pixel with a given likeness, for setting up the queue by
// hand.
struct HandMadeCluster
{
    HandMadeCluster(int index, int likeness, CPriorQueue2 *queue = nullptr)
        : cluster(index, index, 0, 0xFF000000u, queue)
    {
        cluster.m_likeness = static_cast<unsigned short>(likeness);
    }
    CCluster cluster;
};

} // namespace

class TestLiteralReferences : public QObject
{
    Q_OBJECT

private slots:
    // Queue
    void handleEncoding();
    void takeOrder();
    void updateWithTheSameLikenessKeepsTheHandle();
    void updateLeavesANullBehind();
    void takeDiscardsNullOnlyBuckets();
    void priority999ComesLast();
    // Cluster
    void newCluster();
    void colourDistance();
    void thresholdZeroMakesEveryClusterFull();
    void fullOnlyAboveTheThreshold();
    void replacementAlreadyANeighbour();
    void notifyWithItselfRefreshesDistances();
    // Segmenter and command
    void oneColourNeverReachesALevel();
    void brushstrokeZero();
    void equalCountsKeepTheEatersColour();
    void largerPartsColourWins();
    void onePixelPicture();
    void atMostLimitLevels_data();
    void atMostLimitLevels();
    void sizeReduction();
    void commandProgress();
};

// ---- Queue ----

void TestLiteralReferences::handleEncoding()
{
    const qint64 h = reference::index2handle(10, 60);
    QCOMPARE(h, Q_INT64_C(2814749767106620));
    QCOMPARE(reference::handle2priority(quint64(h)), 10);
    QCOMPARE(reference::handle2index(quint64(h)), 60);
}

void TestLiteralReferences::takeOrder()
{
    CPriorQueue2 queue;
    HandMadeCluster a(0, 3), b(1, 3), c(2, 7);
    queue.Register(&a.cluster);
    queue.Register(&b.cluster);
    queue.Register(&c.cluster);
    QCOMPARE(queue.get(), &a.cluster);
    QCOMPARE(queue.take(), &b.cluster);
    QCOMPARE(queue.take(), &a.cluster);
    QCOMPARE(queue.take(), &c.cluster);
    QCOMPARE(queue.take(), nullptr);
}

void TestLiteralReferences::updateWithTheSameLikenessKeepsTheHandle()
{
    CPriorQueue2 queue;
    HandMadeCluster a(0, 3), b(1, 3);
    queue.Register(&a.cluster);
    const qint64 h = queue.Register(&b.cluster);
    QCOMPARE(queue.Update(h), h);
    QCOMPARE(queue.bucket(3), (QList<CCluster *> {&a.cluster, &b.cluster}));
}

void TestLiteralReferences::updateLeavesANullBehind()
{
    CPriorQueue2 queue;
    HandMadeCluster a(0, 3);
    const qint64 h = queue.Register(&a.cluster);
    a.cluster.m_likeness = 7;
    const qint64 moved = queue.Update(h);
    QCOMPARE(moved, reference::index2handle(7, 0));
    QCOMPARE(queue.bucket(3), QList<CCluster *> {nullptr});
    QCOMPARE(queue.bucket(7), QList<CCluster *> {&a.cluster});
    QCOMPARE(queue.Clusters(), QList<CCluster *> {&a.cluster});
}

void TestLiteralReferences::takeDiscardsNullOnlyBuckets()
{
    CPriorQueue2 queue;
    HandMadeCluster a(0, 3), b(1, 3);
    const qint64 ha = queue.Register(&a.cluster);
    const qint64 hb = queue.Register(&b.cluster);
    QVERIFY(queue.Remove(ha));
    QVERIFY(queue.Remove(hb));
    QCOMPARE(queue.Clusters(), QList<CCluster *> {});
    QCOMPARE(queue.get(), nullptr);
    QCOMPARE(queue.take(), nullptr);
    QVERIFY(queue.bucket(3).isEmpty());
}

void TestLiteralReferences::priority999ComesLast()
{
    CPriorQueue2 queue;
    HandMadeCluster full(0, 999), late(1, 998);
    queue.Register(&full.cluster);
    queue.Register(&late.cluster);
    QCOMPARE(queue.Clusters(), (QList<CCluster *> {&late.cluster, &full.cluster}));
    QCOMPARE(queue.take(), &late.cluster);
    QCOMPARE(queue.take(), &full.cluster);
}

// ---- Cluster ----

void TestLiteralReferences::newCluster()
{
    CPriorQueue2 queue;
    const QRgb colour = 0xFF336699u;
    CCluster c(0, 2, 3, colour, &queue);
    QCOMPARE(c.pixels(), QList<QPoint> {QPoint(2, 3)});
    QCOMPARE(int(c.likeness()), 500);
    QCOMPARE(c.m_handle, Q_INT64_C(-1));
    QCOMPARE(c.color(), throughLab(colour));
    QVERIFY(qAbs(qRed(c.color()) - qRed(colour)) <= 8);
    QVERIFY(qAbs(qGreen(c.color()) - qGreen(colour)) <= 8);
    QVERIFY(qAbs(qBlue(c.color()) - qBlue(colour)) <= 8);
}

void TestLiteralReferences::colourDistance()
{
    using reference::Labstruct;
    // sqrt(100 + 9 + 16) = 11.18
    QCOMPARE(reference::clabdiff(Labstruct {50, 10, 10}, Labstruct {40, 7, 6}), 11);
    QCOMPARE(reference::clabdiff(Labstruct {40, 7, 6}, Labstruct {50, 10, 10}), 11);
    CPriorQueue2 queue;
    CCluster p(0, 0, 0, 0xFF804020u, &queue), q(1, 1, 0, 0xFF804020u, &queue);
    QCOMPARE(p.cdiff(&q), 0);
    QVERIFY(p.m_lab == q.m_lab);
}

void TestLiteralReferences::thresholdZeroMakesEveryClusterFull()
{
    // B and C touch A only, so the notifications end.
    CPriorQueue2 queue;
    CCluster a(0, 1, 0, 0xFF102030u, &queue), b(1, 0, 0, 0xFF203040u, &queue),
            c(2, 2, 0, 0xFF304050u, &queue);
    CCluster::m_clusterthresh = 1;
    a.SetNeighbours({&b, &c});
    b.SetNeighbours({&a});
    c.SetNeighbours({&a});
    CCluster::m_clusterthresh = 0;
    a.update();
    QCOMPARE(int(a.likeness()), 999);
    QCOMPARE(a.neighbours(), (QList<CCluster *> {&b, &c}));
    QVERIFY(b.neighbours().isEmpty());
    QVERIFY(c.neighbours().isEmpty());
    QCOMPARE(int(b.likeness()), 999);
    QCOMPARE(int(c.likeness()), 999);
}

void TestLiteralReferences::fullOnlyAboveTheThreshold()
{
    CPriorQueue2 queue;
    CCluster a(0, 0, 0, 0xFF102030u, &queue), b(1, 5, 5, 0xFF203040u, &queue);
    CCluster::m_clusterthresh = 2;
    a.m_pixels.append(QPoint(1, 0));
    a.SetNeighbours({&b});
    QCOMPARE(int(a.likeness()), a.cdiff(&b));
    a.m_pixels.append(QPoint(2, 0));
    a.update();
    QCOMPARE(int(a.likeness()), 999);
}

void TestLiteralReferences::replacementAlreadyANeighbour()
{
    CPriorQueue2 queue;
    CCluster x(0, 0, 0, 0xFF102030u, &queue), a(1, 1, 0, 0xFF405060u, &queue),
            b(2, 2, 0, 0xFF708090u, &queue);
    CCluster::m_clusterthresh = 10;
    x.SetNeighbours({&a, &b});
    x.m_neighbours[b.key()] = 77;
    x.NewNeighbour(&a, &b);
    QCOMPARE(x.neighbours(), QList<CCluster *> {&b});
    QCOMPARE(int(x.m_neighbours.value(b.key())), x.cdiff(&b));
    QCOMPARE(int(x.likeness()), x.cdiff(&b));
}

void TestLiteralReferences::notifyWithItselfRefreshesDistances()
{
    CPriorQueue2 queue;
    CCluster x(0, 0, 0, 0xFF102030u, &queue), a(1, 1, 0, 0xFF405060u, &queue),
            b(2, 2, 0, 0xFF708090u, &queue);
    CCluster::m_clusterthresh = 10;
    x.SetNeighbours({&a, &b});
    a.SetNeighbours({&x});
    b.SetNeighbours({&x});
    x.rgbtolab(0xFFC0A080u);
    x.NotifyNeighbours(&x);
    QCOMPARE(a.neighbours(), QList<CCluster *> {&x});
    QCOMPARE(b.neighbours(), QList<CCluster *> {&x});
    QCOMPARE(int(a.m_neighbours.value(x.key())), a.cdiff(&x));
    QCOMPARE(int(b.m_neighbours.value(x.key())), b.cdiff(&x));
    QCOMPARE(int(a.likeness()), a.cdiff(&x));
}

// ---- Segmenter and command ----

void TestLiteralReferences::oneColourNeverReachesALevel()
{
    const QImage picture = filled(5, 4, 0xFF5A7A3Cu, QImage::Format_ARGB32);
    LiteralSegmentor segmentor(picture, 100);
    QVERIFY(!segmentor.Next(20));
    QCOMPARE(segmentor.prevval(), 0);
    QCOMPARE(segmentor.taken(), qint64(20));
    QVERIFY(segmentor.queue().Clusters().isEmpty());
    QCOMPARE(segmentor.CurrentImage(), filled(5, 4, 2u, QImage::Format_ARGB32));
    QVERIFY(!segmentor.Next(20));
    QCOMPARE(segmentor.taken(), qint64(20));
    QVERIFY(reference::colourSketchLevels(picture, 99, 100).isEmpty());
}

void TestLiteralReferences::brushstrokeZero()
{
    const QImage picture = randomPicture(3, 2, 9);
    LiteralSegmentor segmentor(picture, 0);
    QCOMPARE(segmentor.queue().bucket(999).size(), 6);
    QCOMPARE(segmentor.queue().Clusters().size(), 6);
    QVERIFY(!segmentor.Next(20));
    QCOMPARE(segmentor.taken(), qint64(1));
    // The last cluster filed, seeded at (2, 1), went with its pixel.
    QImage expected = picture.copy();
    for (int x = 0; x < 3; ++x) {
        for (int y = 0; y < 2; ++y)
            expected.setPixel(x, y, throughLab(picture.pixel(x, y)));
    }
    expected.setPixel(2, 1, 2u);
    KESTROVA_COMPARE_PICTURES(segmentor.CurrentImage(), expected);
    ProgressRecorder recorder;
    QVERIFY(reference::colourSketchLevels(picture, 20, 0, recorder.progress()).isEmpty());
    QCOMPARE(recorder.values, (std::vector<int> {5, 10}));
}

void TestLiteralReferences::equalCountsKeepTheEatersColour()
{
    // (1, 0) is filed last and taken first; (0, 0), its only neighbour, eats
    // it and keeps its own colour.
    QImage picture = filled(2, 1, 0xFFFF0000u);
    picture.setPixel(1, 0, 0xFFFF6000u);
    const int distance = reference::clabdiff(CCluster(0, 0, 0, 0xFFFF0000u, nullptr).m_lab,
                                             CCluster(1, 1, 0, 0xFFFF6000u, nullptr).m_lab);
    QVERIFY(distance > 0 && distance <= 99);
    LiteralSegmentor segmentor(picture, 70);
    QVERIFY(segmentor.Next(99));
    QCOMPARE(segmentor.prevval(), distance);
    QCOMPARE(segmentor.taken(), qint64(1));
    KESTROVA_COMPARE_PICTURES(segmentor.CurrentImage(), filled(2, 1, throughLab(0xFFFF0000u)));
}

void TestLiteralReferences::largerPartsColourWins()
{
    // The two equal pixels merge first (distance 0); the pair, taken next,
    // is eaten by the single pixel, which takes the pair's colour.
    QImage picture = filled(3, 1, 0xFF20A040u);
    picture.setPixel(0, 0, 0xFF30B050u);
    LiteralSegmentor segmentor(picture, 70);
    QVERIFY(segmentor.Next(99));
    QCOMPARE(segmentor.taken(), qint64(2));
    KESTROVA_COMPARE_PICTURES(segmentor.CurrentImage(), filled(3, 1, throughLab(0xFF20A040u)));
}

void TestLiteralReferences::onePixelPicture()
{
    LiteralSegmentor segmentor(filled(1, 1, 0xFF123456u), 70);
    const QList<CCluster *> clusters = segmentor.queue().Clusters();
    QCOMPARE(clusters.size(), 1);
    QCOMPARE(int(clusters[0]->likeness()), 999);
    QVERIFY(clusters[0]->neighbours().isEmpty());
    QVERIFY(!segmentor.Next(20));
    QCOMPARE(segmentor.taken(), qint64(1));
    QVERIFY(!segmentor.Next(20));
}

void TestLiteralReferences::atMostLimitLevels_data()
{
    // Brushstroke 1 fills clusters at two pixels: many full clusters and
    // their notifications.
    QTest::addColumn<int>("brush");
    QTest::newRow("brushstroke 1") << 1;
    QTest::newRow("brushstroke 70") << 70;
}

void TestLiteralReferences::atMostLimitLevels()
{
    QFETCH(int, brush);
    const QImage picture = blockyPicture(30, 20, 6);
    const int limit = 5;
    LiteralSegmentor segmentor(picture, brush);
    int levels = 0, previous = 0;
    while (segmentor.taken() < 30 * 20) {
        if (segmentor.Next(limit)) {
            ++levels;
            QVERIFY(segmentor.prevval() > previous);
            QVERIFY(segmentor.prevval() <= limit);
            previous = segmentor.prevval();
        }
    }
    QVERIFY(levels >= 1);
    QVERIFY(levels <= limit);
    QVERIFY(segmentor.queue().Clusters().isEmpty());
    QVERIFY(!segmentor.Next(limit));
}

void TestLiteralReferences::sizeReduction()
{
    const QImage large = filled(2000, 1000, 0xFF808080u);
    const QImage reduced = reference::colourSketchWorkingPicture(large);
    QCOMPARE(reduced.width(), 1414);
    QCOMPARE(reduced.height(), 707);
    for (QSize size : {QSize(1000, 1000), QSize(2000, 500), QSize(7, 5)}) {
        const QImage picture = filled(size.width(), size.height(), 0xFF808080u);
        const QImage working = reference::colourSketchWorkingPicture(picture);
        QCOMPARE(working.cacheKey(), picture.cacheKey());
    }
}

void TestLiteralReferences::commandProgress()
{
    const QImage picture = blockyPicture(40, 30, 1);
    ProgressRecorder recorder;
    const QList<QImage> levels
            = reference::colourSketchLevels(picture, 20, 70, recorder.progress());
    QVERIFY(levels.size() >= 2);
    std::vector<int> expected {5, 10};
    for (int k = 1; k <= levels.size(); ++k)
        expected.push_back(10 + 90 * k / 20);
    QCOMPARE(recorder.values, expected);
    // The last level is the segmenter's picture after its last true return.
    LiteralSegmentor segmentor(picture, 70);
    for (int k = 0; k < levels.size(); ++k) {
        QVERIFY(segmentor.Next(20));
        QCOMPARE(levels[k].size(), picture.size());
        KESTROVA_COMPARE_PICTURES(levels[k], segmentor.CurrentImage());
    }
    QVERIFY(!segmentor.Next(20));
}

QTEST_APPLESS_MAIN(TestLiteralReferences)
#include "tst_literal_references.moc"
