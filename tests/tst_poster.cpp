#include "colour.h"
#include "labsamples.h"
#include "lloyd.h"
#include "poster.h"
#include "reference_poster.h"
#include "smartcentres.h"
#include "testsupport.h"

#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QTest>

using namespace testsupport;

// Every exact value below is asserted on the fast poster and on the
// literal one alike; then the two are compared with each other, centre by
// centre and pass by pass, on many pictures.

bool operator==(const labpix &p, const labpix &q)
{
    return p.l == q.l && p.a == q.a && p.b == q.b && p.cluster == q.cluster;
}

namespace QTest {
template<>
char *toString(const labpix &s)
{
    return QTest::toString(
            QString("(%1, %2, %3 | %4)").arg(s.l).arg(s.a).arg(s.b).arg(int(s.cluster)));
}
} // namespace QTest

namespace {

labpix sample(int l, int a, int b, int cluster = 255)
{
    labpix p;
    p.l = qint16(l);
    p.a = qint16(a);
    p.b = qint16(b);
    p.cluster = quint8(cluster);
    return p;
}

labpix sampleOf(QRgb rgb)
{
    int L, a, b;
    rgbtolab(rgb, &L, &a, &b);
    return sample(L, a, b);
}

QRgb throughLab(QRgb rgb)
{
    const labpix s = sampleOf(rgb);
    return lab2rgb(s.l, s.a, s.b);
}

quint32 stateAfter(quint64 draws)
{
    RandomSequence random;
    random.skip(draws);
    return random.state();
}

labpix fromLiteral(const reference::LabSample &s)
{
    return sample(s.l, s.a, s.b, s.cluster);
}

QList<labpix> fromLiteral(const QList<reference::LabSample> &list)
{
    QList<labpix> converted;
    for (const reference::LabSample &s : list)
        converted.append(fromLiteral(s));
    return converted;
}

QList<labpix> literalSeeds(const QList<labpix> &points, int k, int candidates,
                           RandomSequence &random)
{
    QList<reference::LabSample> converted;
    for (const labpix &p : points)
        converted.append({p.l, p.a, p.b, p.cluster, p.spare});
    return fromLiteral(reference::chooseSmartCenters(converted, k, candidates, random));
}

QImage literalPoster(const QImage &img, int colours, RandomSequence &random,
                     const Progress &progress, PosterTrace *trace)
{
    reference::PosterTrace literal;
    const QImage poster = reference::Poster(img, colours, random, progress, &literal);
    if (trace) {
        trace->distinctColours = literal.distinctColours;
        trace->seeds = fromLiteral(literal.seeds);
        trace->centresAfterPass.clear();
        for (const auto &pass : std::as_const(literal.centresAfterPass))
            trace->centresAfterPass.append(fromLiteral(pass));
        trace->passes = literal.passes;
        trace->palette = literal.palette;
    }
    return poster;
}

QList<labpix> fastSeeds(const QList<labpix> &points, int k, int candidates, RandomSequence &random)
{
    return chooseSmartCenters(points, k, candidates, random);
}

QImage fastPoster(const QImage &img, int colours, RandomSequence &random, const Progress &progress,
                  PosterTrace *trace)
{
    return Poster(img, colours, random, progress, trace);
}

struct Implementation
{
    QList<labpix> (*seeds)(const QList<labpix> &, int, int, RandomSequence &);
    QImage (*poster)(const QImage &, int, RandomSequence &, const Progress &, PosterTrace *);
};

const Implementation Implementations[] = {{fastSeeds, fastPoster}, {literalSeeds, literalPoster}};

// Pictures with few colours: blocks of a small palette.
QImage fewColours(int width, int height, quint32 seed, int count)
{
    QRandomGenerator generator(seed);
    QList<QRgb> palette;
    for (int i = 0; i < count; ++i)
        palette.append(generator.generate() | 0xFF000000u);
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, palette[int(generator.bounded(count))]);
    }
    return image;
}

} // namespace

