#include "colour.h"
#include "contours.h"
#include "edgemap.h"
#include "levels.h"
#include "pencilhatch.h"
#include "pencilsketch.h"
#include "reference.h"
#include "testsupport.h"

#include <QPainter>
#include <QTest>

#include <set>

using namespace testsupport;

namespace {

QImage hatch(const QImage &source, int density, RandomSequence *random = nullptr,
             const Progress &progress = {})
{
    RandomSequence own;
    return pencilhatch(source, 60, 180, density, 0, true, random ? *random : own, progress);
}

std::set<QRgb> coloursOf(const QImage &image, int row = -1)
{
    std::set<QRgb> colours;
    for (int y = 0; y < image.height(); ++y) {
        if (row >= 0 && y != row)
            continue;
        for (int x = 0; x < image.width(); ++x)
            colours.insert(image.pixel(x, y));
    }
    return colours;
}

// The number of draws a hatch makes: one per point of the falling lines
// inside the picture; one per step of the rising lines and two more per
// point inside the picture.
quint64 expectedDraws(int width, int height, int density)
{
    quint64 draws = 0;
    for (int d = -width; d < width; d += 2) {
        for (int i = 0; i <= width; ++i) {
            const int x = d + i, y = int(qint64(i) * height / width);
            if (x >= 0 && x < width && y >= 0 && y < height)
                ++draws;
        }
    }
    for (int d = -width; d < width; d += density) {
        for (int i = 0; i <= width; ++i) {
            ++draws;
            const int x = d + i, y = height - int(qint64(i) * height / width) + i / 7 + 1;
            if (x >= 0 && x < width && y >= 0 && y < height)
                draws += 2;
        }
    }
    return draws;
}

} // namespace

class TestPencilHatch : public QObject
{
    Q_OBJECT

private slots:
    void jitterIsZeroForEveryDrawOfTheGenerator();
    void jitterWrapsToSigned32Bits();
    void whitePicture();
    void blackPicture();
    void outerRowsGetNoCentres();
    void unreachedPixelsKeepTheSourceColour();
    void densityChangesTheRisingLines();
    void drawCount_data();
    void drawCount();
    void progressAndYieldPerColumn();
    void contrastRunsWhenAsked();
    void matchesReference_data();
    void matchesReference();
    void matchesReferenceOnAPhotograph();
    void sketchComposesLevelsAndContours();
    void sketchWithoutContours();
};

void TestPencilHatch::jitterIsZeroForEveryDrawOfTheGenerator()
{
    // The values of r for which J or T is not 0: r * 20 or r * 3 wraps to
    // 2^31 - 1, 2^31 or 2^31 + 1. Search them among all r below 2^31.
    std::vector<quint32> special;
    for (quint32 wrapped : {0x7FFFFFFFu, 0x80000000u, 0x80000001u}) {
        // r * 3 = wrapped (mod 2^32): 3 is invertible.
        quint32 inverse3 = 1;
        for (int i = 0; i < 5; ++i)
            inverse3 *= 2 - 3 * inverse3;
        special.push_back(wrapped * inverse3);
        // r * 20 = wrapped (mod 2^32): only for multiples of 4.
        if (wrapped % 4 == 0) {
            quint32 inverse5 = 1;
            for (int i = 0; i < 5; ++i)
                inverse5 *= 2 - 5 * inverse5;
            const quint32 r = ((wrapped / 4) * inverse5) & 0x3FFFFFFFu;
            special.push_back(r);
            special.push_back(r + 0x40000000u);
        }
    }
    // A draw yielding r needs bits 16..26 of the generator's first state to
    // be r's top 11 bits; try every such state.
    auto canBeDrawn = [](quint32 r) {
        for (quint32 high = 0; high < 32; ++high) {
            for (quint32 low = 0; low < 65536; ++low) {
                quint32 s = (high << 27) | ((r >> 20) << 16) | low;
                s = s * 1103515245u + 12345u;
                if (((s / 65536u) % 1024u) != ((r >> 10) & 1023u))
                    continue;
                s = s * 1103515245u + 12345u;
                if (((s / 65536u) % 1024u) == (r & 1023u))
                    return true;
            }
        }
        return false;
    };
    QVERIFY(canBeDrawn(476707713u)); // the first draw from the start-up state
    int checked = 0;
    for (quint32 r : special) {
        if (r > 0x7FFFFFFFu)
            continue;
        QVERIFY(jitterJ(int(r)) != 0 || jitterT(int(r)) != 0);
        QVERIFY2(!canBeDrawn(r), qPrintable(QString("r = %1 can be drawn").arg(r)));
        ++checked;
    }
    QVERIFY(checked >= 2);
}

void TestPencilHatch::jitterWrapsToSigned32Bits()
{
    QCOMPARE(jitterJ(0), 0);
    QCOMPARE(jitterJ(RandomSequence::Max), 0);
    QCOMPARE(jitterT(RandomSequence::Max), 0);
    // 0x2AAAAAAB * 3 = 0x80000001 (mod 2^32) = -2147483647.
    QCOMPARE(jitterT(0x2AAAAAAB), -1);
    // 0x55555555 * 3 = 0xFFFFFFFF = -1: 0.
    QCOMPARE(jitterT(0x55555555), 0);
}

