#include "coloursketch.h"
#include "contours.h"
#include "distinctcolours.h"
#include "edgemap.h"
#include "effect.h"
#include "levels.h"
#include "multiply.h"
#include "parallel.h"
#include "pencilhatch.h"
#include "pencilsketch.h"
#include "pensketch.h"
#include "poster.h"
#include "postersketch.h"
#include "testsupport.h"
#include "workingformat.h"

#include <QColorSpace>
#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QTest>

#include <functional>
#include <unordered_set>

using namespace testsupport;

// Every stage that runs in bands gives the same pixels, random state,
// progress values (with their yields) and debug lines whatever the number of
// threads. The first run of each case is one thread without progress: the
// whole picture in one band, as a loop without threads would go.

namespace {

struct Outcome
{
    std::vector<QImage> pictures;
    std::vector<unsigned char> bytes;
    std::vector<int> values;
    std::vector<int> yieldsBefore;
    quint32 randomState = 0;
    QStringList lines;
};

// A stage fills an outcome; `progress` is empty or a recorder's.
using Stage = std::function<void(Outcome &, const Progress &)>;

struct Mode
{
    int threads;
    bool reporting;
};
// One thread without progress comes first: the others are compared with it.
const Mode Modes[] = {{1, false}, {1, true}, {2, true}, {3, true}, {8, true}};

// Under the sanitizers every pixel costs ten to fifty times as much: large
// pictures are drawn from one kind of picture only there.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool Sanitized = true;
#else
constexpr bool Sanitized = false;
#endif

std::vector<QImage> kinds(int width, int height, std::vector<QImage> pictures)
{
    if (Sanitized && qint64(width) * height > 200000)
        pictures.resize(1);
    return pictures;
}

Outcome runStage(const Stage &stage, Mode mode)
{
    const ThreadBudget budget(mode.threads);
    Outcome outcome;
    ProgressRecorder recorder;
    stage(outcome, mode.reporting ? recorder.progress() : Progress());
    outcome.values = recorder.values;
    outcome.yieldsBefore = recorder.yieldsBefore;
    return outcome;
}

QString pictureDifference(const QImage &actual, const QImage &expected)
{
    if (actual.isNull() && expected.isNull())
        return {};
    if (actual.format() != expected.format())
        return QString("format %1, expected %2").arg(actual.format()).arg(expected.format());
    if (actual.size() == expected.size() && actual.depth() == 32) {
        bool same = true;
        for (int y = 0; y < actual.height() && same; ++y)
            same = !memcmp(actual.constScanLine(y), expected.constScanLine(y),
                           size_t(actual.width()) * 4);
        if (same)
            return {};
    }
    return firstDifference(actual, expected);
}

QString difference(const Outcome &actual, const Outcome &expected, bool compareProgress)
{
    if (actual.pictures.size() != expected.pictures.size())
        return QString("%1 pictures").arg(actual.pictures.size());
    for (size_t i = 0; i < actual.pictures.size(); ++i) {
        const QString pixels = pictureDifference(actual.pictures[i], expected.pictures[i]);
        if (!pixels.isEmpty())
            return QString("picture %1: %2").arg(i).arg(pixels);
    }
    const QString bytes = firstDifference(actual.bytes, expected.bytes);
    if (!bytes.isEmpty())
        return bytes;
    if (actual.randomState != expected.randomState)
        return QString("random state %1, expected %2")
                .arg(actual.randomState)
                .arg(expected.randomState);
    if (actual.lines != expected.lines)
        return QString("debug lines: %1").arg(actual.lines.join(" / "));
    if (compareProgress && actual.values != expected.values)
        return QString("%1 progress values, expected %2")
                .arg(actual.values.size())
                .arg(expected.values.size());
    if (compareProgress && actual.yieldsBefore != expected.yieldsBefore)
        return QString("%1 yields, expected %2")
                .arg(actual.yieldsBefore.size())
                .arg(expected.yieldsBefore.size());
    return {};
}

// Runs `stage` in every mode and compares each run with the first one, and
// the progress of each reporting run with the first reporting one.
QString sameInEveryMode(const Stage &stage)
{
    const Outcome single = runStage(stage, Modes[0]);
    const Outcome reporting = runStage(stage, Modes[1]);
    const QString first = difference(reporting, single, false);
    if (!first.isEmpty())
        return QString("1 thread, reporting: %1").arg(first);
    for (size_t i = 2; i < std::size(Modes); ++i) {
        const Mode &mode = Modes[i];
        const Outcome outcome = runStage(stage, mode);
        const QString problem
                = difference(outcome, mode.reporting ? reporting : single, mode.reporting);
        if (!problem.isEmpty())
            return QString("%1 threads%2: %3")
                    .arg(mode.threads)
                    .arg(mode.reporting ? ", reporting" : "")
                    .arg(problem);
    }
    return {};
}

#define KESTROVA_SAME_IN_EVERY_MODE(stage) \
    do { \
        const QString problem_ = sameInEveryMode(stage); \
        QVERIFY2(problem_.isEmpty(), qPrintable(problem_)); \
    } while (false)

std::vector<unsigned char> edgeMapOf(const QImage &picture)
{
    std::vector<unsigned char> edges(size_t(picture.width()) * size_t(picture.height()));
    labsobellight2(picture, edges.data());
    return edges;
}

// A picture of `count` colours scattered at random: the same colours come
// back in every band of columns, in a different order in each.
QImage scattered(int width, int height, quint32 seed, int count)
{
    QRandomGenerator generator(seed);
    std::vector<QRgb> palette(static_cast<size_t>(count));
    for (QRgb &colour : palette)
        colour = generator.generate() | 0xFF000000u;
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < width; ++x)
            line[x] = palette[generator.bounded(count)];
    }
    return image;
}