class TestPoster : public QObject
{
    Q_OBJECT

private slots:
    // Seeding
    void distSqIgnoresTheClusterByte();
    void randomScalar();
    void oneSampleGivesKCopies_data() { implementations(); }
    void oneSampleGivesKCopies();
    void oneCentreDrawsOnce_data() { implementations(); }
    void oneCentreDrawsOnce();
    void fewerSamplesThanCentres_data() { implementations(); }
    void fewerSamplesThanCentres();
    void equalPotentialsKeepTheFirstDrawn_data() { implementations(); }
    void equalPotentialsKeepTheFirstDrawn();
    void candidateCountsAndDraws_data() { implementations(); }
    void candidateCountsAndDraws();
    // Poster
    void oneColourPicture_data() { implementations(); }
    void oneColourPicture();
    void twoColoursTwoClusters_data() { implementations(); }
    void twoColoursTwoClusters();
    void semiTransparentComesOutOpaque_data() { implementations(); }
    void semiTransparentComesOutOpaque();
    void alphaOnlyDifferencesShareACluster_data() { implementations(); }
    void alphaOnlyDifferencesShareACluster();
    void keepsSizeAndFormat_data() { implementations(); }
    void keepsSizeAndFormat();
    void progressValuesAndNullProgress_data() { implementations(); }
    void progressValuesAndNullProgress();
    void pictureWithoutPixels_data() { implementations(); }
    void pictureWithoutPixels();
    void sameStartSamePoster_data() { implementations(); }
    void sameStartSamePoster();
    void passesEndOnAStablePass_data() { implementations(); }
    void passesEndOnAStablePass();
    void diagnosticLines();
    // The fast poster against the literal one
    void seedsMatchLiteral();
    void posterMatchesLiteral_data();
    void posterMatchesLiteral();
    void largePictureMatchesLiteral_data();
    void largePictureMatchesLiteral();
    void photographMatchesLiteral_data();
    void photographMatchesLiteral();
    void cappedPassesMatchLiteral();

private:
    static void implementations()
    {
        QTest::addColumn<int>("implementation");
        QTest::newRow("fast") << 0;
        QTest::newRow("literal") << 1;
    }
    static const Implementation &implementation()
    {
        QFETCH(int, implementation);
        return Implementations[implementation];
    }
};

// ---- Seeding ----

void TestPoster::distSqIgnoresTheClusterByte()
{
    QCOMPARE(distSq(sample(10, -20, 30, 255), sample(10, -20, 30, 7)), 0.0);
    QCOMPARE(distSq(sample(1, 2, 3), sample(4, 6, 3)), 25.0);
    QCOMPARE(distSq(sample(-100, 0, 0), sample(100, 0, 0)), 40000.0);
    QCOMPARE(sizeof(labpix), size_t(8));
}

void TestPoster::randomScalar()
{
    RandomSequence random;
    QCOMPARE(getRandomScalar(random), 476707713 / 2147483647.0);
    QCOMPARE(random.state(), stateAfter(1));
}

void TestPoster::oneSampleGivesKCopies()
{
    const QList<labpix> points {sample(50, 10, -10)};
    RandomSequence random;
    const QList<labpix> centres = implementation().seeds(points, 5, 3, random);
    QCOMPARE(centres, QList<labpix>(5, points[0]));
    QCOMPARE(random.state(), stateAfter(1 + 4 * 3));
}

void TestPoster::oneCentreDrawsOnce()
{
    const QList<labpix> points {sample(0, 0, 0), sample(50, 0, 0), sample(90, 5, 5)};
    RandomSequence random;
    const QList<labpix> centres = implementation().seeds(points, 1, 4, random);
    // 3 * 476707713 / 2147483647 = 0.67: the first sample.
    QCOMPARE(centres, QList<labpix> {points[0]});
    QCOMPARE(random.state(), stateAfter(1));
}

void TestPoster::fewerSamplesThanCentres()
{
    const QList<labpix> points {sample(20, 0, 0), sample(60, 30, 0), sample(80, -40, 20)};
    RandomSequence random;
    const QList<labpix> centres = implementation().seeds(points, 6, 3, random);
    QCOMPARE(centres.size(), 6);
    for (const labpix &p : points)
        QVERIFY(centres.mid(0, 3).contains(p));
    // Every sample is a centre by then: the total is 0 and the walk stops
    // at the first sample.
    for (int c = 3; c < 6; ++c)
        QCOMPARE(centres[c], points[0]);
    QCOMPARE(random.state(), stateAfter(1 + 5 * 3));
}

