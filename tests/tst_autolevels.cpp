// Levels chosen from a picture's own tones: the rule on histograms whose
// answer is known, and the pen and pencil drawings made with them, which
// the chosen values passed as plain settings give again.

#include "autolevels.h"
#include "edgemap.h"
#include "effect.h"
#include "pencilsketch.h"
#include "reference.h"
#include "testsupport.h"

#include <QTest>

#include <vector>

using namespace testsupport;

Q_DECLARE_METATYPE(ToneHistogram)

namespace {

ToneHistogram histogramOf(std::initializer_list<std::pair<int, qint64>> counts)
{
    ToneHistogram histogram {};
    for (const auto &count : counts)
        histogram[size_t(count.first)] = count.second;
    return histogram;
}

// A grey picture of `tones`, in rows of `width`.
QImage greyPicture(const std::vector<int> &tones, int width)
{
    const int height = int(tones.size()) / width;
    QImage image(width, height, QImage::Format_RGB32);
    for (int i = 0; i < width * height; ++i)
        image.setPixel(i % width, i / width,
                       qRgb(tones[size_t(i)], tones[size_t(i)], tones[size_t(i)]));
    return image;
}

// A photograph taken in the dark: every channel a quarter of `picture`'s.
QImage darkened(const QImage &picture)
{
    QImage dark = picture.copy();
    for (int y = 0; y < dark.height(); ++y)
        for (int x = 0; x < dark.width(); ++x) {
            const QRgb c = dark.pixel(x, y);
            dark.setPixel(x, y, qRgb(qRed(c) / 4, qGreen(c) / 4, qBlue(c) / 4));
        }
    return dark;
}

struct Drawn
{
    QImage drawing;
    DrawingChoices choices;
};

Drawn drawn(const char *effect, const QImage &picture, bool autoLevels, int black = -1,
            int white = -1)
{
    const Effect *chosen = findEffect(QLatin1String(effect));
    Drawn result;
    EffectValues values = chosen->defaults();
    values.autoLevels = autoLevels;
    values.choices = &result.choices;
    if (black >= 0)
        values.numbers[QStringLiteral("black")] = black;
    if (white >= 0)
        values.numbers[QStringLiteral("white")] = white;
    result.drawing = makeDrawing(*chosen, picture, values, {}, {}, nullptr);
    return result;
}

} // namespace

class TestAutoLevels : public QObject
{
    Q_OBJECT

private slots:
    void rule_data();
    void rule();
    void redHistogramCounts();
    void penLevels_data();
    void penLevels();
    void pencilLevels_data();
    void pencilLevels();
    void plainSettingsTellNothing();
};

void TestAutoLevels::rule_data()
{
    QTest::addColumn<ToneHistogram>("histogram");
    QTest::addColumn<int>("black");
    QTest::addColumn<int>("white");
    ToneHistogram uniform {};
    uniform.fill(100); // 25,600 pixels: 256 at each end
    QTest::newRow("uniform") << uniform << 2 << 253;
    QTest::newRow("empty") << ToneHistogram {} << 0 << 255;
    QTest::newRow("one pixel") << histogramOf({{77, 1}}) << 76 << 77;
    QTest::newRow("one tone") << histogramOf({{128, 5000}}) << 127 << 128;
    QTest::newRow("all black") << histogramOf({{0, 900}}) << 0 << 1;
    QTest::newRow("all white") << histogramOf({{255, 900}}) << 254 << 255;
    QTest::newRow("two tones") << histogramOf({{10, 500}, {200, 500}}) << 10 << 200;
    // 150 pixels: ceil(1.5) = 2 at each end.
    QTest::newRow("150 pixels, one stray each end")
            << histogramOf({{3, 1}, {40, 1}, {100, 146}, {220, 1}, {250, 1}}) << 40 << 220;
    // 10,000 pixels: exactly 100 at each end reach the share.
    QTest::newRow("share reached exactly")
            << histogramOf({{20, 100}, {21, 1}, {128, 9798}, {230, 1}, {231, 100}}) << 20 << 231;
    QTest::newRow("share missed by one")
            << histogramOf({{20, 99}, {21, 2}, {128, 9797}, {230, 2}, {231, 100}}) << 21 << 231;
    QTest::newRow("a dark photograph")
            << histogramOf({{0, 50}, {5, 300}, {30, 6000}, {60, 3000}, {90, 600}, {140, 50}}) << 5
            << 90;
}

void TestAutoLevels::rule()
{
    QFETCH(ToneHistogram, histogram);
    QFETCH(int, black);
    QFETCH(int, white);
    const ToneLevels levels = chooseToneLevels(histogram);
    QCOMPARE(levels.black, black);
    QCOMPARE(levels.white, white);
}

