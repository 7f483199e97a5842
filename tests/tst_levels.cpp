#include "colour.h"
#include "contours.h"
#include "levels.h"
#include "multiply.h"
#include "reference.h"
#include "testsupport.h"

#include <QPainter>
#include <QTest>

#include <cmath>

using namespace testsupport;

namespace {

QImage multipliedByPainter(QImage destination, const QImage &layer)
{
    QPainter painter(&destination);
    painter.setCompositionMode(QPainter::CompositionMode_Multiply);
    painter.drawImage(0, 0, layer);
    painter.end();
    return destination;
}

// Every grey d along x and every grey s along y.
void everyGreyPair(QImage::Format destinationFormat, QImage::Format layerFormat,
                   QImage *destination, QImage *layer)
{
    *destination = QImage(256, 256, destinationFormat);
    *layer = QImage(256, 256, layerFormat);
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            destination->setPixel(x, y, opaqueGrey(x));
            layer->setPixel(x, y, opaqueGrey(y));
        }
    }
}

int contrastLiteral(int v, int strength)
{
    const double k = strength / 5;
    double r;
    if (v < 63)
        r = v - k * std::log(double(std::max(v, 2)));
    else if (v < 127)
        r = v - k * std::log(double(std::max(126 - v, 2)));
    else if (v < 191)
        r = v + k * std::log(double(std::max(v - 126, 2)));
    else
        r = v + k * std::log(double(std::max(std::abs(v - 252), 2)));
    return qBound(0, int(r), 255);
}

} // namespace

class TestLevels : public QObject
{
    Q_OBJECT

private slots:
    void levelExamples();
    void levelWithEqualBlackAndWhite();
    void levelMatchesReferenceEverywhere();
    void levelimgUsesTheRedChannel();
    void levelimgOfOtherFormats();
    void contrastWeakStrengthsOnlyMakeGreys();
    void contrastOutOfRangeLeavesThePictureAlone();
    void contrastCurve();
    void testwReturnsItsFirstArgument();
    void penLevelsFullRangeInvertsEdges();
    void penLevelsHonoursRowStride();
    void multiplyMatchesPainterOnEveryGreyPair_data();
    void multiplyMatchesPainterOnEveryGreyPair();
    void multiplyMatchesPainterOnColours();
    void multiplyTranslucentFallsBackToPainter();
    void multiplyByWhiteChangesNothing();
    void multiplyContoursMatchesLayerAndPainter_data();
    void multiplyContoursMatchesLayerAndPainter();
};

void TestLevels::levelExamples()
{
    QCOMPARE(level(100, 100, 200), 0xFF000000u);
    QCOMPARE(level(200, 100, 200), 0xFFFFFFFFu);
    QCOMPARE(level(201, 100, 200), 0xFFFFFFFFu);
    QCOMPARE(level(150, 100, 200), 0xFF7F7F7Fu);
    QCOMPARE(level(99, 100, 200), 0xFF000000u);
}

void TestLevels::levelWithEqualBlackAndWhite()
{
    QCOMPARE(level(128, 128, 128), 0xFF000000u);
    QCOMPARE(level(129, 128, 128), 0xFFFFFFFFu);
    QCOMPARE(level(127, 128, 128), 0xFF000000u);
    // Black above white: above white is white, the rest below black is black.
    QCOMPARE(level(150, 200, 100), 0xFFFFFFFFu);
    QCOMPARE(level(90, 200, 100), 0xFF000000u);
}

void TestLevels::levelMatchesReferenceEverywhere()
{
    for (int black = 0; black < 256; black += 15) {
        for (int white = 0; white < 256; white += 17) {
            for (int v = 0; v < 256; ++v)
                QCOMPARE(level(v, black, white), reference::level(v, black, white));
        }
    }
}

void TestLevels::levelimgUsesTheRedChannel()
{
    QImage image(3, 2, QImage::Format_ARGB32);
    image.setPixel(0, 0, qRgba(150, 0, 255, 10));
    image.setPixel(1, 0, qRgba(100, 255, 255, 255));
    image.setPixel(2, 0, qRgba(201, 0, 0, 255));
    image.setPixel(0, 1, qRgba(0, 0, 0, 0));
    image.setPixel(1, 1, qRgba(200, 1, 2, 3));
    image.setPixel(2, 1, qRgba(99, 255, 255, 255));
    levelimg(image, 100, 200);
    QCOMPARE(image.pixel(0, 0), 0xFF7F7F7Fu);
    QCOMPARE(image.pixel(1, 0), 0xFF000000u);
    QCOMPARE(image.pixel(2, 0), 0xFFFFFFFFu);
    QCOMPARE(image.pixel(0, 1), 0xFF000000u);
    QCOMPARE(image.pixel(1, 1), 0xFFFFFFFFu);
    QCOMPARE(image.pixel(2, 1), 0xFF000000u);
}

