#include "coloursketch.h"
#include "reference_segment.h"
#include "segmentcompare.h"
#include "segmentor.h"
#include "testsupport.h"

#include <QRandomGenerator>
#include <QTest>

using namespace testsupport;

// The fast segmenter against the literal one: the same levels from every
// Next, the same picture after each, and the same clusters and queue.

namespace {

QImage fewColours(int width, int height, quint32 seed)
{
    QRandomGenerator generator(seed);
    const QRgb palette[] = {0xFF204080u, 0xFF204081u, 0xFFE0C020u, 0xFF30A050u, 0xFF808080u};
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, palette[generator.bounded(5)]);
    }
    return image;
}

QImage gradient(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, qRgb((x * 7) % 256, (y * 11) % 256, ((x + y) * 3) % 256));
    }
    return image;
}

// A random picture of one of the kinds, up to `size` pixels a side.
QImage pictureOfKind(int kind, QRandomGenerator &generator, int size)
{
    const int width = 1 + int(generator.bounded(size)), height = 1 + int(generator.bounded(size));
    const quint32 seed = generator.generate();
    switch (kind % 6) {
    case 0:
        return randomPicture(width, height, seed);
    case 1:
        return fewColours(width, height, seed);
    case 2:
        return blockyPicture(width, height, seed);
    case 3:
        return gradient(width, height);
    case 4:
        return blockyPicture(1, height * 3, seed);
    default:
        return blockyPicture(width * 3, 1, seed);
    }
}

} // namespace

class TestSegmentCompare : public QObject
{
    Q_OBJECT

private slots:
    void randomPictures();
    void everyMergeOnSmallPictures();
    void photographCrops_data();
    void photographCrops();
    void commandMatchesLiteral();
};

void TestSegmentCompare::randomPictures()
{
    QRandomGenerator generator(11);
    const int brushes[] = {0, 1, 2, 5, 70, 500};
    for (int round = 0; round < 240; ++round) {
        const QImage picture = pictureOfKind(round, generator, 24);
        const int brush = brushes[round % 6];
        const int limit = int(generator.bounded(100));
        CSegmentor fast(picture, brush);
        reference::LiteralSegmentor literal(picture, brush);
        for (int call = 0;; ++call) {
            const bool level = fast.Next(limit);
            QCOMPARE(level, literal.Next(limit));
            QCOMPARE(fast.prevval(), literal.prevval());
            KESTROVA_COMPARE_PICTURES(fast.CurrentImage(), literal.CurrentImage());
            if (!level)
                break;
            QVERIFY(call < limit);
        }
        KESTROVA_COMPARE_SEGMENTORS(fast, literal, picture.width(), picture.height());
        // Going on after false merges on from where it stopped.
        QCOMPARE(fast.Next(99), literal.Next(99));
        KESTROVA_COMPARE_PICTURES(fast.CurrentImage(), literal.CurrentImage());
    }
}

// The state after every single merge: Next with the highest limit stops at
// every new level, and a limit of the current level stops after one merge.
void TestSegmentCompare::everyMergeOnSmallPictures()
{
    QRandomGenerator generator(12);
    for (int round = 0; round < 60; ++round) {
        const QImage picture = pictureOfKind(round, generator, 9);
        const int brush = int(generator.bounded(1, 12));
        CSegmentor fast(picture, brush);
        reference::LiteralSegmentor literal(picture, brush);
        KESTROVA_COMPARE_SEGMENTORS(fast, literal, picture.width(), picture.height());
        for (int merge = 0; merge < 200; ++merge) {
            const int limit = fast.prevval();
            const bool level = fast.Next(limit);
            QCOMPARE(level, literal.Next(limit));
            KESTROVA_COMPARE_SEGMENTORS(fast, literal, picture.width(), picture.height());
            if (fast.queue().Clusters().empty())
                break;
        }
    }
}

void TestSegmentCompare::photographCrops_data()
{
    QTest::addColumn<QRect>("crop");
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("brush");
    QTest::newRow("trees, defaults") << QRect(600, 1200, 90, 60) << 20 << 70;
    QTest::newRow("detail, defaults") << QRect(1200, 900, 80, 70) << 20 << 70;
    QTest::newRow("detail, 99 and 500") << QRect(1000, 700, 70, 60) << 99 << 500;
    QTest::newRow("edge, small strokes") << QRect(1500, 600, 60, 50) << 40 << 2;
}

void TestSegmentCompare::photographCrops()
{
    QFETCH(QRect, crop);
    QFETCH(int, limit);
    QFETCH(int, brush);
    const QString path = photo("evening-glow-2560x1600.jpg");
    if (path.isEmpty())
        QSKIP("the photographs are not beside the repository");
    static const QImage whole(path);
    const QImage picture = whole.copy(crop).convertToFormat(QImage::Format_RGB32);
    CSegmentor fast(picture, brush);
    reference::LiteralSegmentor literal(picture, brush);
    int levels = 0;
    for (;;) {
        const bool level = fast.Next(limit);
        QCOMPARE(level, literal.Next(limit));
        KESTROVA_COMPARE_PICTURES(fast.CurrentImage(), literal.CurrentImage());
        if (!level)
            break;
        ++levels;
    }
    QVERIFY2(levels > 3, qPrintable(QString::number(levels)));
    KESTROVA_COMPARE_SEGMENTORS(fast, literal, picture.width(), picture.height());
}

void TestSegmentCompare::commandMatchesLiteral()
{
    QRandomGenerator generator(13);
    for (int round = 0; round < 60; ++round) {
        const QImage picture = pictureOfKind(round, generator, 30);
        const int limit = int(generator.bounded(60));
        const int brush = int(generator.bounded(3)) * 40;
        ProgressRecorder fastProgress, literalProgress;
        std::vector<QImage> levels;
        ColourSketchObserver observer;
        observer.level = [&levels](const QImage &level) { levels.push_back(level); };
        const QImage last
                = colourSketch(picture, {limit, brush}, fastProgress.progress(), observer);
        const QList<QImage> expected
                = reference::colourSketchLevels(picture, limit, brush, literalProgress.progress());
        QCOMPARE(int(levels.size()), int(expected.size()));
        for (int i = 0; i < expected.size(); ++i)
            KESTROVA_COMPARE_PICTURES(levels[size_t(i)], expected[i]);
        QCOMPARE(last.isNull(), expected.isEmpty());
        // Without pictures at every level, only the last is made.
        const QImage alone = colourSketch(picture, {limit, brush});
        QCOMPARE(alone.isNull(), expected.isEmpty());
        if (!expected.isEmpty()) {
            KESTROVA_COMPARE_PICTURES(last, expected.last());
            KESTROVA_COMPARE_PICTURES(alone, expected.last());
        }
        QCOMPARE(fastProgress.values, literalProgress.values);
    }
}

QTEST_APPLESS_MAIN(TestSegmentCompare)
#include "tst_segment_compare.moc"