void TestAutoLevels::redHistogramCounts()
{
    std::vector<int> tones;
    for (int i = 0; i < 60; ++i)
        tones.push_back(i % 3 == 0 ? 9 : 200);
    const ToneHistogram histogram = redHistogram(greyPicture(tones, 10));
    QCOMPARE(histogram[9], qint64(20));
    QCOMPARE(histogram[200], qint64(40));
    qint64 total = 0;
    for (qint64 count : histogram)
        total += count;
    QCOMPARE(total, qint64(60));
    const unsigned char edges[] = {0, 0, 255, 5};
    const ToneHistogram inverse = inverseEdgeHistogram(edges, 4);
    QCOMPARE(inverse[255], qint64(2));
    QCOMPARE(inverse[0], qint64(1));
    QCOMPARE(inverse[250], qint64(1));
}

void TestAutoLevels::penLevels_data()
{
    QTest::addColumn<QImage>("picture");
    QTest::addColumn<int>("black");
    QTest::addColumn<int>("white");
    // No edges at all: every tone 255, drawn white.
    QTest::newRow("flat") << filled(40, 30, qRgb(20, 30, 40)) << 254 << 255;
    QTest::newRow("blocky") << blockyPicture(120, 90, 3) << -1 << -1;
    QTest::newRow("dark blocky") << darkened(blockyPicture(120, 90, 4)) << -1 << -1;
    QTest::newRow("random") << randomPicture(50, 40, 5) << -1 << -1;
}

// The levels follow the rule on the literal edge map's tones, and give the
// same drawing as plain settings.
void TestAutoLevels::penLevels()
{
    QFETCH(QImage, picture);
    QFETCH(int, black);
    QFETCH(int, white);
    std::vector<unsigned char> edges(size_t(picture.width() * picture.height()));
    reference::labsobellight2(picture, edges.data());
    const ToneLevels expected
            = chooseToneLevels(inverseEdgeHistogram(edges.data(), qint64(edges.size())));
    if (black >= 0) {
        QCOMPARE(expected.black, black);
        QCOMPARE(expected.white, white);
    }
    const Drawn automatic = drawn("pen", picture, true);
    QCOMPARE(automatic.choices.numbers.value(QStringLiteral("black"), -1), expected.black);
    QCOMPARE(automatic.choices.numbers.value(QStringLiteral("white"), -1), expected.white);
    const Drawn plain = drawn("pen", picture, false, expected.black, expected.white);
    KESTROVA_COMPARE_PICTURES(automatic.drawing, plain.drawing);
    KESTROVA_COMPARE_PICTURES(
            automatic.drawing,
            reference::pensketch(picture, edges.data(), expected.black, expected.white));
    if (black == 254) {
        for (int y = 0; y < picture.height(); ++y)
            for (int x = 0; x < picture.width(); ++x)
                QCOMPARE(automatic.drawing.pixel(x, y), 0xFFFFFFFFu);
    }
}

void TestAutoLevels::pencilLevels_data()
{
    QTest::addColumn<QImage>("picture");
    QTest::newRow("blocky") << blockyPicture(90, 70, 8);
    QTest::newRow("dark") << filled(60, 40, qRgb(12, 15, 10));
    QTest::newRow("dark blocky") << darkened(blockyPicture(90, 70, 10));
    QTest::newRow("light") << filled(60, 40, qRgb(240, 245, 250));
    QTest::newRow("random") << randomPicture(33, 21, 9);
}

void TestAutoLevels::pencilLevels()
{
    QFETCH(QImage, picture);
    QImage hatch;
    {
        std::vector<unsigned char> edges(size_t(picture.width() * picture.height()));
        labsobellight2(picture, edges.data());
        RandomSequence random;
        pencilSketch(picture, edges.data(), PencilSettings(), random, {}, &hatch);
    }
    const ToneLevels expected = chooseToneLevels(redHistogram(hatch));
    const Drawn automatic = drawn("pencil", picture, true);
    QCOMPARE(automatic.choices.numbers.value(QStringLiteral("black"), -1), expected.black);
    QCOMPARE(automatic.choices.numbers.value(QStringLiteral("white"), -1), expected.white);
    QVERIFY(expected.black < expected.white);
    const Drawn plain = drawn("pencil", picture, false, expected.black, expected.white);
    KESTROVA_COMPARE_PICTURES(automatic.drawing, plain.drawing);
}

void TestAutoLevels::plainSettingsTellNothing()
{
    const QImage picture = blockyPicture(30, 20, 1);
    QVERIFY(drawn("pen", picture, false).choices.numbers.isEmpty());
    QVERIFY(drawn("pencil", picture, false).choices.numbers.isEmpty());
    const Effect *poster = findEffect(QStringLiteral("poster"));
    QVERIFY(poster && !poster->toneLevels && poster->paletteColours);
    QVERIFY(findEffect(QStringLiteral("pen"))->toneLevels);
    QVERIFY(findEffect(QStringLiteral("pencil"))->toneLevels);
    QVERIFY(!findEffect(QStringLiteral("color"))->toneLevels);
}

QTEST_GUILESS_MAIN(TestAutoLevels)
#include "tst_autolevels.moc"