void TestLevels::levelimgOfOtherFormats()
{
    const QImage picture = randomPicture(13, 7, 4);
    QImage fast = picture;
    QImage viaRgb888 = picture.convertToFormat(QImage::Format_RGB888);
    levelimg(fast, 60, 180);
    levelimg(viaRgb888, 60, 180);
    KESTROVA_COMPARE_PICTURES(viaRgb888.convertToFormat(QImage::Format_RGB32), fast);
}

void TestLevels::contrastWeakStrengthsOnlyMakeGreys()
{
    const QImage picture = randomPicture(16, 16, 21, QImage::Format_ARGB32);
    for (int strength = 0; strength <= 4; ++strength) {
        QImage image = picture.copy();
        contrastimg(image, strength);
        for (int y = 0; y < 16; ++y) {
            for (int x = 0; x < 16; ++x)
                QCOMPARE(image.pixel(x, y), opaqueGrey(qRed(picture.pixel(x, y))));
        }
    }
}

void TestLevels::contrastOutOfRangeLeavesThePictureAlone()
{
    const QImage picture = randomPicture(9, 5, 8, QImage::Format_ARGB32);
    for (int strength : {-1, 256, 1000}) {
        QImage image = picture.copy();
        contrastimg(image, strength);
        KESTROVA_COMPARE_PICTURES(image, picture);
    }
}

void TestLevels::contrastCurve()
{
    QImage image(256, 1, QImage::Format_RGB32);
    for (int strength : {5, 50, 128, 255}) {
        for (int v = 0; v < 256; ++v)
            image.setPixel(v, 0, qRgb(v, 255 - v, 7));
        contrastimg(image, strength);
        for (int v = 0; v < 256; ++v)
            QCOMPARE(image.pixel(v, 0), opaqueGrey(contrastLiteral(v, strength)));
    }
    // Spot values at strength 50 (k = 10): 10 - 10 ln 10 = -13.0 -> 0;
    // 200 + 10 ln 52 = 239.5 -> 239.
    image.setPixel(0, 0, qRgb(10, 0, 0));
    image.setPixel(1, 0, qRgb(200, 0, 0));
    contrastimg(image, 50);
    QCOMPARE(qRed(image.pixel(0, 0)), 0);
    QCOMPARE(qRed(image.pixel(1, 0)), 239);
}

void TestLevels::testwReturnsItsFirstArgument()
{
    QCOMPARE(testw(17, 255), 17);
    QCOMPARE(testw(-3, 0), -3);
}

void TestLevels::penLevelsFullRangeInvertsEdges()
{
    std::vector<unsigned char> edges(256 * 2);
    for (int i = 0; i < 512; ++i)
        edges[i] = static_cast<unsigned char>(i % 256);
    QImage layer(256, 2, QImage::Format_ARGB32);
    penLevels(layer, edges.data(), 0, 255);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 256; ++x)
            QCOMPARE(layer.pixel(x, y), opaqueGrey(255 - x));
    }
}

void TestLevels::penLevelsHonoursRowStride()
{
    // A 3-pixel-wide layer inside a wider buffer: rows start every 5 pixels.
    std::vector<QRgb> buffer(5 * 2, 0x11111111u);
    QImage layer(reinterpret_cast<uchar *>(buffer.data()), 3, 2, 5 * 4, QImage::Format_RGB32);
    const unsigned char edges[] = {0, 10, 20, 30, 40, 50};
    penLevels(layer, edges, 0, 255);
    QCOMPARE(buffer[0], opaqueGrey(255));
    QCOMPARE(buffer[2], opaqueGrey(235));
    QCOMPARE(buffer[3], 0x11111111u);
    QCOMPARE(buffer[5], opaqueGrey(225));
    QCOMPARE(buffer[7], opaqueGrey(205));
}

void TestLevels::multiplyMatchesPainterOnEveryGreyPair_data()
{
    QTest::addColumn<int>("destinationFormat");
    QTest::addColumn<int>("layerFormat");
    QTest::newRow("argb32 over argb32") << int(QImage::Format_ARGB32) << int(QImage::Format_ARGB32);
    QTest::newRow("argb32 over rgb32") << int(QImage::Format_RGB32) << int(QImage::Format_ARGB32);
    QTest::newRow("rgb32 over argb32") << int(QImage::Format_ARGB32) << int(QImage::Format_RGB32);
    QTest::newRow("rgb32 over rgb32") << int(QImage::Format_RGB32) << int(QImage::Format_RGB32);
}

