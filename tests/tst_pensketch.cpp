#include "colour.h"
#include "edgemap.h"
#include "pensketch.h"
#include "reference.h"
#include "testsupport.h"

#include <QTest>

using namespace testsupport;

class TestPenSketch : public QObject
{
    Q_OBJECT

private slots:
    void initialLevelsGreys_data();
    void initialLevelsGreys();
    void blackAboveWhiteIsPureBlackAndWhite();
    void keepsTheSourceFormat();
    void progressSequence();
    void matchesReference_data();
    void matchesReference();
};

void TestPenSketch::initialLevelsGreys_data()
{
    QTest::addColumn<int>("edge");
    QTest::addColumn<int>("grey");
    QTest::newRow("flat") << 0 << 255;
    QTest::newRow("50") << 50 << 133;
    QTest::newRow("104") << 104 << 2;
    QTest::newRow("105") << 105 << 0;
    QTest::newRow("200") << 200 << 0;
    QTest::newRow("255") << 255 << 0;
}

void TestPenSketch::initialLevelsGreys()
{
    QFETCH(int, edge);
    QFETCH(int, grey);
    const std::vector<unsigned char> edges(6, static_cast<unsigned char>(edge));
    const QImage sketch = pensketch(filled(3, 2, 0xFF123456u), edges.data(), {150, 255});
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 3; ++x)
            QCOMPARE(sketch.pixel(x, y), opaqueGrey(grey));
    }
}

void TestPenSketch::blackAboveWhiteIsPureBlackAndWhite()
{
    std::vector<unsigned char> edges(256);
    for (int e = 0; e < 256; ++e)
        edges[e] = static_cast<unsigned char>(e);
    const QImage sketch = pensketch(filled(16, 16, 0xFF000000u), edges.data(), {200, 100});
    for (int e = 0; e < 256; ++e) {
        const QRgb pixel = sketch.pixel(e % 16, e / 16);
        QVERIFY(pixel == 0xFF000000u || pixel == 0xFFFFFFFFu);
        QCOMPARE(pixel, 255 - e > 100 ? 0xFFFFFFFFu : 0xFF000000u);
    }
}

void TestPenSketch::keepsTheSourceFormat()
{
    const std::vector<unsigned char> edges(12, 0);
    QCOMPARE(pensketch(filled(4, 3, 0u, QImage::Format_ARGB32), edges.data(), {150, 255}).format(),
             QImage::Format_ARGB32);
    QCOMPARE(pensketch(filled(4, 3, 0u), edges.data(), {150, 255}).format(), QImage::Format_RGB32);
}

void TestPenSketch::progressSequence()
{
    const int width = 123, height = 77;
    const std::vector<unsigned char> edges(width * height, 9);
    ProgressRecorder recorder;
    pensketch(filled(width, height, 0xFFFFFFFFu), edges.data(), {150, 255}, recorder.progress());
    std::vector<int> expected;
    for (int x = 0; x < width; ++x)
        expected.push_back(95 * x / width + 5);
    QCOMPARE(recorder.values, expected);
}

void TestPenSketch::matchesReference_data()
{
    QTest::addColumn<QImage>("image");
    QTest::addColumn<int>("black");
    QTest::addColumn<int>("white");
    QTest::newRow("blocks, initial levels") << blockyPicture(90, 70, 1) << 150 << 255;
    QTest::newRow("noise, 0/255") << randomPicture(33, 65, 2, QImage::Format_ARGB32) << 0 << 255;
    QTest::newRow("blocks, 30/200") << blockyPicture(64, 64, 3) << 30 << 200;
    QTest::newRow("one pixel") << randomPicture(1, 1, 4) << 150 << 255;
}

void TestPenSketch::matchesReference()
{
    QFETCH(QImage, image);
    QFETCH(int, black);
    QFETCH(int, white);
    std::vector<unsigned char> edges(size_t(image.width()) * image.height());
    labsobellight2(image, edges.data());
    KESTROVA_COMPARE_PICTURES(pensketch(image, edges.data(), {black, white}),
                              reference::pensketch(image, edges.data(), black, white));
}

QTEST_APPLESS_MAIN(TestPenSketch)
#include "tst_pensketch.moc"
