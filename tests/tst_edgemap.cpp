#include "blur.h"
#include "colour.h"
#include "edgemap.h"
#include "reference.h"
#include "testsupport.h"

#include <QTest>

using namespace testsupport;

namespace {

std::vector<unsigned char> edgeMap(const QImage &image, const Progress &progress = {})
{
    std::vector<unsigned char> edges(size_t(image.width()) * size_t(image.height()), 0xAB);
    labsobellight2(image, edges.data(), progress);
    return edges;
}

std::vector<unsigned char> referenceEdgeMap(const QImage &image)
{
    std::vector<unsigned char> edges(size_t(image.width()) * size_t(image.height()), 0xAB);
    reference::labsobellight2(image, edges.data());
    return edges;
}

QImage halfBlackHalfWhite()
{
    QImage image(20, 20, QImage::Format_RGB32);
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 20; ++x)
            image.setPixel(x, y, x < 10 ? 0xFF000000u : 0xFFFFFFFFu);
    }
    return image;
}

std::vector<int> expectedProgress(int width)
{
    std::vector<int> values;
    for (int x = 0; x < width; ++x)
        values.push_back(30 * x / width);
    values.push_back(40);
    for (int x = 0; x < width; ++x)
        values.push_back(30 * x / width + 40);
    for (int x = 1; x < width - 1; ++x)
        values.push_back(30 * x / width + 70);
    return values;
}

} // namespace

class TestEdgeMap : public QObject
{
    Q_OBJECT

private slots:
    void kernelWeights();
    void blurMatchesReference_data();
    void blurMatchesReference();
    void blurLeavesFrameAndAlphaAlone();
    void uniformWhiteBlursTo253();
    void stepPictureBlurredRowAndLightness();
    void stepPictureEdgeValues();
    void uniformPictureGivesNoEdges_data();
    void uniformPictureGivesNoEdges();
    void smallPictures_data();
    void smallPictures();
    void alphaNeverInfluencesTheMap();
    void otherPixelFormatsGiveTheSameMap_data();
    void otherPixelFormatsGiveTheSameMap();
    void progressSequence_data();
    void progressSequence();
    void progressOfEmptyPicture();
    void matchesReferenceOnRandomPictures_data();
    void matchesReferenceOnRandomPictures();
    void matchesReferenceOnPhotographs_data();
    void matchesReferenceOnPhotographs();
};

void TestEdgeMap::kernelWeights()
{
    const std::vector<double> w = gaussianKernel(7, 1.4);
    QCOMPARE(int(w.size()), 7);
    const double expected[] = {0.06904, 0.13063, 0.19153, 0.21759, 0.19153, 0.13063, 0.06904};
    for (int i = 0; i < 7; ++i)
        QVERIFY2(qAbs(w[i] - expected[i]) < 5e-6, qPrintable(QString::number(w[i], 'g', 17)));
    const std::vector<double> literal = reference::kernel(7, 1.4);
    for (int i = 0; i < 7; ++i)
        QCOMPARE(w[i], literal[i]);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(w[i], w[6 - i]);
}

void TestEdgeMap::blurMatchesReference_data()
{
    QTest::addColumn<QImage>("image");
    for (QSize size : {QSize(7, 7), QSize(8, 31), QSize(33, 9), QSize(64, 48), QSize(6, 20),
                       QSize(20, 6), QSize(1, 1)}) {
        QTest::addRow("random %dx%d", size.width(), size.height())
                << randomPicture(size.width(), size.height(), size.width() * 100 + size.height(),
                                 QImage::Format_ARGB32);
    }
}

void TestEdgeMap::blurMatchesReference()
{
    QFETCH(QImage, image);
    QImage fast = filled(image.width(), image.height(), 0x12345678u, QImage::Format_ARGB32);
    QImage literal = fast.copy();
    blur(image, fast, 7, 1.4);
    reference::blur(image, literal, 7, 1.4);
    KESTROVA_COMPARE_PICTURES(fast, literal);
}

void TestEdgeMap::blurLeavesFrameAndAlphaAlone()
{
    const QImage image = randomPicture(12, 10, 7, QImage::Format_ARGB32);
    QImage blurred = filled(12, 10, 0x12345678u, QImage::Format_ARGB32);
    blur(image, blurred, 7, 1.4);
    for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 12; ++x) {
            const bool inside = x >= 3 && x < 9 && y >= 3 && y < 7;
            if (!inside)
                QCOMPARE(blurred.pixel(x, y), 0x12345678u);
            QCOMPARE(qAlpha(blurred.pixel(x, y)), 0x12);
        }
    }
}