void TestPoster::equalPotentialsKeepTheFirstDrawn()
{
    // The first draw picks A. The second candidate's share (0.55 of 200)
    // runs past B to C, the third's (0.24 of 200) stops at B; keeping either
    // leaves a total of 100, so the first drawn, C, stays.
    const labpix A = sample(0, 0, 0), B = sample(10, 0, 0), C = sample(-10, 0, 0);
    RandomSequence random;
    QCOMPARE(implementation().seeds({A, B, C}, 2, 2, random), (QList<labpix> {A, C}));
}

void TestPoster::candidateCountsAndDraws()
{
    const QList<int> expected {2, 3, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 4,
                               4, 4, 4, 4, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5};
    const QImage picture = randomPicture(4, 4, 11);
    for (int colours = 2; colours <= 30; ++colours) {
        QCOMPARE(posterCandidateCount(colours), expected[colours - 2]);
        RandomSequence random;
        implementation().poster(picture, colours, random, {}, nullptr);
        QCOMPARE(random.state(), stateAfter(1 + quint64(colours - 1) * expected[colours - 2]));
    }
}

// ---- Poster ----

void TestPoster::oneColourPicture()
{
    const QRgb colour = 0xFF3366CCu;
    RandomSequence random;
    PosterTrace trace;
    const QImage poster = implementation().poster(filled(5, 4, colour), 3, random, {}, &trace);
    KESTROVA_COMPARE_PICTURES(poster, filled(5, 4, throughLab(colour)));
    QVERIFY(throughLab(colour) != colour);
    QCOMPARE(trace.distinctColours, 1);
    QCOMPARE(trace.seeds, QList<labpix>(3, sampleOf(colour)));
    QCOMPARE(trace.passes, 2);
    // The two empty clusters keep their seeds.
    labpix mean = sampleOf(colour);
    mean.cluster = 0;
    const QList<labpix> centres {mean, sampleOf(colour), sampleOf(colour)};
    QCOMPARE(trace.centresAfterPass, (QList<QList<labpix>> {centres, centres}));
    QCOMPARE(trace.palette, QList<QRgb>(3, throughLab(colour)));
}

void TestPoster::twoColoursTwoClusters()
{
    QImage picture = filled(4, 3, 0xFFE02010u);
    for (int y = 0; y < 3; ++y)
        picture.setPixel(3, y, 0xFF1030C0u);
    RandomSequence random;
    PosterTrace trace;
    const QImage poster = implementation().poster(picture, 2, random, {}, &trace);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x)
            QCOMPARE(poster.pixel(x, y), throughLab(picture.pixel(x, y)));
    }
    QCOMPARE(trace.passes, 2);
    QCOMPARE(trace.palette.size(), 2);
    QVERIFY(trace.palette[0] != trace.palette[1]);
}

void TestPoster::semiTransparentComesOutOpaque()
{
    QImage picture = randomPicture(6, 5, 3, QImage::Format_ARGB32);
    picture.setPixel(0, 0, 0x80FF0000u);
    picture.setPixel(1, 0, 0x00FFFFFFu);
    RandomSequence random;
    const QImage poster = implementation().poster(picture, 4, random, {}, nullptr);
    QCOMPARE(poster.format(), QImage::Format_ARGB32);
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 6; ++x)
            QCOMPARE(qAlpha(poster.pixel(x, y)), 255);
    }
}

void TestPoster::alphaOnlyDifferencesShareACluster()
{
    QImage picture = filled(3, 2, 0xFFEEDDCCu, QImage::Format_ARGB32);
    picture.setPixel(0, 0, 0x40112233u);
    picture.setPixel(2, 1, 0xFF112233u);
    RandomSequence random;
    PosterTrace trace;
    const QImage poster = implementation().poster(picture, 2, random, {}, &trace);
    QCOMPARE(trace.distinctColours, 3);
    QCOMPARE(poster.pixel(0, 0), poster.pixel(2, 1));
    QVERIFY(poster.pixel(0, 0) != poster.pixel(1, 0));
}

