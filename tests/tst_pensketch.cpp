#include "colour.h"
#include "edgemap.h"
#include "parallel.h"
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
    void greyBytesHoldTheSameGreys_data();
    void greyBytesHoldTheSameGreys();
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

void TestPenSketch::greyBytesHoldTheSameGreys_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("black");
    QTest::addColumn<int>("white");
    // Widths that are and are not whole 32-bit words of bytes; large enough
    // for huge-page memory and several bands.
    const QSize sizes[] = {{1, 1}, {3, 7}, {8, 5}, {301, 203}, {2051, 1030}};
    for (const QSize size : sizes) {
        QTest::addRow("%dx%d, 150/255", size.width(), size.height()) << size << 150 << 255;
        QTest::addRow("%dx%d, 30/200", size.width(), size.height()) << size << 30 << 200;
        QTest::addRow("%dx%d, 200/30", size.width(), size.height()) << size << 200 << 30;
    }
}

// The pen as bytes: every byte is the grey of the 32-bit sketch's pixel,
// with the same progress, on any number of threads.
void TestPenSketch::greyBytesHoldTheSameGreys()
{
    QFETCH(QSize, size);
    QFETCH(int, black);
    QFETCH(int, white);
    const QImage picture = blockyPicture(size.width(), size.height(), 6);
    std::vector<unsigned char> edges(size_t(size.width()) * size_t(size.height()));
    labsobellight2(picture, edges.data());
    ProgressRecorder wordsProgress;
    const QImage words = pensketch(picture, edges.data(), {black, white}, wordsProgress.progress());
    for (const int threads : {1, 2, 3, 8}) {
        const ThreadBudget budget(threads);
        ProgressRecorder bytesProgress;
        const QImage bytes
                = pensketchGrey(picture, edges.data(), {black, white}, bytesProgress.progress());
        QCOMPARE(bytes.format(), QImage::Format_Grayscale8);
        QCOMPARE(bytes.size(), size);
        for (int y = 0; y < size.height(); ++y) {
            const uchar *grey = bytes.constScanLine(y);
            const auto *pixel = reinterpret_cast<const QRgb *>(words.constScanLine(y));
            for (int x = 0; x < size.width(); ++x) {
                if (opaqueGrey(grey[x]) != pixel[x])
                    QFAIL(qPrintable(QString("%1 threads: (%2, %3) is %4, not %5")
                                             .arg(threads)
                                             .arg(x)
                                             .arg(y)
                                             .arg(grey[x])
                                             .arg(pixel[x], 8, 16)));
            }
        }
        QCOMPARE(bytesProgress.values, wordsProgress.values);
    }
}

QTEST_APPLESS_MAIN(TestPenSketch)
#include "tst_pensketch.moc"