void TestEdgeMap::uniformWhiteBlursTo253()
{
    const QImage white = filled(10, 10, 0xFFFFFFFFu);
    QImage blurred = white.copy();
    blur(white, blurred, 7, 1.4);
    QCOMPARE(blurred.pixel(5, 5), 0xFFFDFDFDu);
    int L;
    QCOMPARE(rgbtol(blurred.pixel(5, 5), &L), 99);
    QCOMPARE(blurred.pixel(2, 5), 0xFFFFFFFFu);
}

void TestEdgeMap::stepPictureBlurredRowAndLightness()
{
    const QImage blurred = reference::blurredCopy(halfBlackHalfWhite());
    const int row[] = {0, 0, 0, 0, 15, 48, 96, 153, 203, 234, 253, 253, 253, 253};
    const int lightness[] = {0, 0, 0, 0, 4, 19, 40, 63, 81, 92, 99, 99, 99, 99};
    QImage fast = halfBlackHalfWhite();
    blur(halfBlackHalfWhite(), fast, 7, 1.4);
    for (int y = 3; y <= 16; ++y) {
        for (int x = 3; x <= 16; ++x) {
            QCOMPARE(qRed(blurred.pixel(x, y)), row[x - 3]);
            QCOMPARE(qRed(fast.pixel(x, y)), row[x - 3]);
            QCOMPARE(qBlue(fast.pixel(x, y)), row[x - 3]);
            QCOMPARE(LightnessTable::instance().lightness(fast.pixel(x, y)), lightness[x - 3]);
        }
    }
}

void TestEdgeMap::stepPictureEdgeValues()
{
    const std::vector<unsigned char> edges = edgeMap(halfBlackHalfWhite());
    const int expected[] = {0, 0, 16, 76, 144, 176, 164, 116, 72, 28, 0, 0};
    for (int y = 4; y <= 15; ++y) {
        for (int x = 4; x <= 15; ++x)
            QCOMPARE(int(edges[y * 20 + x]), expected[x - 4]);
    }
    for (int i = 0; i < 20; ++i) {
        QCOMPARE(int(edges[i]), 0);
        QCOMPARE(int(edges[19 * 20 + i]), 0);
        QCOMPARE(int(edges[i * 20]), 0);
        QCOMPARE(int(edges[i * 20 + 19]), 0);
    }
    KESTROVA_COMPARE_PICTURES(edges, referenceEdgeMap(halfBlackHalfWhite()));
}

void TestEdgeMap::uniformPictureGivesNoEdges_data()
{
    QTest::addColumn<QImage>("image");
    QTest::newRow("white") << filled(30, 25, 0xFFFFFFFFu);
    QTest::newRow("black") << filled(25, 30, 0xFF000000u);
    QTest::newRow("teal, transparent") << filled(17, 9, 0x00208080u, QImage::Format_ARGB32);
    QTest::newRow("grey, narrow") << filled(5, 40, 0xFF7F7F7Fu);
}

void TestEdgeMap::uniformPictureGivesNoEdges()
{
    QFETCH(QImage, image);
    const std::vector<unsigned char> edges = edgeMap(image);
    for (unsigned char e : edges)
        QCOMPARE(int(e), 0);
}

void TestEdgeMap::smallPictures_data()
{
    QTest::addColumn<QImage>("image");
    for (QSize size :
         {QSize(1, 1), QSize(2, 2), QSize(2, 9), QSize(9, 2), QSize(3, 3), QSize(3, 12),
          QSize(12, 3), QSize(6, 6), QSize(6, 11), QSize(11, 6), QSize(7, 7), QSize(7, 8)}) {
        QTest::addRow("%dx%d", size.width(), size.height())
                << randomPicture(size.width(), size.height(), size.width() * 7 + size.height());
    }
}

void TestEdgeMap::smallPictures()
{
    QFETCH(QImage, image);
    const std::vector<unsigned char> edges = edgeMap(image);
    if (image.width() < 3 || image.height() < 3) {
        for (unsigned char e : edges)
            QCOMPARE(int(e), 0);
    }
    KESTROVA_COMPARE_PICTURES(edges, referenceEdgeMap(image));
}