void TestPencilHatch::whitePicture()
{
    const QImage white = filled(40, 30, 0xFFFFFFFFu);
    const QImage result = hatch(white, 6);
    QCOMPARE(result.format(), QImage::Format_ARGB32);
    const std::set<QRgb> expected
            = {opaqueGrey(240), opaqueGrey(245), opaqueGrey(250), opaqueGrey(255)};
    QCOMPARE(coloursOf(result), expected);
    QImage levelled = result;
    levelimg(levelled, 60, 180);
    QCOMPARE(coloursOf(levelled), std::set<QRgb>({0xFFFFFFFFu}));
}

void TestPencilHatch::blackPicture()
{
    const QImage black = filled(40, 30, 0xFF000000u);
    const QImage result = hatch(black, 6);
    QCOMPARE(coloursOf(result), std::set<QRgb>({opaqueGrey(0), opaqueGrey(10)}));
    QImage levelled = result;
    levelimg(levelled, 60, 180);
    QCOMPARE(coloursOf(levelled), std::set<QRgb>({0xFF000000u}));
}

void TestPencilHatch::outerRowsGetNoCentres()
{
    const QImage white = filled(50, 20, 0xFFFFFFFFu);
    const QImage result = hatch(white, 3);
    // Only rims (255 from the falling lines, 250 from the rising ones) and
    // the untouched source reach the first and last rows.
    for (int row : {0, 19}) {
        for (QRgb colour : coloursOf(result, row))
            QVERIFY(colour == opaqueGrey(255) || colour == opaqueGrey(250));
    }
    QVERIFY(coloursOf(result, 1).count(opaqueGrey(245)));
}

void TestPencilHatch::unreachedPixelsKeepTheSourceColour()
{
    // One row: strokes need a row above and below, so nothing is painted.
    const QImage source = randomPicture(9, 1, 5, QImage::Format_ARGB32);
    KESTROVA_COMPARE_PICTURES(hatch(source, 4), source);
    // Two rows: the same.
    const QImage two = randomPicture(9, 2, 6);
    KESTROVA_COMPARE_PICTURES(hatch(two, 4), two.convertToFormat(QImage::Format_ARGB32));
}

void TestPencilHatch::densityChangesTheRisingLines()
{
    // Grey 0x80 has tone 132: the falling lines give centres 132 and rims
    // 142, the rising ones centres 122 and rims 132.
    const QImage grey = filled(70, 70, 0xFF808080u);
    const QImage dense = hatch(grey, 1);
    const QImage sparse = hatch(grey, 10);
    for (int row : {20, 35}) {
        // Rising lines at every column offset: their rims cover everything.
        QCOMPARE(coloursOf(dense, row), std::set<QRgb>({opaqueGrey(132)}));
        // Ten columns apart: the row repeats every ten pixels and shows the
        // rising lines' centres between the falling lines' strokes.
        for (int x = 0; x + 10 < 70; ++x)
            QCOMPARE(sparse.pixel(x, row), sparse.pixel(x + 10, row));
        QVERIFY(coloursOf(sparse, row).count(opaqueGrey(122)));
        QVERIFY(coloursOf(sparse, row).count(opaqueGrey(142)));
    }
}

void TestPencilHatch::drawCount_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("density");
    QTest::newRow("20x20, 6") << QSize(20, 20) << 6;
    QTest::newRow("37x11, 1") << QSize(37, 11) << 1;
    QTest::newRow("11x37, 10") << QSize(11, 37) << 10;
    QTest::newRow("1x1, 3") << QSize(1, 1) << 3;
    QTest::newRow("3x2, 2") << QSize(3, 2) << 2;
    QTest::newRow("200x7, 7") << QSize(200, 7) << 7;
}

void TestPencilHatch::drawCount()
{
    QFETCH(QSize, size);
    QFETCH(int, density);
    RandomSequence random(777u);
    hatch(randomPicture(size.width(), size.height(), 1), density, &random);
    RandomSequence expected(777u);
    const quint64 draws = expectedDraws(size.width(), size.height(), density);
    for (quint64 i = 0; i < draws; ++i)
        expected.next();
    QCOMPARE(random.state(), expected.state());
    RandomSequence literal(777u);
    reference::pencilhatch(randomPicture(size.width(), size.height(), 1), density, literal);
    QCOMPARE(literal.state(), expected.state());
}

void TestPencilHatch::progressAndYieldPerColumn()
{
    const int width = 77;
    ProgressRecorder recorder;
    hatch(randomPicture(width, 33, 3), 6, nullptr, recorder.progress());
    std::vector<int> values, yieldsBefore;
    for (int x = 0; x < width; ++x) {
        values.push_back(60 * x / width);
        yieldsBefore.push_back(x + 1);
    }
    QCOMPARE(recorder.values, values);
    QCOMPARE(recorder.yieldsBefore, yieldsBefore);
    // Without a progress bar the events still go through once per column.
    ProgressRecorder yieldsOnly;
    Progress progress = yieldsOnly.progress();
    progress.setValue = nullptr;
    hatch(randomPicture(width, 5, 3), 6, nullptr, progress);
    QCOMPARE(yieldsOnly.yields, width);
}