void TestPoster::keepsSizeAndFormat()
{
    for (QImage::Format format : {QImage::Format_RGB32, QImage::Format_ARGB32}) {
        const QImage picture = blockyPicture(13, 7, 2, format);
        const QImage before = picture.copy();
        RandomSequence random;
        const QImage poster = implementation().poster(picture, 4, random, {}, nullptr);
        QCOMPARE(poster.size(), picture.size());
        QCOMPARE(poster.format(), format);
        KESTROVA_COMPARE_PICTURES(picture, before);
    }
}

void TestPoster::progressValuesAndNullProgress()
{
    const QImage picture = blockyPicture(17, 5, 8);
    ProgressRecorder recorder;
    RandomSequence withProgress, without;
    const QImage poster
            = implementation().poster(picture, 3, withProgress, recorder.progress(), nullptr);
    std::vector<int> expected {0, 20, 25, 30, 50};
    for (int x = 0; x < 17; ++x)
        expected.push_back(50 + (35 * x) / 17);
    QCOMPARE(recorder.values, expected);
    QCOMPARE(recorder.yields, 0);
    KESTROVA_COMPARE_PICTURES(implementation().poster(picture, 3, without, {}, nullptr), poster);
    QCOMPARE(without.state(), withProgress.state());
}

void TestPoster::pictureWithoutPixels()
{
    for (const QImage &empty : {QImage(0, 3, QImage::Format_RGB32), QImage()}) {
        ProgressRecorder recorder;
        RandomSequence random;
        const QImage poster
                = implementation().poster(empty, 3, random, recorder.progress(), nullptr);
        QVERIFY(poster.isNull());
        QCOMPARE(random.state(), 1u);
        QCOMPARE(recorder.values, (std::vector<int> {0, 20, 25}));
    }
}

void TestPoster::sameStartSamePoster()
{
    const QImage picture = blockyPicture(31, 19, 6);
    RandomSequence first, second;
    const QImage poster = implementation().poster(picture, 5, first, {}, nullptr);
    KESTROVA_COMPARE_PICTURES(implementation().poster(picture, 5, second, {}, nullptr), poster);
    // The sequence moved on: the same command again draws other samples.
    const QImage again = implementation().poster(picture, 5, first, {}, nullptr);
    QVERIFY(first.state() != second.state());
    Q_UNUSED(again);
}

void TestPoster::passesEndOnAStablePass()
{
    const QImage picture = blockyPicture(40, 30, 4);
    RandomSequence random;
    PosterTrace trace;
    const QImage poster = implementation().poster(picture, 6, random, {}, &trace);
    QVERIFY(trace.passes >= 2);
    QCOMPARE(trace.centresAfterPass.size(), trace.passes);
    QCOMPARE(trace.centresAfterPass.last(), trace.centresAfterPass[trace.passes - 2]);
    QCOMPARE(trace.palette.size(), 6);
    for (int j = 0; j < 6; ++j) {
        const labpix c = trace.centresAfterPass.last()[j];
        QCOMPARE(trace.palette[j], lab2rgb(c.l, c.a, c.b));
    }
    for (int x = 0; x < 40; ++x) {
        for (int y = 0; y < 30; ++y)
            QVERIFY(trace.palette.contains(poster.pixel(x, y)));
    }
}

void TestPoster::diagnosticLines()
{
    PosterTrace trace;
    const QStringList lines = debugLinesOf("kestrova.poster", [&trace] {
        RandomSequence random;
        Poster(fewColours(9, 7, 3, 5), 3, random, {}, &trace);
    });

    QStringList expected {"finding uniq pixels", "Done. Size is  5",
                          "converted to lab and made  3 clusters"};
    for (int pass = 0; pass < trace.passes; ++pass)
        expected << "points assigned"
                 << "iteration done";
    expected << "completed";
    QCOMPARE(lines, expected);
}

// ---- The fast poster against the literal one ----

