#include "parallel.h"
#include "smoothscale.h"
#include "testsupport.h"

#include <QRandomGenerator>
#include <QTest>

using namespace testsupport;

namespace {

// A picture like the colour sketch's: patches of opaque colours, and in
// ARGB32 pictures a few pixels of the transparent value 2 where no region is.
QImage patches(int width, int height, quint32 seed, QImage::Format format)
{
    QRandomGenerator generator(seed);
    QImage image(width, height, format);
    const QRgb none = format == QImage::Format_RGB32 ? 0xFF000002u : 0x00000002u;
    const int patch = 1 + int(generator.bounded(9));
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const quint32 cell = quint32(x / patch * 7919 + y / patch * 104729) ^ seed;
            line[x] = (cell % 23 == 0) ? none : 0xFF000000u | (cell * 2654435761u >> 8);
        }
    }
    return image;
}

#define COMPARE_BITS(actual, expected) \
    do { \
        const QString difference_ = firstRawDifference((actual), (expected)); \
        QVERIFY2(difference_.isEmpty(), qPrintable(difference_)); \
    } while (false)

QImage scaledHere(const QImage &source, int width, int threads)
{
    const ScaleToWidth scaling(source.size(), width);
    const SmoothScale scale(source.size(), scaling.size);
    QImage target(scaling.size, source.format());
    target.fill(0x12345678u);
    const ThreadBudget budget(threads);
    scale.scale(source, target);
    return target;
}

} // namespace

class TestSmoothScale : public QObject
{
    Q_OBJECT

private slots:
    void matchesQt_data();
    void matchesQt();
    void colourSketchSizes_data();
    void colourSketchSizes();
    void changedPartsOnly();
    void sizesAsQt();
    void pathAsQt();
    void paintedLikeQt();
    void sidesItHandles();
};

void TestSmoothScale::matchesQt_data()
{
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<int>("threads");
    for (const QImage::Format format :
         {QImage::Format_RGB32, QImage::Format_ARGB32_Premultiplied}) {
        for (const int threads : {1, 2, 3, 8}) {
            const QByteArray name = QByteArray(format == QImage::Format_RGB32 ? "RGB32" : "PM")
                    + ", " + QByteArray::number(threads) + " threads";
            QTest::newRow(name.constData()) << format << threads;
        }
    }
}

// Random sizes, enlarged and reduced each way, noise and patches.
void TestSmoothScale::matchesQt()
{
    QFETCH(QImage::Format, format);
    QFETCH(int, threads);
    QRandomGenerator generator(quint32(format) * 131 + quint32(threads));
    for (int i = 0; i < 120; ++i) {
        const int width = 1 + int(generator.bounded(i % 4 == 0 ? 700 : 90));
        const int height = 1 + int(generator.bounded(i % 5 == 0 ? 400 : 90));
        const int target = 1 + int(generator.bounded(quint32(std::max(2, width * 4))));
        QImage source = i % 2 ? patches(width, height, quint32(i), format)
                              : randomPicture(width, height, quint32(i), QImage::Format_ARGB32);
        source = source.convertToFormat(format);
        const QImage expected = source.scaledToWidth(target, Qt::SmoothTransformation);
        if (expected.isNull() || expected.size() == source.size())
            continue;
        COMPARE_BITS(scaledHere(source, target, threads), expected);
    }
}

void TestSmoothScale::colourSketchSizes_data()
{
    QTest::addColumn<QSize>("working");
    QTest::addColumn<int>("width");
    // 5120 x 2880 shown from 1333 x 750, and widths that divide nothing.
    QTest::newRow("1333x750 to 5120") << QSize(1333, 750) << 5120;
    QTest::newRow("1414x707 to 2000") << QSize(1414, 707) << 2000;
    QTest::newRow("999x1000 to 1000") << QSize(999, 1000) << 1000;
    QTest::newRow("577x1731 to 1733") << QSize(577, 1731) << 1733;
    QTest::newRow("3162x316 to 10001") << QSize(3162, 316) << 10001;
    QTest::newRow("1x1000 to 3") << QSize(1, 1000) << 3;
}

void TestSmoothScale::colourSketchSizes()
{
    QFETCH(QSize, working);
    QFETCH(int, width);
    for (const QImage::Format format :
         {QImage::Format_RGB32, QImage::Format_ARGB32_Premultiplied}) {
        const QImage source
                = patches(working.width(), working.height(), 77, format).convertToFormat(format);
        const QImage expected = source.scaledToWidth(width, Qt::SmoothTransformation);
        for (const int threads : {1, 2, 3, 8})
            COMPARE_BITS(scaledHere(source, width, threads), expected);
    }
}