// The distinct values of a column-by-column scan, in the order first met.
std::vector<QRgb> firstMet(const QImage &image)
{
    std::vector<QRgb> order;
    std::unordered_set<QRgb> seen;
    for (int x = 0; x < image.width(); ++x) {
        for (int y = 0; y < image.height(); ++y) {
            const QRgb value = image.pixel(x, y);
            if (seen.insert(value).second)
                order.push_back(value);
        }
    }
    return order;
}

void addSizes()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    // Thin pictures of many pixels still make several bands.
    const QSize sizes[]
            = {{1, 1},    {1, 97},    {97, 1},    {2, 2},     {3, 500},   {500, 3},   {6, 1000},
               {1000, 6}, {7, 7},     {7, 1001},  {1001, 7},  {1, 3000},  {3000, 1},  {63, 65},
               {129, 67}, {257, 131}, {611, 409}, {3, 60000}, {60000, 3}, {17, 9001}, {1500, 900}};
    for (const QSize &size : sizes)
        QTest::addRow("%dx%d", size.width(), size.height()) << size.width() << size.height();
}

// The debug lines of every category of the core but the timings, while
// `work` runs.
QStringList *coreLines = nullptr;

void captureCoreLine(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtDebugMsg && coreLines && context.category)
        coreLines->append(QLatin1String(context.category) + QLatin1String(": ") + message);
}

QStringList coreDebugLines(const std::function<void()> &work)
{
    QStringList lines;
    coreLines = &lines;
    QLoggingCategory::setFilterRules(
            QStringLiteral("kestrova.*.debug=true\nkestrova.timing.debug=false"));
    const QtMessageHandler previous = qInstallMessageHandler(captureCoreLine);
    work();
    qInstallMessageHandler(previous);
    QLoggingCategory::setFilterRules(QString());
    coreLines = nullptr;
    return lines;
}

} // namespace

class TestThreads : public QObject
{
    Q_OBJECT

private slots:
    void conversionOfEveryFormat_data();
    void conversionOfEveryFormat();
    void conversionKeepsMetadataAndColourSpace();
    void edgeMap_data() { addSizes(); }
    void edgeMap();
    void penSketch_data() { addSizes(); }
    void penSketch();
    void levelsAndContours_data() { addSizes(); }
    void levelsAndContours();
    void transparencyCheck();
    void pencilSketch_data() { addSizes(); }
    void pencilSketch();
    void poster_data() { addSizes(); }
    void poster();
    void distinctColoursInScanOrder_data();
    void distinctColoursInScanOrder();
    void stopFromProgressInTheMiddleOfAStage();
    void stageInsideAYield();
    void everyEffectOfTheTable_data();
    void everyEffectOfTheTable();
    void colourSketchEveryLevel_data();
    void colourSketchEveryLevel();
};

