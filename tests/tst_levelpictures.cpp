#include "changemap.h"
#include "coloursketch.h"
#include "levelpictures.h"
#include "parallel.h"
#include "segmentor.h"
#include "testsupport.h"
#include "workingformat.h"

#include <QRandomGenerator>
#include <QTest>

using namespace testsupport;

namespace {

// Raw pixels, format, resolution and text.
QString sameBits(const QImage &actual, const QImage &expected)
{
    if (actual.dotsPerMeterX() != expected.dotsPerMeterX()
        || actual.dotsPerMeterY() != expected.dotsPerMeterY())
        return QString("resolution %1 x %2, expected %3 x %4")
                .arg(actual.dotsPerMeterX())
                .arg(actual.dotsPerMeterY())
                .arg(expected.dotsPerMeterX())
                .arg(expected.dotsPerMeterY());
    if (actual.text() != expected.text())
        return QString("text '%1', expected '%2'").arg(actual.text(), expected.text());
    return firstRawDifference(actual, expected);
}

#define COMPARE_BITS(actual, expected) \
    do { \
        const QString difference_ = sameBits((actual), (expected)); \
        QVERIFY2(difference_.isEmpty(), qPrintable(difference_)); \
    } while (false)

// Some pictures of each kind: smooth with blocks, noise, and ARGB32 with
// transparent parts; with a resolution and a text of their own.
QImage picture(int kind, int width, int height, quint32 seed)
{
    QImage image;
    switch (kind % 4) {
    case 0:
        image = blockyPicture(width, height, seed);
        break;
    case 1:
        image = randomPicture(width, height, seed);
        break;
    case 2:
        image = blockyPicture(width, height, seed).convertToFormat(QImage::Format_ARGB32);
        break;
    default:
        image = randomPicture(width, height, seed, QImage::Format_ARGB32);
        break;
    }
    image.setDotsPerMeterX(2000 + kind);
    image.setDotsPerMeterY(3000 + int(seed % 100));
    image.setText("Comment", QString("picture %1").arg(seed));
    return image;
}

// The pictures the window showed before the level pictures: the current
// image at every level, scaled back with Qt.
std::vector<QImage> todaysLevels(const QImage &working, int brush, int threshold, int width)
{
    CSegmentor segmentor(working, brush);
    std::vector<QImage> levels;
    while (segmentor.Next(threshold))
        levels.push_back(segmentor.CurrentImage().scaledToWidth(width, Qt::SmoothTransformation));
    return levels;
}

} // namespace

class TestLevelPictures : public QObject
{
    Q_OBJECT

private slots:
    void changeMapColumns();
    void updatedImageIsCurrentImage_data();
    void updatedImageIsCurrentImage();
    void levelPicturesAreQtsScaling_data();
    void levelPicturesAreQtsScaling();
    void picturesHeldStayAsTheyWere();
    void commandShowsTodaysLevels_data();
    void commandShowsTodaysLevels();
};

void TestLevelPictures::changeMapColumns()
{
    QRandomGenerator generator(3);
    for (int i = 0; i < 300; ++i) {
        const int width = 1 + int(generator.bounded(3000));
        const int height = 1 + int(generator.bounded(6));
        ChangeMap map;
        map.reset(width, height);
        std::vector<bool> changed(size_t(width) * size_t(height));
        const int marks = int(generator.bounded(i % 3 == 0 ? 400 : 12));
        for (int m = 0; m < marks; ++m) {
            const int x = int(generator.bounded(width)), y = int(generator.bounded(height));
            map.mark(x, y);
            changed[size_t(y) * size_t(width) + size_t(x)] = true;
        }
        if (i % 17 == 0) {
            map.markRow(0, width / 3, width);
            for (int x = width / 3; x < width; ++x)
                changed[size_t(x)] = true;
        }
        const int first = int(generator.bounded(height));
        const int last = first + int(generator.bounded(height - first));
        // Every block with a change, and no other, in the spans.
        std::vector<bool> expected(size_t(width), false);
        for (int x = 0; x < width; ++x) {
            for (int y = first; y <= last; ++y)
                expected[size_t(x / ChangeMap::Block)] = expected[size_t(x / ChangeMap::Block)]
                        || changed[size_t(y) * size_t(width) + size_t(x)];
        }
        std::vector<bool> covered(size_t(width), false);
        std::vector<std::pair<int, int>> spans;
        map.columns(first, last, spans);
        int previousEnd = -1;
        for (const auto &[begin, end] : spans) {
            QVERIFY(begin > previousEnd && begin < end && end <= width);
            QCOMPARE(begin % ChangeMap::Block, 0);
            QVERIFY(end == width || end % ChangeMap::Block == 0);
            for (int x = begin; x < end; ++x)
                covered[size_t(x)] = true;
            previousEnd = end;
        }
        for (int x = 0; x < width; ++x)
            QCOMPARE(bool(covered[size_t(x)]), bool(expected[size_t(x / ChangeMap::Block)]));
        QCOMPARE(map.any(first, last), !spans.empty());
    }
}

