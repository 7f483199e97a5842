#include "changemap.h"
#include "parallel.h"
#include "segmentor.h"
#include "testsupport.h"
#include "workingformat.h"

#include <QRandomGenerator>
#include <QTest>

using namespace testsupport;

namespace {

// Raw pixels and format.
QString sameBits(const QImage &actual, const QImage &expected)
{
    if (actual.format() != expected.format())
        return QString("format %1, expected %2").arg(actual.format()).arg(expected.format());
    if (actual.size() != expected.size())
        return firstDifference(actual, expected);
    for (int y = 0; y < actual.height(); ++y) {
        const auto *a = reinterpret_cast<const quint32 *>(actual.constScanLine(y));
        const auto *e = reinterpret_cast<const quint32 *>(expected.constScanLine(y));
        for (int x = 0; x < actual.width(); ++x) {
            if (a[x] != e[x])
                return QString("pixel (%1, %2) is #%3, expected #%4")
                        .arg(x)
                        .arg(y)
                        .arg(a[x], 8, 16, QChar('0'))
                        .arg(e[x], 8, 16, QChar('0'));
        }
    }
    return {};
}

#define COMPARE_BITS(actual, expected) \
    do { \
        const QString difference_ = sameBits((actual), (expected)); \
        QVERIFY2(difference_.isEmpty(), qPrintable(difference_)); \
    } while (false)

// Some pictures of each kind: smooth with blocks, noise, and ARGB32 with
// transparent parts.
QImage picture(int kind, int width, int height, quint32 seed)
{
    switch (kind % 4) {
    case 0:
        return blockyPicture(width, height, seed);
    case 1:
        return randomPicture(width, height, seed);
    case 2:
        return blockyPicture(width, height, seed).convertToFormat(QImage::Format_ARGB32);
    default:
        return randomPicture(width, height, seed, QImage::Format_ARGB32);
    }
}

} // namespace

class TestLevelPictures : public QObject
{
    Q_OBJECT

private slots:
    void changeMapColumns();
    void updatedImageIsCurrentImage_data();
    void updatedImageIsCurrentImage();
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
        QImage kept(working.size(), working.format());
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

QTEST_MAIN(TestLevelPictures)
#include "tst_levelpictures.moc"