void TestThreads::everyEffectOfTheTable_data()
{
    QTest::addColumn<QString>("effect");
    QTest::addColumn<QSize>("size");
    const QSize sizes[] = {{1, 1}, {3, 500}, {500, 3}, {257, 131}, {1500, 900}};
    for (const Effect &effect : effects()) {
        for (const QSize size : sizes) {
            if (Sanitized && size.width() * size.height() > 200000)
                continue;
            QTest::addRow("%s %dx%d", effect.name, size.width(), size.height())
                    << QString::fromLatin1(effect.name) << size;
        }
    }
}

// Every effect of the table, the edge map included, from one random
// sequence: the same drawing, random state, progress and debug lines.
void TestThreads::everyEffectOfTheTable()
{
    QFETCH(QString, effect);
    QFETCH(QSize, size);
    const Effect &drawn = *findEffect(effect);
    const QImage picture = blockyPicture(size.width(), size.height(), 21);
    KESTROVA_SAME_IN_EVERY_MODE([&](Outcome &outcome, const Progress &progress) {
        outcome.lines = coreDebugLines([&] {
            RandomSequence random;
            std::vector<unsigned char> edges(size_t(picture.width()) * size_t(picture.height()));
            labsobellight2(picture, edges.data(), progress);
            QString problem;
            outcome.pictures.push_back(drawn.draw(picture, edges.data(), drawn.defaults(), random,
                                                  progress, &problem));
            outcome.randomState = random.state();
        });
    });
}

void TestThreads::colourSketchEveryLevel_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("60x40") << QSize(60, 40);
    QTest::newRow("3x700") << QSize(3, 700);
    if (!Sanitized)
        QTest::newRow("1500x900, reduced") << QSize(1500, 900);
}

// The window's colour sketch: every level's picture as it is shown.
void TestThreads::colourSketchEveryLevel()
{
    QFETCH(QSize, size);
    const QImage picture = blockyPicture(size.width(), size.height(), 22);
    KESTROVA_SAME_IN_EVERY_MODE([&](Outcome &outcome, const Progress &progress) {
        outcome.lines = coreDebugLines([&] {
            ColourSketchObserver observer;
            observer.level
                    = [&outcome](const QImage &level) { outcome.pictures.push_back(level.copy()); };
            outcome.pictures.push_back(colourSketch(picture, {30, 70}, progress, observer));
        });
    });
}

void TestThreads::conversionOfEveryFormat_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<QSize>("size");
    for (int format = QImage::Format_Mono; format < QImage::NImageFormats; ++format) {
        const std::vector<QSize> sizes = Sanitized
                ? std::vector<QSize> {QSize(701, 997), QSize(3, 50000)}
                : std::vector<QSize> {QSize(1500, 900), QSize(701, 997), QSize(3, 50000)};
        for (const QSize size : sizes)
            QTest::addRow("format %d, %dx%d", format, size.width(), size.height())
                    << format << size;
    }
}

void TestThreads::conversionOfEveryFormat()
{
    QFETCH(int, format);
    QFETCH(QSize, size);
    const QImage source = randomPicture(size.width(), size.height(), 11, QImage::Format_ARGB32)
                                  .convertToFormat(QImage::Format(format));
    QVERIFY(!source.isNull());
    const QImage expected = isWorkingFormat(source.format())
            ? source
            : source.convertToFormat(QImage::Format_ARGB32);
    for (const int threads : {1, 2, 3, 8}) {
        const ThreadBudget budget(threads);
        const QImage converted = toWorkingFormat(source);
        QCOMPARE(converted.format(), expected.format());
        QCOMPARE(converted.size(), expected.size());
        for (int y = 0; y < expected.height(); ++y) {
            if (memcmp(converted.constScanLine(y), expected.constScanLine(y),
                       size_t(expected.width()) * 4))
                QFAIL(qPrintable(QString("%1 threads: row %2 differs").arg(threads).arg(y)));
        }
    }
}