void TestLevelPictures::updatedImageIsCurrentImage_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("threads");
    for (int kind = 0; kind < 4; ++kind) {
        for (const int threads : {1, 2, 3, 8})
            QTest::addRow("kind %d, %d threads", kind, threads) << kind << threads;
    }
}

// Level after level, and past the last one, where full clusters leave
// pixels of no region behind: the picture kept up to date is the current
// image, and every pixel that changed is marked.
void TestLevelPictures::updatedImageIsCurrentImage()
{
    QFETCH(int, kind);
    QFETCH(int, threads);
    const ThreadBudget budget(threads);
    for (const int brush : {1, 6, 70}) {
        const QImage working = toWorkingFormat(picture(kind, 37 + brush, 29, quint32(brush)));
        CSegmentor segmentor(working, brush);
        segmentor.setJournaling(true);
        QImage kept = segmentor.CurrentImage();
        kept.fill(0xFF123456u);
        ChangeMap changed;
        segmentor.updateImage(kept, true, changed);
        COMPARE_BITS(kept, segmentor.CurrentImage());
        int steps = 0;
        while (steps < 60) {
            if (!segmentor.Next(25) && segmentor.queue().get() == CPriorQueue2::None)
                break;
            ++steps;
            const QImage before = kept.copy();
            segmentor.updateImage(kept, false, changed);
            COMPARE_BITS(kept, segmentor.CurrentImage());
            for (int y = 0; y < kept.height(); ++y) {
                std::vector<std::pair<int, int>> spans;
                changed.columns(y, y, spans);
                for (int x = 0; x < kept.width(); ++x) {
                    if (kept.pixel(x, y) == before.pixel(x, y))
                        continue;
                    const bool marked = std::any_of(spans.begin(), spans.end(), [x](auto span) {
                        return x >= span.first && x < span.second;
                    });
                    QVERIFY2(marked, qPrintable(QString("(%1, %2) unmarked").arg(x).arg(y)));
                }
            }
        }
        QVERIFY(steps > 2);
    }
}

void TestLevelPictures::levelPicturesAreQtsScaling_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("threads");
    for (int kind = 0; kind < 4; ++kind) {
        // Shown as it is, enlarged, by the colour sketch's 3.84, shrunk a
        // little and shrunk much.
        for (const int width : {48, 49, 131, 184, 40, 17}) {
            const int threads = 1 + (kind + width) % 3;
            QTest::addRow("kind %d, 48 to %d, %d threads", kind, width, threads)
                    << kind << width << threads;
        }
    }
    QTest::newRow("8 threads") << 0 << 184 << 8;
}

