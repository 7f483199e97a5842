#include "colour.h"
#include "reference_poster.h"
#include "reference_segment.h"
#include "testsupport.h"

#include <QTest>

using namespace testsupport;
using reference::CCluster;
using reference::CPriorQueue2;
using reference::LabSample;
using reference::LiteralSegmentor;

namespace reference {
char *toString(const LabSample &s)
{
    return QTest::toString(
            QString("(%1, %2, %3 | %4)").arg(s.l).arg(s.a).arg(s.b).arg(int(s.cluster)));
}
} // namespace reference

namespace {

LabSample sample(int l, int a, int b, int cluster = 255)
{
    return LabSample {qint16(l), qint16(a), qint16(b), quint8(cluster), 0};
}

LabSample sampleOf(QRgb rgb)
{
    int L, a, b;
    rgbtolab(rgb, &L, &a, &b);
    return sample(L, a, b);
}

QRgb throughLab(QRgb rgb)
{
    const LabSample s = sampleOf(rgb);
    return lab2rgb(s.l, s.a, s.b);
}

// The state a fresh generator reaches after `draws` draws.
quint32 stateAfter(quint64 draws)
{
    RandomSequence random;
    random.skip(draws);
    return random.state();
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
    // Seeding
    void distSqIgnoresTheClusterByte();
    void oneSampleGivesKCopies();
    void oneCentreDrawsOnce();
    void fewerSamplesThanCentres();
    void equalPotentialsKeepTheFirstDrawn();
    void sameStartSameCentres();
    void candidateCounts();
    // Poster
    void oneColourPicture();
    void twoColoursTwoClusters();
    void semiTransparentComesOutOpaque();
    void alphaOnlyDifferencesShareACluster();
    void keepsSizeAndFormat();
    void progressValues();
    void pictureWithoutPixels();
    void passesEndOnAStablePass();
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

// ---- Seeding ----

void TestLiteralReferences::distSqIgnoresTheClusterByte()
{
    QCOMPARE(reference::distSq(sample(10, -20, 30, 255), sample(10, -20, 30, 7)), 0.0);
    QCOMPARE(reference::distSq(sample(1, 2, 3), sample(4, 6, 3)), 25.0);
    QCOMPARE(reference::distSq(sample(-100, 0, 0), sample(100, 0, 0)), 40000.0);
}

void TestLiteralReferences::oneSampleGivesKCopies()
{
    const QList<LabSample> points {sample(50, 10, -10)};
    RandomSequence random;
    const QList<LabSample> centres = reference::chooseSmartCenters(points, 5, 3, random);
    QCOMPARE(centres, QList<LabSample>(5, points[0]));
    QCOMPARE(random.state(), stateAfter(1 + 4 * 3));
}

void TestLiteralReferences::oneCentreDrawsOnce()
{
    const QList<LabSample> points {sample(0, 0, 0), sample(50, 0, 0), sample(90, 5, 5)};
    RandomSequence random;
    const QList<LabSample> centres = reference::chooseSmartCenters(points, 1, 4, random);
    // 3 * 476707713 / 2147483647 = 0.67: the first sample.
    QCOMPARE(centres, QList<LabSample> {points[0]});
    QCOMPARE(random.state(), stateAfter(1));
}

void TestLiteralReferences::fewerSamplesThanCentres()
{
    const QList<LabSample> points {sample(20, 0, 0), sample(60, 30, 0), sample(80, -40, 20)};
    RandomSequence random;
    const QList<LabSample> centres = reference::chooseSmartCenters(points, 6, 3, random);
    QCOMPARE(centres.size(), 6);
    for (const LabSample &p : points)
        QVERIFY(centres.mid(0, 3).contains(p));
    for (int c = 3; c < 6; ++c)
        QCOMPARE(centres[c], points[0]);
    QCOMPARE(random.state(), stateAfter(1 + 5 * 3));
}

void TestLiteralReferences::equalPotentialsKeepTheFirstDrawn()
{
    // The first draw picks A. The second candidate's share (0.55 of 200)
    // runs past B to C, the third's (0.24 of 200) stops at B; keeping either
    // leaves a total of 100, so the first drawn, C, stays.
    const LabSample A = sample(0, 0, 0), B = sample(10, 0, 0), C = sample(-10, 0, 0);
    QCOMPARE(reference::distSq(B, C), 400.0);
    RandomSequence random;
    QCOMPARE(reference::chooseSmartCenters({A, B, C}, 2, 2, random), (QList<LabSample> {A, C}));
}

void TestLiteralReferences::sameStartSameCentres()
{
    QList<LabSample> points;
    const QImage picture = blockyPicture(23, 17, 5);
    for (int x = 0; x < picture.width(); ++x)
        points.append(sampleOf(picture.pixel(x, x % picture.height())));
    RandomSequence first, second;
    QCOMPARE(reference::chooseSmartCenters(points, 7, 3, first),
             reference::chooseSmartCenters(points, 7, 3, second));
}

void TestLiteralReferences::candidateCounts()
{
    const QList<int> expected {2, 3, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 4,
                               4, 4, 4, 4, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5};
    const QImage picture = randomPicture(4, 4, 11);
    for (int colours = 2; colours <= 30; ++colours) {
        QCOMPARE(reference::posterCandidateCount(colours), expected[colours - 2]);
        RandomSequence random;
        reference::Poster(picture, colours, random);
        QCOMPARE(random.state(), stateAfter(1 + quint64(colours - 1) * expected[colours - 2]));
    }
}

// ---- Poster ----

void TestLiteralReferences::oneColourPicture()
{
    const QRgb colour = 0xFF3366CCu;
    RandomSequence random;
    reference::PosterTrace trace;
    const QImage poster = reference::Poster(filled(5, 4, colour), 3, random, {}, &trace);
    QCOMPARE(poster, filled(5, 4, throughLab(colour)));
    QCOMPARE(trace.distinctColours, 1);
    QCOMPARE(trace.seeds, QList<LabSample>(3, sampleOf(colour)));
    QCOMPARE(trace.passes, 2);
    // The two empty clusters keep their seeds, cluster byte and all.
    LabSample mean = sampleOf(colour);
    mean.cluster = 0;
    const QList<LabSample> centres {mean, sampleOf(colour), sampleOf(colour)};
    QCOMPARE(trace.centresAfterPass, (QList<QList<LabSample>> {centres, centres}));
    QCOMPARE(trace.palette, QList<unsigned int>(3, throughLab(colour)));
}

void TestLiteralReferences::twoColoursTwoClusters()
{
    QImage picture = filled(4, 3, 0xFFE02010u);
    for (int y = 0; y < 3; ++y)
        picture.setPixel(3, y, 0xFF1030C0u);
    RandomSequence random;
    reference::PosterTrace trace;
    const QImage poster = reference::Poster(picture, 2, random, {}, &trace);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x)
            QCOMPARE(poster.pixel(x, y), throughLab(picture.pixel(x, y)));
    }
    QCOMPARE(trace.passes, 2);
    QCOMPARE(trace.palette.size(), 2);
    QVERIFY(trace.palette[0] != trace.palette[1]);
}