void TestEdgeMap::alphaNeverInfluencesTheMap()
{
    const QImage translucent = randomPicture(40, 30, 99, QImage::Format_ARGB32);
    QImage opaque = translucent.copy();
    for (int y = 0; y < opaque.height(); ++y) {
        for (int x = 0; x < opaque.width(); ++x)
            opaque.setPixel(x, y, opaque.pixel(x, y) | 0xFF000000u);
    }
    KESTROVA_COMPARE_PICTURES(edgeMap(translucent), edgeMap(opaque));
    KESTROVA_COMPARE_PICTURES(edgeMap(opaque),
                              edgeMap(opaque.convertToFormat(QImage::Format_RGB32)));
}

void TestEdgeMap::otherPixelFormatsGiveTheSameMap_data()
{
    QTest::addColumn<QImage>("image");
    const QImage picture = blockyPicture(41, 37, 5);
    QTest::newRow("grey 8") << picture.convertToFormat(QImage::Format_Grayscale8);
    QTest::newRow("indexed 8") << picture.convertToFormat(QImage::Format_Indexed8);
    QTest::newRow("mono") << picture.convertToFormat(QImage::Format_Mono);
    QTest::newRow("rgb 888") << picture.convertToFormat(QImage::Format_RGB888);
    QTest::newRow("rgba 64") << picture.convertToFormat(QImage::Format_RGBA64);
    QTest::newRow("premultiplied") << randomPicture(23, 19, 3, QImage::Format_ARGB32)
                                              .convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

void TestEdgeMap::otherPixelFormatsGiveTheSameMap()
{
    QFETCH(QImage, image);
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    KESTROVA_COMPARE_PICTURES(edgeMap(image), edgeMap(argb));
    KESTROVA_COMPARE_PICTURES(edgeMap(image), referenceEdgeMap(argb));
}

void TestEdgeMap::progressSequence_data()
{
    QTest::addColumn<QSize>("size");
    for (QSize size :
         {QSize(1, 1), QSize(2, 5), QSize(20, 20), QSize(97, 13), QSize(13, 97), QSize(300, 8)})
        QTest::addRow("%dx%d", size.width(), size.height()) << size;
}

void TestEdgeMap::progressSequence()
{
    QFETCH(QSize, size);
    const QImage image = randomPicture(size.width(), size.height(), 11);
    ProgressRecorder fast;
    edgeMap(image, fast.progress());
    QCOMPARE(fast.values, expectedProgress(size.width()));
    QCOMPARE(fast.yields, 0);
    ProgressRecorder literal;
    std::vector<unsigned char> edges(size_t(size.width()) * size.height());
    reference::labsobellight2(image, edges.data(), literal.progress());
    QCOMPARE(literal.values, fast.values);
}

void TestEdgeMap::progressOfEmptyPicture()
{
    ProgressRecorder recorder;
    labsobellight2(QImage(), nullptr, recorder.progress());
    QCOMPARE(recorder.values, std::vector<int>({40}));
}

void TestEdgeMap::matchesReferenceOnRandomPictures_data()
{
    QTest::addColumn<QImage>("image");
    quint32 seed = 1;
    for (QSize size : {QSize(8, 8), QSize(9, 13), QSize(64, 64), QSize(101, 37), QSize(37, 101),
                       QSize(250, 7), QSize(7, 250), QSize(128, 96)}) {
        QTest::addRow("noise %dx%d", size.width(), size.height())
                << randomPicture(size.width(), size.height(), seed++);
        QTest::addRow("blocks %dx%d", size.width(), size.height())
                << blockyPicture(size.width(), size.height(), seed++);
    }
}

void TestEdgeMap::matchesReferenceOnRandomPictures()
{
    QFETCH(QImage, image);
    KESTROVA_COMPARE_PICTURES(edgeMap(image), referenceEdgeMap(image));
}

void TestEdgeMap::matchesReferenceOnPhotographs_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("astronaut") << "astronaut.png";
    QTest::newRow("coffee") << "coffee.png";
}

void TestEdgeMap::matchesReferenceOnPhotographs()
{
    QFETCH(QString, name);
    const QString path = photo(name);
    if (path.isEmpty())
        QSKIP("the photographs folder is not beside the repository");
    const QImage image(path);
    QVERIFY(!image.isNull());
    const QImage working = image.convertToFormat(QImage::Format_ARGB32);
    KESTROVA_COMPARE_PICTURES(edgeMap(image), referenceEdgeMap(working));
}

QTEST_APPLESS_MAIN(TestEdgeMap)
#include "tst_edgemap.moc"