void TestLevels::multiplyMatchesPainterOnEveryGreyPair()
{
    QFETCH(int, destinationFormat);
    QFETCH(int, layerFormat);
    QImage destination, layer;
    everyGreyPair(QImage::Format(destinationFormat), QImage::Format(layerFormat), &destination,
                  &layer);
    const QImage expected = multipliedByPainter(destination, layer);
    multiply(destination, layer);
    KESTROVA_COMPARE_PICTURES(destination, expected);
    // The documented rounding, checked on its own.
    for (int d = 0; d < 256; d += 51) {
        for (int s = 0; s < 256; s += 17) {
            const int product = destinationFormat == QImage::Format_ARGB32
                    ? (d * s + 127) / 255
                    : ((d * s) + ((d * s) >> 8) + 0x80) >> 8;
            QCOMPARE(qRed(destination.pixel(d, s)), product);
        }
    }
}

void TestLevels::multiplyMatchesPainterOnColours()
{
    for (QImage::Format format : {QImage::Format_RGB32, QImage::Format_ARGB32}) {
        QImage destination = randomPicture(64, 40, 5).convertToFormat(format);
        const QImage layer = randomPicture(64, 40, 6);
        const QImage expected = multipliedByPainter(destination, layer);
        multiply(destination, layer);
        KESTROVA_COMPARE_PICTURES(destination, expected);
    }
}

void TestLevels::multiplyTranslucentFallsBackToPainter()
{
    QImage destination = randomPicture(20, 10, 1, QImage::Format_ARGB32);
    const QImage layer = randomPicture(20, 10, 2, QImage::Format_ARGB32);
    const QImage expected = multipliedByPainter(destination, layer);
    multiply(destination, layer);
    KESTROVA_COMPARE_PICTURES(destination, expected);
    QImage smaller = randomPicture(30, 30, 3);
    const QImage expectedSmaller = multipliedByPainter(smaller, layer);
    multiply(smaller, layer);
    KESTROVA_COMPARE_PICTURES(smaller, expectedSmaller);
}

void TestLevels::multiplyByWhiteChangesNothing()
{
    for (QImage::Format format : {QImage::Format_RGB32, QImage::Format_ARGB32}) {
        const QImage picture = randomPicture(33, 21, 9).convertToFormat(format);
        QImage destination = picture.copy();
        multiply(destination, filled(33, 21, 0xFFFFFFFFu, QImage::Format_ARGB32));
        KESTROVA_COMPARE_PICTURES(destination, picture);
    }
}

void TestLevels::multiplyContoursMatchesLayerAndPainter_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<int>("black");
    QTest::addColumn<int>("white");
    QTest::newRow("argb32 200/255") << int(QImage::Format_ARGB32) << 200 << 255;
    QTest::newRow("rgb32 200/255") << int(QImage::Format_RGB32) << 200 << 255;
    QTest::newRow("argb32 60/180") << int(QImage::Format_ARGB32) << 60 << 180;
    QTest::newRow("rgb32 black above white") << int(QImage::Format_RGB32) << 220 << 30;
    QTest::newRow("translucent") << int(QImage::Format_ARGB32_Premultiplied) << 100 << 250;
}

void TestLevels::multiplyContoursMatchesLayerAndPainter()
{
    QFETCH(int, format);
    QFETCH(int, black);
    QFETCH(int, white);
    const int width = 50, height = 31;
    std::vector<unsigned char> edges(width * height);
    for (size_t i = 0; i < edges.size(); ++i)
        edges[i] = static_cast<unsigned char>((i * 37) % 256);
    QImage picture = randomPicture(width, height, 77, QImage::Format_ARGB32);
    if (format != QImage::Format_ARGB32_Premultiplied) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                picture.setPixel(x, y, picture.pixel(x, y) | 0xFF000000u);
        }
    }
    picture = picture.convertToFormat(QImage::Format(format));
    QImage layer(width, height, QImage::Format_ARGB32);
    penLevels(layer, edges.data(), black, white);
    const QImage expected = multipliedByPainter(picture, layer);
    QImage fast = picture.copy();
    multiplyContours(fast, edges.data(), black, white);
    KESTROVA_COMPARE_PICTURES(fast, expected);
    KESTROVA_COMPARE_PICTURES(contourLayer(QSize(width, height), edges.data(), black, white),
                              layer);
}

QTEST_APPLESS_MAIN(TestLevels)
#include "tst_levels.moc"