// Level after level, then on past the last level to the last cluster, where
// full clusters leave pixels of no region (transparent in ARGB32 pictures)
// behind.
void TestLevelPictures::levelPicturesAreQtsScaling()
{
    QFETCH(int, kind);
    QFETCH(int, width);
    QFETCH(int, threads);
    const ThreadBudget budget(threads);
    const QImage working = toWorkingFormat(picture(kind, 48, 27, quint32(width)));
    for (const int brush : {70, 4}) {
        const std::vector<QImage> expected = todaysLevels(working, brush, 30, width);
        QVERIFY(expected.size() >= 3);
        CSegmentor segmentor(working, brush);
        segmentor.setJournaling(true);
        LevelPictures levels(working, width);
        for (const QImage &level : expected) {
            QVERIFY(segmentor.Next(30));
            COMPARE_BITS(levels.picture(segmentor), level);
        }
        bool noRegion = false;
        while (segmentor.queue().get() != CPriorQueue2::None) {
            QVERIFY(!segmentor.Next(30));
            const QImage current = segmentor.CurrentImage();
            for (int y = 0; y < current.height() && !noRegion; ++y) {
                for (int x = 0; x < current.width(); ++x)
                    noRegion = noRegion || (current.pixel(x, y) & 0xFFFFFFu) == 2;
            }
            COMPARE_BITS(levels.picture(segmentor),
                         current.scaledToWidth(width, Qt::SmoothTransformation));
        }
        QVERIFY(noRegion || brush > 4);
    }
}

// Whoever keeps a picture keeps it as it was, while the pictures after it
// are made; pictures no one keeps are made in the same memory again.
void TestLevelPictures::picturesHeldStayAsTheyWere()
{
    for (const int kind : {0, 2}) {
        const QImage working = toWorkingFormat(picture(kind, 60, 34, 9));
        const int width = 230;
        const std::vector<QImage> expected = todaysLevels(working, 70, 40, width);
        QVERIFY(expected.size() >= 6);
        CSegmentor segmentor(working, 70);
        segmentor.setJournaling(true);
        LevelPictures levels(working, width);
        std::vector<QImage> held;
        std::vector<const uchar *> memory;
        QImage shown;
        for (size_t k = 0; k < expected.size(); ++k) {
            QVERIFY(segmentor.Next(40));
            // As the window shows it: the picture on show until the next.
            shown = levels.picture(segmentor);
            memory.push_back(shown.constBits());
            if (k % 3 == 1)
                held.push_back(shown);
        }
        for (size_t i = 0; i < held.size(); ++i)
            COMPARE_BITS(held[i], expected[3 * i + 1]);
        COMPARE_BITS(shown, expected.back());
        // The pictures not held came from a few buffers.
        std::vector<const uchar *> distinct = memory;
        std::sort(distinct.begin(), distinct.end());
        distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
        QVERIFY(distinct.size() <= held.size() + 3);
    }
}

void TestLevelPictures::commandShowsTodaysLevels_data()
{
    QTest::addColumn<QImage>("source");
    QTest::addColumn<int>("threshold");
    // Above a million pixels: segmented smaller and scaled back.
    QTest::newRow("RGB32, 1200 x 850") << picture(0, 1200, 850, 21) << 12;
    QTest::newRow("ARGB32, 1100 x 930") << picture(2, 1100, 930, 22) << 10;
    QTest::newRow("grey, 100 x 60")
            << picture(0, 100, 60, 23).convertToFormat(QImage::Format_Grayscale8) << 30;
}

// The whole command: every level's picture is the one Qt's scaling of the
// current image gives, and the result is the last of them.
void TestLevelPictures::commandShowsTodaysLevels()
{
    QFETCH(QImage, source);
    QFETCH(int, threshold);
    const QImage working = colourSketchWorkingPicture(toWorkingFormat(source));
    const std::vector<QImage> expected = todaysLevels(working, 70, threshold, source.width());
    QVERIFY(expected.size() >= 3);
    std::vector<QImage> shown;
    ColourSketchObserver observer;
    QImage previous;
    // Each picture is checked while it is on show, and held until the next
    // comes, as the window holds it.
    observer.level = [&](const QImage &level) {
        QVERIFY(shown.size() < expected.size());
        COMPARE_BITS(level, expected[shown.size()]);
        shown.push_back(QImage());
        previous = level;
    };
    const QImage result = colourSketch(source, {threshold, 70}, {}, observer);
    QCOMPARE(shown.size(), expected.size());
    COMPARE_BITS(result, expected.back());
    COMPARE_BITS(previous, expected.back());
}

QTEST_MAIN(TestLevelPictures)
#include "tst_levelpictures.moc"