// Resolution, offset, text and colour space come along as convertToFormat()
// brings them; a grey picture in linear light converts as Qt converts it.
void TestThreads::conversionKeepsMetadataAndColourSpace()
{
    QImage grey = randomPicture(900, 900, 5).convertToFormat(QImage::Format_Grayscale8);
    grey.setColorSpace(QColorSpace(QColorSpace::SRgbLinear));
    grey.setDotsPerMeterX(1234);
    grey.setDotsPerMeterY(4321);
    grey.setOffset(QPoint(7, -3));
    grey.setText("Comment", "a grey picture");
    grey.setDevicePixelRatio(2);
    const QImage expected = grey.convertToFormat(QImage::Format_ARGB32);
    for (const int threads : {1, 3}) {
        const ThreadBudget budget(threads);
        const QImage converted = toWorkingFormat(grey);
        KESTROVA_COMPARE_PICTURES(converted, expected);
        QCOMPARE(converted.dotsPerMeterX(), expected.dotsPerMeterX());
        QCOMPARE(converted.dotsPerMeterY(), expected.dotsPerMeterY());
        QCOMPARE(converted.offset(), expected.offset());
        QCOMPARE(converted.textKeys(), expected.textKeys());
        QCOMPARE(converted.text("Comment"), expected.text("Comment"));
        QCOMPARE(converted.colorSpace(), expected.colorSpace());
        QCOMPARE(converted.devicePixelRatio(), expected.devicePixelRatio());
    }
}

void TestThreads::edgeMap()
{
    QFETCH(int, width);
    QFETCH(int, height);
    for (const QImage &picture : kinds(width, height,
                                       {blockyPicture(width, height, 3),
                                        randomPicture(width, height, 4, QImage::Format_ARGB32),
                                        blockyPicture(width, height, 5, QImage::Format_RGB888)})) {
        KESTROVA_SAME_IN_EVERY_MODE(([&](Outcome &outcome, const Progress &progress) {
            outcome.bytes.resize(size_t(width) * size_t(height));
            labsobellight2(picture, outcome.bytes.data(), progress);
        }));
    }
}

void TestThreads::penSketch()
{
    QFETCH(int, width);
    QFETCH(int, height);
    const QImage picture = blockyPicture(width, height, 7);
    const std::vector<unsigned char> edges = edgeMapOf(picture);
    for (const QImage &source : kinds(width, height,
                                      {picture, picture.convertToFormat(QImage::Format_ARGB32),
                                       picture.convertToFormat(QImage::Format_Indexed8)})) {
        KESTROVA_SAME_IN_EVERY_MODE(([&](Outcome &outcome, const Progress &progress) {
            outcome.pictures.push_back(
                    pensketch(source, edges.data(), PenSettings {150, 255}, progress));
            outcome.pictures.push_back(
                    pensketch(source, edges.data(), PenSettings {30, 200}, progress));
        }));
    }
}

void TestThreads::levelsAndContours()
{
    QFETCH(int, width);
    QFETCH(int, height);
    const QImage picture = randomPicture(width, height, 8);
    const std::vector<unsigned char> edges = edgeMapOf(picture);
    QImage translucent = randomPicture(width, height, 9, QImage::Format_ARGB32);
    KESTROVA_SAME_IN_EVERY_MODE(([&](Outcome &outcome, const Progress &) {
        QImage levelled = picture.convertToFormat(QImage::Format_ARGB32);
        levelimg(levelled, 60, 180);
        QImage contrasted = picture;
        contrastimg(contrasted, 40);
        QImage layer = contourLayer(picture.size(), edges.data(), 200, 255);
        QImage overRgb = picture;
        multiplyContours(overRgb, edges.data(), 180, 250);
        QImage overOpaque = levelled;
        multiplyContours(overOpaque, edges.data(), 180, 250);
        QImage overTranslucent = translucent;
        multiplyContours(overTranslucent, edges.data(), 180, 250);
        QImage multiplied = overRgb;
        multiply(multiplied, layer.convertToFormat(QImage::Format_RGB32));
        outcome.pictures
                = {levelled, contrasted, layer, overRgb, overOpaque, overTranslucent, multiplied};
    }));
}