void TestLiteralReferences::semiTransparentComesOutOpaque()
{
    QImage picture = randomPicture(6, 5, 3, QImage::Format_ARGB32);
    picture.setPixel(0, 0, 0x80FF0000u);
    picture.setPixel(1, 0, 0x00FFFFFFu);
    RandomSequence random;
    const QImage poster = reference::Poster(picture, 4, random);
    QCOMPARE(poster.format(), QImage::Format_ARGB32);
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 6; ++x)
            QCOMPARE(qAlpha(poster.pixel(x, y)), 255);
    }
}

void TestLiteralReferences::alphaOnlyDifferencesShareACluster()
{
    QImage picture = filled(3, 2, 0xFFEEDDCCu, QImage::Format_ARGB32);
    picture.setPixel(0, 0, 0x40112233u);
    picture.setPixel(2, 1, 0xFF112233u);
    RandomSequence random;
    reference::PosterTrace trace;
    const QImage poster = reference::Poster(picture, 2, random, {}, &trace);
    QCOMPARE(trace.distinctColours, 3);
    QCOMPARE(poster.pixel(0, 0), poster.pixel(2, 1));
    QVERIFY(poster.pixel(0, 0) != poster.pixel(1, 0));
}

void TestLiteralReferences::keepsSizeAndFormat()
{
    for (QImage::Format format : {QImage::Format_RGB32, QImage::Format_ARGB32}) {
        const QImage picture = blockyPicture(13, 7, 2, format);
        const QImage before = picture.copy();
        RandomSequence random;
        const QImage poster = reference::Poster(picture, 4, random);
        QCOMPARE(poster.size(), picture.size());
        QCOMPARE(poster.format(), format);
        KESTROVA_COMPARE_PICTURES(picture, before);
    }
}

void TestLiteralReferences::progressValues()
{
    const QImage picture = blockyPicture(17, 5, 8);
    ProgressRecorder recorder;
    RandomSequence withProgress, without;
    const QImage poster = reference::Poster(picture, 3, withProgress, recorder.progress());
    std::vector<int> expected {0, 20, 25, 30, 50};
    for (int x = 0; x < 17; ++x)
        expected.push_back(50 + (35 * x) / 17);
    QCOMPARE(recorder.values, expected);
    KESTROVA_COMPARE_PICTURES(reference::Poster(picture, 3, without), poster);
}

void TestLiteralReferences::pictureWithoutPixels()
{
    const QImage empty(0, 3, QImage::Format_RGB32);
    ProgressRecorder recorder;
    RandomSequence random;
    const QImage poster = reference::Poster(empty, 3, random, recorder.progress());
    QVERIFY(poster.isNull());
    QCOMPARE(random.state(), 1u);
    QCOMPARE(recorder.values, (std::vector<int> {0, 20, 25}));
}

void TestLiteralReferences::passesEndOnAStablePass()
{
    const QImage picture = blockyPicture(40, 30, 4);
    RandomSequence random;
    reference::PosterTrace trace;
    const QImage poster = reference::Poster(picture, 6, random, {}, &trace);
    QVERIFY(trace.passes >= 2);
    QCOMPARE(trace.centresAfterPass.size(), trace.passes);
    QCOMPARE(trace.centresAfterPass.last(), trace.centresAfterPass[trace.passes - 2]);
    QCOMPARE(trace.palette.size(), 6);
    for (int j = 0; j < 6; ++j) {
        const LabSample c = trace.centresAfterPass.last()[j];
        QCOMPARE(trace.palette[j], lab2rgb(c.l, c.a, c.b));
    }
    for (int x = 0; x < 40; ++x) {
        for (int y = 0; y < 30; ++y)
            QVERIFY(trace.palette.contains(poster.pixel(x, y)));
    }
}

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