void TestPencilHatch::contrastRunsWhenAsked()
{
    const QImage source = blockyPicture(30, 30, 8);
    RandomSequence a, b;
    QImage expected = pencilhatch(source, 0, 0, 5, 0, false, a);
    contrastimg(expected, 40);
    KESTROVA_COMPARE_PICTURES(pencilhatch(source, 0, 0, 5, 40, false, b), expected);
}

void TestPencilHatch::matchesReference_data()
{
    QTest::addColumn<QImage>("image");
    QTest::addColumn<int>("density");
    quint32 seed = 1;
    const QSize sizes[]
            = {QSize(1, 1),    QSize(1, 2),   QSize(2, 1),   QSize(2, 2),   QSize(3, 3),
               QSize(1, 9),    QSize(9, 1),   QSize(3, 17),  QSize(17, 3),  QSize(64, 48),
               QSize(48, 64),  QSize(150, 9), QSize(9, 150), QSize(31, 30), QSize(640, 20),
               QSize(20, 640), QSize(97, 61), QSize(7, 7)};
    for (QSize size : sizes) {
        for (int density = 1; density <= 10; ++density) {
            QTest::addRow("%dx%d density %d", size.width(), size.height(), density)
                    << (seed % 2 ? randomPicture(size.width(), size.height(), seed,
                                                 QImage::Format_ARGB32)
                                 : blockyPicture(size.width(), size.height(), seed))
                    << density;
            ++seed;
        }
    }
}

void TestPencilHatch::matchesReference()
{
    QFETCH(QImage, image);
    QFETCH(int, density);
    RandomSequence fast(1u), literal(1u);
    const QImage result = hatch(image, density, &fast);
    KESTROVA_COMPARE_PICTURES(result, reference::pencilhatch(image, density, literal));
    QCOMPARE(fast.state(), literal.state());
}

void TestPencilHatch::matchesReferenceOnAPhotograph()
{
    const QString path = photo("astronaut.png");
    if (path.isEmpty())
        QSKIP("the photographs folder is not beside the repository");
    const QImage image = QImage(path).convertToFormat(QImage::Format_ARGB32);
    for (int density : {1, 6}) {
        RandomSequence fast(1u), literal(1u);
        KESTROVA_COMPARE_PICTURES(hatch(image, density, &fast),
                                  reference::pencilhatch(image, density, literal));
        QCOMPARE(fast.state(), literal.state());
    }
}

void TestPencilHatch::sketchComposesLevelsAndContours()
{
    const QImage source = blockyPicture(70, 50, 12);
    std::vector<unsigned char> edges(70 * 50);
    labsobellight2(source, edges.data());
    PencilSettings settings;
    settings.density = 4;
    settings.black = 50;
    settings.white = 190;
    settings.contours.black = 180;
    settings.contours.white = 250;
    RandomSequence random, literalRandom;
    ProgressRecorder recorder;
    QImage hatchImage, penImage;
    const QImage display = pencilSketch(source, edges.data(), settings, random, recorder.progress(),
                                        &hatchImage, &penImage);

    const QImage literalHatch = reference::pencilhatch(source, 4, literalRandom);
    KESTROVA_COMPARE_PICTURES(hatchImage, literalHatch);
    QImage literalPen = literalHatch.copy();
    for (int x = 0; x < 70; ++x) {
        for (int y = 0; y < 50; ++y)
            literalPen.setPixel(x, y, reference::level(qRed(literalPen.pixel(x, y)), 50, 190));
    }
    KESTROVA_COMPARE_PICTURES(penImage, literalPen);
    QImage layer = literalPen.copy();
    for (int x = 0; x < 70; ++x) {
        for (int y = 0; y < 50; ++y)
            layer.setPixel(x, y, reference::level(255 - edges[y * 70 + x], 180, 250));
    }
    QImage literalDisplay = literalPen.copy();
    QPainter painter(&literalDisplay);
    painter.setCompositionMode(QPainter::CompositionMode_Multiply);
    painter.drawImage(0, 0, layer);
    painter.end();
    KESTROVA_COMPARE_PICTURES(display, literalDisplay);

    QCOMPARE(int(recorder.values.size()), 70 + 3);
    QCOMPARE(std::vector<int>(recorder.values.end() - 3, recorder.values.end()),
             std::vector<int>({70, 80, 99}));
}

void TestPencilHatch::sketchWithoutContours()
{
    const QImage source = blockyPicture(40, 40, 13);
    std::vector<unsigned char> edges(40 * 40, 255);
    PencilSettings settings;
    settings.contours.on = false;
    RandomSequence random;
    QImage penImage;
    const QImage display
            = pencilSketch(source, edges.data(), settings, random, {}, nullptr, &penImage);
    KESTROVA_COMPARE_PICTURES(display, penImage);
}

QTEST_APPLESS_MAIN(TestPencilHatch)
#include "tst_pencilhatch.moc"