void TestPoster::seedsMatchLiteral()
{
    QRandomGenerator generator(7);
    for (int round = 0; round < 300; ++round) {
        const int n = 1 + int(generator.bounded(round < 100 ? 12 : 400));
        // Small ranges make equal samples and equal potentials common.
        const int range = 1 + int(generator.bounded(round % 3 == 0 ? 3 : 60));
        QList<labpix> points;
        for (int i = 0; i < n; ++i)
            points.append(sample(int(generator.bounded(range)), int(generator.bounded(range)) - 30,
                                 int(generator.bounded(range)) - 30));
        const int k = 1 + int(generator.bounded(30));
        const int candidates = 1 + int(generator.bounded(5));
        RandomSequence fast(generator.generate()), literal = fast;
        QCOMPARE(chooseSmartCenters(points, k, candidates, fast),
                 literalSeeds(points, k, candidates, literal));
        QCOMPARE(fast.state(), literal.state());
    }
}

void TestPoster::posterMatchesLiteral_data()
{
    QTest::addColumn<QImage>("picture");
    QTest::newRow("few colours") << fewColours(23, 17, 1, 6);
    QTest::newRow("two colours") << fewColours(9, 8, 2, 2);
    QTest::newRow("many colours") << randomPicture(24, 20, 3);
    QTest::newRow("noise with alpha") << randomPicture(19, 13, 4, QImage::Format_ARGB32);
    QTest::newRow("gradients") << blockyPicture(30, 22, 5);
    QTest::newRow("gradients with alpha")
            << blockyPicture(21, 25, 6, QImage::Format_ARGB32_Premultiplied);
    QTest::newRow("1 x N") << blockyPicture(1, 57, 7);
    QTest::newRow("N x 1") << blockyPicture(61, 1, 8);
    QTest::newRow("2 x 2") << randomPicture(2, 2, 9);
    QTest::newRow("grey") << blockyPicture(20, 20, 10).convertToFormat(QImage::Format_Grayscale8);
}

void TestPoster::posterMatchesLiteral()
{
    QFETCH(QImage, picture);
    for (int colours = 2; colours <= 30; ++colours) {
        RandomSequence fast(1000 + colours), literal = fast;
        PosterTrace fastTrace, literalTrace;
        const QImage fastResult = Poster(picture, colours, fast, {}, &fastTrace);
        const QImage literalResult = literalPoster(picture, colours, literal, {}, &literalTrace);
        KESTROVA_COMPARE_PICTURES(fastResult, literalResult);
        QCOMPARE(fastResult.format(), literalResult.format());
        QCOMPARE(fastTrace.distinctColours, literalTrace.distinctColours);
        QCOMPARE(fastTrace.seeds, literalTrace.seeds);
        QCOMPARE(fastTrace.passes, literalTrace.passes);
        QCOMPARE(fastTrace.centresAfterPass, literalTrace.centresAfterPass);
        QCOMPARE(fastTrace.palette, literalTrace.palette);
        QCOMPARE(fast.state(), literal.state());
    }
}

void TestPoster::largePictureMatchesLiteral_data()
{
    QTest::addColumn<QImage>("picture");
    QTest::addColumn<int>("colours");
    // From 65536 pixels on, opaque pictures go through the direct tables.
    QTest::newRow("opaque, 3") << blockyPicture(300, 230, 21) << 3;
    QTest::newRow("opaque with alpha channel, 12")
            << blockyPicture(256, 256, 22, QImage::Format_ARGB32) << 12;
    QImage translucent = blockyPicture(260, 260, 23, QImage::Format_ARGB32);
    translucent.setPixel(17, 4, 0x80FF8000u);
    QTest::newRow("one translucent pixel, 7") << translucent << 7;
}

void TestPoster::largePictureMatchesLiteral()
{
    QFETCH(QImage, picture);
    QFETCH(int, colours);
    RandomSequence fast, literal;
    PosterTrace fastTrace, literalTrace;
    KESTROVA_COMPARE_PICTURES(Poster(picture, colours, fast, {}, &fastTrace),
                              literalPoster(picture, colours, literal, {}, &literalTrace));
    QCOMPARE(fastTrace.distinctColours, literalTrace.distinctColours);
    QCOMPARE(fastTrace.seeds, literalTrace.seeds);
    QCOMPARE(fastTrace.centresAfterPass, literalTrace.centresAfterPass);
}