// One translucent pixel anywhere makes a picture not opaque, whichever band
// holds it.
void TestThreads::transparencyCheck()
{
    QImage picture = filled(333, 1501, 0xFF204060u, QImage::Format_ARGB32);
    for (const int threads : {1, 2, 3, 8}) {
        const ThreadBudget budget(threads);
        QVERIFY(isOpaque32(picture));
        for (const QPoint at : {QPoint(0, 0), QPoint(332, 1500), QPoint(100, 777), QPoint(5, 64)}) {
            QImage copy = picture.copy();
            copy.setPixel(at, 0xFE204060u);
            QVERIFY2(!isOpaque32(copy), qPrintable(QString("%1 threads").arg(threads)));
        }
    }
}

void TestThreads::pencilSketch()
{
    QFETCH(int, width);
    QFETCH(int, height);
    const QImage picture = blockyPicture(width, height, 12);
    const std::vector<unsigned char> edges = edgeMapOf(picture);
    for (const int density : Sanitized ? std::vector<int> {6, 7} : std::vector<int> {1, 6, 7, 10}) {
        KESTROVA_SAME_IN_EVERY_MODE(([&](Outcome &outcome, const Progress &progress) {
            PencilSettings settings;
            settings.density = density;
            settings.contours.on = density != 7;
            RandomSequence random(density * 1000 + 1);
            QImage hatch, pen;
            outcome.pictures.push_back(::pencilSketch(picture, edges.data(), settings, random,
                                                      progress, &hatch, &pen));
            outcome.pictures.push_back(hatch);
            outcome.pictures.push_back(pen);
            outcome.pictures.push_back(pencilhatch(picture.convertToFormat(QImage::Format_ARGB32),
                                                   60, 180, density, 30, true, random));
            outcome.randomState = random.state();
        }));
    }
}

void TestThreads::poster()
{
    QFETCH(int, width);
    QFETCH(int, height);
    // Noise has a colour for nearly every pixel: the clustering, which runs
    // on one thread, takes long on large pictures of it.
    const int noiseWidth = qMin(width, 500), noiseHeight = qMin(height, 300);
    for (const QImage &picture :
         kinds(width, height,
               {scattered(width, height, 16, 3000), blockyPicture(width, height, 14),
                randomPicture(noiseWidth, noiseHeight, 15),
                randomPicture(noiseWidth, noiseHeight, 17, QImage::Format_ARGB32),
                scattered(width, height, 18, 40).convertToFormat(QImage::Format_ARGB32)})) {
        const std::vector<unsigned char> edges = edgeMapOf(picture);
        KESTROVA_SAME_IN_EVERY_MODE(([&](Outcome &outcome, const Progress &progress) {
            RandomSequence random;
            PosterTrace trace;
            outcome.lines = debugLinesOf("kestrova.poster", [&] {
                QImage plain = Poster(picture, 6, random, progress, &trace);
                outcome.pictures = {plain, withContours(plain, edges.data(), ContourSettings())};
            });
            outcome.randomState = random.state();
            outcome.lines << QString::number(trace.distinctColours)
                          << QString::number(trace.passes);
            for (const QRgb colour : std::as_const(trace.palette))
                outcome.lines << QString::number(colour, 16);
            for (const labpix &seed : std::as_const(trace.seeds))
                outcome.lines << QString("%1 %2 %3").arg(seed.l).arg(seed.a).arg(seed.b);
        }));
    }
}

void TestThreads::distinctColoursInScanOrder_data()
{
    QTest::addColumn<QImage>("picture");
    QTest::newRow("noise, wide") << randomPicture(4000, 40, 21);
    QTest::newRow("few colours, wide") << scattered(5000, 60, 22, 500);
    QTest::newRow("few colours, large") << scattered(1500, 900, 23, 20000);
    QTest::newRow("translucent") << randomPicture(2100, 70, 24, QImage::Format_ARGB32);
    QTest::newRow("few translucent")
            << scattered(3000, 30, 25, 90)
                       .convertToFormat(QImage::Format_ARGB32_Premultiplied)
                       .convertToFormat(QImage::Format_ARGB32);
    QTest::newRow("small") << scattered(130, 50, 26, 70);
    QTest::newRow("one column") << scattered(1, 3000, 27, 50);
}