// A source that changes in a rectangle: rewriting only the target pixels
// that read it gives Qt's picture of the new source.
void TestSmoothScale::changedPartsOnly()
{
    QRandomGenerator generator(5);
    for (int i = 0; i < 300; ++i) {
        const int width = 1 + int(generator.bounded(200));
        const int height = 1 + int(generator.bounded(200));
        // Shrinking and enlarging in turn.
        const int target = i % 2 ? 1 + int(generator.bounded(quint32(width)))
                                 : width + int(generator.bounded(quint32(width * 4)));
        const QImage before = patches(width, height, quint32(i), QImage::Format_RGB32);
        QImage after = before.copy();
        const QRect changed(int(generator.bounded(width)), int(generator.bounded(height)),
                            1 + int(generator.bounded(8)), 1 + int(generator.bounded(8)));
        for (int y = changed.top(); y <= std::min(changed.bottom(), height - 1); ++y) {
            for (int x = changed.left(); x <= std::min(changed.right(), width - 1); ++x)
                after.setPixel(x, y, 0xFF000000u | generator.generate());
        }
        const QImage expected = after.scaledToWidth(target, Qt::SmoothTransformation);
        if (expected.isNull() || expected.size() == after.size())
            continue;
        QImage shown = before.scaledToWidth(target, Qt::SmoothTransformation);
        const SmoothScale scale(after.size(), shown.size());
        const ThreadBudget budget(1 + i % 3);
        const QRect inside = changed.intersected(after.rect());
        scale.scale(after, shown, [&](int y, SmoothScale::Spans &spans) {
            spans.clear();
            if (scale.lastRowRead(y) >= inside.top() && scale.firstRowRead(y) <= inside.bottom())
                spans.push_back(scale.columnsReading(inside.left(), inside.right()));
        });
        COMPARE_BITS(shown, expected);
    }
}

void TestSmoothScale::sizesAsQt()
{
    QRandomGenerator generator(11);
    for (int i = 0; i < 400; ++i) {
        const QSize size(1 + int(generator.bounded(400)), 1 + int(generator.bounded(400)));
        const int width = 1 + int(generator.bounded(i % 7 ? 800 : size.width() + 1));
        const QImage picture(size, QImage::Format_RGB32);
        const ScaleToWidth scaling(size, width);
        const QImage scaled = picture.scaledToWidth(width, Qt::SmoothTransformation);
        QCOMPARE(scaling.size, scaled.size());
        QCOMPARE(scaling.identity(), scaled.constBits() == picture.constBits());
    }
    QCOMPARE(ScaleToWidth(QSize(1333, 750), 5120).size, QSize(5120, 2881));
}

// ARGB32 pictures go through the scaler when they are large or shrink by
// more than half, through a painter otherwise; premultiplied and RGB32
// pictures always through the scaler.
void TestSmoothScale::pathAsQt()
{
    QRandomGenerator generator(13);
    for (int i = 0; i < 80; ++i) {
        const bool large = i % 10 == 0;
        const QSize size(1 + int(generator.bounded(large ? 1500 : 120)),
                         (large ? 700 : 1) + int(generator.bounded(large ? 900 : 120)));
        const int width = 1 + int(generator.bounded(quint32(size.width() * 3)));
        const QImage source
                = patches(size.width(), size.height(), quint32(i), QImage::Format_ARGB32);
        const QImage expected = source.scaledToWidth(width, Qt::SmoothTransformation);
        if (expected.isNull() || expected.size() == source.size())
            continue;
        switch (smoothScalePath(source.format(), source.size(), expected.size())) {
        case SmoothScalePath::ScalerUnpremultiplied: {
            const QImage premultiplied
                    = source.convertToFormat(QImage::Format_ARGB32_Premultiplied);
            COMPARE_BITS(scaledHere(premultiplied, width, 2).convertToFormat(QImage::Format_ARGB32),
                         expected);
            break;
        }
        case SmoothScalePath::Painter: {
            QImage painted(expected.size(), QImage::Format_ARGB32);
            const ScaleToWidth scaling(source.size(), width);
            paintTransformedRows(source, painted, scaling.matrix, 0, painted.height());
            COMPARE_BITS(painted, expected);
            break;
        }
        case SmoothScalePath::Scaler:
            QFAIL("ARGB32 is never scaled as it is");
        }
    }
    QCOMPARE(smoothScalePath(QImage::Format_RGB32, QSize(10, 10), QSize(40, 40)),
             SmoothScalePath::Scaler);
    QCOMPARE(smoothScalePath(QImage::Format_ARGB32_Premultiplied, QSize(10, 10), QSize(40, 40)),
             SmoothScalePath::Scaler);
}

// The painter's rows, in bands painted one after another into a picture
// that held something else, are Qt's.
void TestSmoothScale::paintedLikeQt()
{
    QRandomGenerator generator(17);
    for (int i = 0; i < 40; ++i) {
        const QSize size(1 + int(generator.bounded(150)), 1 + int(generator.bounded(150)));
        const int width = size.width() + 1 + int(generator.bounded(quint32(size.width() * 4)));
        const QImage source
                = patches(size.width(), size.height(), quint32(i), QImage::Format_ARGB32);
        const QImage expected = source.scaledToWidth(width, Qt::SmoothTransformation);
        const ScaleToWidth scaling(source.size(), width);
        QImage painted(expected.size(), QImage::Format_ARGB32);
        painted.fill(0xFF123456u);
        const int bands = 1 + int(generator.bounded(7));
        for (int band = 0; band < bands; ++band) {
            const int first = painted.height() * band / bands;
            const int end = painted.height() * (band + 1) / bands;
            paintTransformedRows(source, painted, scaling.matrix, first, end);
        }
        COMPARE_BITS(painted, expected);
    }
}

void TestSmoothScale::sidesItHandles()
{
    QVERIFY(SmoothScale::handles(QSize(1333, 750), QSize(5120, 2881)));
    QVERIFY(SmoothScale::handles(QSize(1, 1), QSize(32767, 1)));
    QVERIFY(!SmoothScale::handles(QSize(40000, 10), QSize(50000, 12)));
    QVERIFY(!SmoothScale::handles(QSize(10, 10), QSize(0, 10)));
}

QTEST_MAIN(TestSmoothScale)
#include "tst_smoothscale.moc"