void TestPoster::photographMatchesLiteral_data()
{
    QTest::addColumn<int>("colours");
    QTest::newRow("3") << 3;
    QTest::newRow("8") << 8;
    QTest::newRow("30") << 30;
}

void TestPoster::photographMatchesLiteral()
{
    QFETCH(int, colours);
    const QString path = photo("evening-glow-2560x1600.jpg");
    if (path.isEmpty())
        QSKIP("the photographs are not beside the repository");
    static const QImage crop = QImage(path).copy(1100, 500, 360, 240);
    RandomSequence fast, literal;
    PosterTrace fastTrace, literalTrace;
    const QImage fastResult = Poster(crop, colours, fast, {}, &fastTrace);
    const QImage literalResult = literalPoster(crop, colours, literal, {}, &literalTrace);
    KESTROVA_COMPARE_PICTURES(fastResult, literalResult);
    QVERIFY(fastTrace.distinctColours > 10000);
    QCOMPARE(fastTrace.seeds, literalTrace.seeds);
    QCOMPARE(fastTrace.passes, literalTrace.passes);
    QCOMPARE(fastTrace.centresAfterPass, literalTrace.centresAfterPass);
}

// Stopping before the assignment settles: the clusters are those of the
// last centres, found again.
void TestPoster::cappedPassesMatchLiteral()
{
    QRandomGenerator generator(3);
    LabSamples points;
    std::vector<qint32> weights;
    for (int i = 0; i < 500; ++i) {
        points.append(int(generator.bounded(100)), int(generator.bounded(120)) - 60,
                      int(generator.bounded(120)) - 60);
        weights.push_back(1 + int(generator.bounded(3)));
    }
    QList<labpix> seeds;
    for (int j = 0; j < 12; ++j)
        seeds.append(points.at(j * 7));
    for (int maxPasses = 1; maxPasses <= 4; ++maxPasses) {
        const LloydResult result = lloyd(points, weights, seeds, maxPasses);
        // The same passes written out plainly.
        QList<labpix> centres = seeds;
        std::vector<int> clusters(size_t(points.size()), 255);
        int passes = 0;
        bool changed = true;
        auto nearest = [&](int i) {
            int best = 0, bestDist = 1000000000;
            for (int j = 0; j < centres.size(); ++j) {
                const int d = points.distance(i, centres[j]);
                if (d < bestDist) {
                    best = j;
                    bestDist = d;
                }
            }
            return best;
        };
        while (changed && passes < maxPasses) {
            changed = false;
            for (int i = 0; i < points.size(); ++i) {
                const int best = nearest(i);
                changed |= best != clusters[size_t(i)];
                clusters[size_t(i)] = best;
            }
            std::vector<ccenters> sums(size_t(centres.size()));
            for (int i = 0; i < points.size(); ++i) {
                ccenters &s = sums[size_t(clusters[size_t(i)])];
                s.sumL += qint64(weights[size_t(i)]) * points.l[size_t(i)];
                s.sumA += qint64(weights[size_t(i)]) * points.a[size_t(i)];
                s.sumB += qint64(weights[size_t(i)]) * points.b[size_t(i)];
                s.count += weights[size_t(i)];
            }
            for (int j = 0; j < centres.size(); ++j) {
                const ccenters &s = sums[size_t(j)];
                if (s.count > 0)
                    centres[j] = sample(int(s.sumL / s.count), int(s.sumA / s.count),
                                        int(s.sumB / s.count), j);
            }
            ++passes;
        }
        QCOMPARE(result.passes, passes);
        QCOMPARE(result.converged, !changed);
        QCOMPARE(result.centres, centres);
        for (int i = 0; i < points.size(); ++i)
            QCOMPARE(int(result.clusters[size_t(i)]), nearest(i));
    }
}

QTEST_APPLESS_MAIN(TestPoster)
#include "tst_poster.moc"