void TestThreads::distinctColoursInScanOrder()
{
    QFETCH(QImage, picture);
    const std::vector<QRgb> expected = firstMet(picture);
    for (const int threads : {1, 2, 3, 8}) {
        const ThreadBudget budget(threads);
        const DistinctColours distinct(picture);
        QVERIFY2(distinct.colours() == expected, qPrintable(QString("%1 threads").arg(threads)));
    }
}

// An exception from a progress callback leaves every stage cleanly, and
// the next call gives the whole result.
void TestThreads::stopFromProgressInTheMiddleOfAStage()
{
    struct Stop
    {
    };
    const QImage picture = Sanitized ? blockyPicture(500, 300, 31) : blockyPicture(800, 500, 31);
    const std::vector<unsigned char> edges = edgeMapOf(picture);
    const std::function<QImage(const Progress &)> stages[]
            = {[&](const Progress &progress) {
                   QImage map(picture.size(), QImage::Format_Grayscale8);
                   std::vector<unsigned char> bytes(edges.size());
                   labsobellight2(picture, bytes.data(), progress);
                   for (int y = 0; y < map.height(); ++y)
                       memcpy(map.scanLine(y), bytes.data() + size_t(y) * size_t(map.width()),
                              size_t(map.width()));
                   return map;
               },
               [&](const Progress &progress) {
                   return pensketch(picture, edges.data(), PenSettings(), progress);
               },
               [&](const Progress &progress) {
                   RandomSequence random;
                   return ::pencilSketch(picture, edges.data(), PencilSettings(), random, progress);
               },
               [&](const Progress &progress) {
                   RandomSequence random;
                   return Poster(picture, 4, random, progress);
               }};
    for (const auto &stage : stages) {
        const QImage expected = stage({});
        for (const int threads : {1, 2, 3, 8}) {
            const ThreadBudget budget(threads);
            for (const int stopAt : {1, 17, 60}) {
                int calls = 0;
                Progress stopping;
                stopping.setValue = [&](int) {
                    if (++calls == stopAt)
                        throw Stop {};
                };
                stopping.processEvents = [&] {
                    if (++calls == stopAt)
                        throw Stop {};
                };
                bool stopped = false;
                try {
                    stage(stopping);
                } catch (const Stop &) {
                    stopped = true;
                }
                QVERIFY2(stopped,
                         qPrintable(QString("%1 threads, call %2").arg(threads).arg(stopAt)));
            }
            KESTROVA_COMPARE_PICTURES(stage({}), expected);
        }
    }
}

// A yield that runs another stage, as the window's event loop may: the
// inner stage runs on the yielding thread and both finish whole.
void TestThreads::stageInsideAYield()
{
    const QImage picture = blockyPicture(900, 600, 41);
    const std::vector<unsigned char> edges = edgeMapOf(picture);
    const QImage other = blockyPicture(300, 200, 42);
    const std::vector<unsigned char> otherEdges = edgeMapOf(other);
    const QImage expectedInner = pensketch(other, otherEdges.data(), PenSettings());
    RandomSequence expectedRandom;
    const QImage expectedOuter
            = ::pencilSketch(picture, edges.data(), PencilSettings(), expectedRandom);
    for (const int threads : {2, 8}) {
        const ThreadBudget budget(threads);
        int inner = 0;
        Progress yielding;
        yielding.processEvents = [&] {
            const QImage sketch = pensketch(other, otherEdges.data(), PenSettings());
            if (pictureDifference(sketch, expectedInner).isEmpty())
                ++inner;
        };
        RandomSequence random;
        const QImage outer
                = ::pencilSketch(picture, edges.data(), PencilSettings(), random, yielding);
        KESTROVA_COMPARE_PICTURES(outer, expectedOuter);
        QCOMPARE(inner, picture.width());
    }
}

QTEST_GUILESS_MAIN(TestThreads)
#include "tst_threads.moc"
