#include "coloursketch.h"
#include "segmentor.h"
#include "windowfixture.h"
#include "workingformat.h"

#include <QGraphicsPixmapItem>
#include <QSignalSpy>
#include <QTest>

#include <QTimer>
#include <functional>

using namespace testsupport;

namespace {

// The pictures the window showed at every level before they were kept from
// level to level: the segmenter's current image, scaled back by Qt.
std::vector<QImage> todaysLevels(const QImage &source, int threshold, int brush)
{
    const QImage working = colourSketchWorkingPicture(toWorkingFormat(source));
    CSegmentor segmentor(working, brush);
    std::vector<QImage> levels;
    while (segmentor.Next(threshold))
        levels.push_back(
                segmentor.CurrentImage().scaledToWidth(source.width(), Qt::SmoothTransformation));
    return levels;
}

// A picture above a million pixels, opaque or with transparent parts.
QImage largePicture(QImage::Format format)
{
    QImage picture = blockyPicture(1210, 840, 60);
    if (format == QImage::Format_ARGB32) {
        picture = picture.convertToFormat(format);
        for (int y = 0; y < 40; ++y) {
            for (int x = 0; x < picture.width(); x += 3)
                picture.setPixel(x, y, qRgba(x % 256, y, 90, (x + y) % 256));
        }
    }
    return picture;
}

} // namespace

class TestColourPage : public WindowFixture
{
    Q_OBJECT

private slots:
    void create();
    void everyLevelIsShown();
    void everyLevelOfALargePictureIsShown_data();
    void everyLevelOfALargePictureIsShown();
    void levelsShareAFewPictures();
    void debugLines();
    void noLevelShowsNothingButMarksASketch();
    void slidersOnlyChangeTheirLabels();
    void largePictureShownAtItsOwnWidth();
    void matchesCommandLineTool();
    void createDuringCreate();
    void openDuringCreate();
    void pageChangeDuringCreate();

private:
    void openOnColourPage(const QImage &picture, const QString &name = "picture.png")
    {
        open(picture, name);
        m_window->ui->toolBox->setCurrentIndex(3);
    }
    // Presses Create and calls `seen` each time the window lets events
    // through with a new picture on show.
    void createWatchingEachPicture(const std::function<void()> &seen);
};

void TestColourPage::createWatchingEachPicture(const std::function<void()> &seen)
{
    qint64 lastKey = 0;
    bool running = true;
    std::function<void()> look = [&] {
        if (!running)
            return;
        if (m_window->sketchItem && m_window->sketchItem->pixmap().cacheKey() != lastKey) {
            lastKey = m_window->sketchItem->pixmap().cacheKey();
            seen();
        }
        QTimer::singleShot(0, this, look);
    };
    QTimer::singleShot(0, this, look);
    m_window->ui->pushButtonColorSketch->click();
    running = false;
    QTest::qWait(20);
}

void TestColourPage::create()
{
    const QImage picture = blockyPicture(60, 40, 51);
    openOnColourPage(picture);
    QSignalSpy progress(m_window->ui->progressBar, &QProgressBar::valueChanged);
    QStringList messages;
    connect(m_window->ui->statusBar, &QStatusBar::messageChanged, this,
            [&messages](const QString &message) { messages << message; });
    QList<Qt::CursorShape> cursors;
    QTimer::singleShot(0, this, [&] { cursors << m_window->cursor().shape(); });
    m_window->ui->pushButtonColorSketch->click();

    std::vector<QImage> levels;
    ColourSketchObserver observer;
    observer.level = [&levels](const QImage &level) { levels.push_back(level); };
    const QImage expected = colourSketch(picture, {20, 70}, {}, observer);
    QVERIFY(levels.size() >= 3);
    KESTROVA_COMPARE_PICTURES(shown(), expected);
    QVERIFY(m_window->hasSketch);
    QCOMPARE(m_window->sketchItem->zValue(), 10.0);
    QVERIFY(!m_window->ui->progressBar->isVisible());
    QCOMPARE(cursors, QList<Qt::CursorShape> {Qt::WaitCursor});
    QCOMPARE(m_window->cursor().shape(), Qt::ArrowCursor);
    QCOMPARE(messages.mid(0, 2), (QStringList {"Preparing", "Processing"}));
    QCOMPARE(messages.last(), QString("Done"));
    std::vector<int> expectedValues = {5, 10};
    for (size_t k = 1; k <= levels.size(); ++k)
        expectedValues.push_back(10 + int(90 * k) / 20);
    QCOMPARE(progressValues(progress), expectedValues);
}

void TestColourPage::everyLevelIsShown()
{
    const QImage picture = blockyPicture(50, 40, 52);
    openOnColourPage(picture);
    // Right after each level the window lets events through: the timer
    // below sees every level on screen, in order.
    std::vector<QImage> seen;
    bool running = true;
    std::function<void()> look = [&] {
        if (!running)
            return;
        if (m_window->sketchItem
            && (seen.empty() || m_window->sketchItem->pixmap().toImage() != seen.back()))
            seen.push_back(m_window->sketchItem->pixmap().toImage());
        QTimer::singleShot(0, this, look);
    };
    QTimer::singleShot(0, this, look);
    m_window->ui->pushButtonColorSketch->click();
    running = false;
    // The last pending look runs and stops.
    QTest::qWait(20);

    const std::vector<QImage> levels = todaysLevels(m_window->sourceImage, 20, 70);
    QCOMPARE(seen.size(), levels.size());
    for (size_t i = 0; i < levels.size(); ++i)
        KESTROVA_COMPARE_PICTURES(seen[i], QPixmap::fromImage(levels[i]).toImage());
}

void TestColourPage::everyLevelOfALargePictureIsShown_data()
{
    QTest::addColumn<QImage::Format>("format");
    QTest::newRow("opaque") << QImage::Format_RGB32;
    QTest::newRow("transparent parts") << QImage::Format_ARGB32;
}

// Segmented at a million pixels and scaled back at every level: each level
// is on screen once the window lets events through after it, in order, as
// Qt scales the segmenter's picture; the last is the command-line tool's
// drawing.
void TestColourPage::everyLevelOfALargePictureIsShown()
{
    QFETCH(QImage::Format, format);
    openOnColourPage(largePicture(format), "large.png");
    QCOMPARE(m_window->sourceImage.format(), format);
    m_window->ui->ColorThreshSlider->setValue(12);
    // What the screen showed: the pixmaps of those pictures.
    std::vector<QImage> levels;
    for (const QImage &level : todaysLevels(m_window->sourceImage, 12, 70))
        levels.push_back(QPixmap::fromImage(level).toImage());
    QVERIFY(levels.size() >= 5);
    // Each picture on show is compared when it comes, and not kept.
    std::vector<QString> differences;
    createWatchingEachPicture([&] {
        const size_t k = differences.size();
        differences.push_back(k < levels.size()
                                      ? firstDifference(shown(), levels[k])
                                      : QString("more levels than %1").arg(levels.size()));
    });
    QCOMPARE(differences.size(), levels.size());
    for (size_t k = 0; k < differences.size(); ++k)
        QVERIFY2(differences[k].isEmpty(),
                 qPrintable(QString("level %1: %2").arg(k + 1).arg(differences[k])));
    const QImage cli = runCli({"color", "--threshold", "12", m_dir.filePath("large.png")},
                              m_dir.filePath("large-cli.png"));
    QVERIFY2(!cli.isNull(), "kestrova-cli wrote no picture");
    KESTROVA_COMPARE_PICTURES(shown(), QPixmap::fromImage(cli).toImage());
    KESTROVA_COMPARE_PICTURES(shown(), levels.back());
}

// The pictures of the levels are not made in fresh memory each: once the
// result item drops a level's pixmap, its picture takes a later level. A
// picture's serial number (the high half of its cache key) comes with its
// memory.
void TestColourPage::levelsShareAFewPictures()
{
    const QImage probe = filled(8, 8, 0xFF102030u);
    if (QPixmap::fromImage(probe).toImage().constBits() != probe.constBits())
        QSKIP("This screen's pixmaps copy every picture into a format of their own");
    openOnColourPage(largePicture(QImage::Format_RGB32), "large.png");
    m_window->ui->ColorThreshSlider->setValue(12);
    std::vector<qint64> pictures;
    createWatchingEachPicture([&] { pictures.push_back(shown().cacheKey() >> 32); });
    QVERIFY(pictures.size() >= 5);
    std::sort(pictures.begin(), pictures.end());
    pictures.erase(std::unique(pictures.begin(), pictures.end()), pictures.end());
    QVERIFY2(pictures.size() <= 2, qPrintable(QString("%1 pictures").arg(pictures.size())));
}

// The debug lines stay: one "Next returned" a level, then "Done".
void TestColourPage::debugLines()
{
    const QImage picture = blockyPicture(60, 40, 61);
    openOnColourPage(picture);
    const QStringList lines = debugLinesOf(
            "kestrova.segment", [this] { m_window->ui->pushButtonColorSketch->click(); });
    const qsizetype levels = lines.count("Next returned");
    QCOMPARE(size_t(levels), todaysLevels(m_window->sourceImage, 20, 70).size());
    QCOMPARE(lines.last(), QString("Done"));
}

void TestColourPage::noLevelShowsNothingButMarksASketch()
{
    openOnColourPage(filled(30, 20, 0xFF336699u));
    m_window->ui->pushButtonColorSketch->click();
    QVERIFY(!m_window->sketchItem);
    QVERIFY(m_window->hasSketch);
    QVERIFY(!m_window->ui->progressBar->isVisible());
    QCOMPARE(m_window->ui->statusBar->currentMessage(), QString("Done"));
    // Threshold 0 and brushstroke 0 reach no level either.
    openOnColourPage(blockyPicture(30, 20, 53));
    m_window->ui->ColorThreshSlider->setValue(0);
    m_window->ui->pushButtonColorSketch->click();
    QVERIFY(!m_window->sketchItem);
    m_window->ui->ColorThreshSlider->setValue(20);
    m_window->ui->ClustersSizeSlider->setValue(0);
    m_window->ui->pushButtonColorSketch->click();
    QVERIFY(!m_window->sketchItem);
    QVERIFY(m_window->hasSketch);
}

void TestColourPage::slidersOnlyChangeTheirLabels()
{
    openOnColourPage(blockyPicture(30, 20, 54));
    QCOMPARE(m_window->ui->labelSlider1Value->text(), QString("20"));
    QCOMPARE(m_window->ui->labelSlider2Value->text(), QString("70"));
    m_window->ui->ColorThreshSlider->setValue(45);
    m_window->ui->ClustersSizeSlider->setValue(300);
    QCOMPARE(m_window->ui->labelSlider1Value->text(), QString("45"));
    QCOMPARE(m_window->ui->labelSlider2Value->text(), QString("300"));
    QVERIFY(!m_window->sketchItem);
    QVERIFY(!m_window->ui->progressBar->isVisible());
}

void TestColourPage::largePictureShownAtItsOwnWidth()
{
    // 1,001,000 pixels: segmented 1000 wide. The first level is looked at,
    // then a page change ends the run.
    QImage picture(1001, 1000, QImage::Format_RGB32);
    for (int y = 0; y < 1000; ++y) {
        for (int x = 0; x < 1001; ++x)
            picture.setPixel(x, y, qRgb((x * 3) % 256, (y * 5) % 256, 128));
    }
    openOnColourPage(picture);
    QSize firstLevel;
    bool running = true;
    std::function<void()> look = [&] {
        if (!running)
            return;
        if (!m_window->sketchItem) {
            QTimer::singleShot(0, this, look);
            return;
        }
        firstLevel = shown().size();
        m_window->ui->toolBox->setCurrentIndex(0);
    };
    QTimer::singleShot(0, this, look);
    m_window->ui->pushButtonColorSketch->click();
    running = false;
    QTest::qWait(20);
    QCOMPARE(firstLevel, QSize(1001, 1000));
    QVERIFY(!m_window->hasSketch);
}

void TestColourPage::matchesCommandLineTool()
{
    const QImage picture = blockyPicture(66, 41, 55);
    openOnColourPage(picture, "colour-input.png");
    m_window->ui->ColorThreshSlider->setValue(35);
    m_window->ui->ClustersSizeSlider->setValue(120);
    m_window->ui->pushButtonColorSketch->click();
    const QImage cli = runCli(
            {"color", "--threshold", "35", "--brush", "120", m_dir.filePath("colour-input.png")},
            m_dir.filePath("colour-cli.png"));
    QVERIFY2(!cli.isNull(), "kestrova-cli wrote no picture");
    KESTROVA_COMPARE_PICTURES(cli.convertToFormat(QImage::Format_ARGB32),
                              shown().convertToFormat(QImage::Format_ARGB32));
}

void TestColourPage::createDuringCreate()
{
    // A second Create in the middle of the first: the first shows nothing
    // more once the second has run, so the second's result stays.
    const QImage picture = blockyPicture(120, 90, 56);
    openOnColourPage(picture);
    int reentered = 0;
    QTimer::singleShot(0, this, [&] {
        ++reentered;
        m_window->ui->ColorThreshSlider->setValue(30);
        m_window->ui->pushButtonColorSketch->click();
    });
    m_window->ui->pushButtonColorSketch->click();
    QCOMPARE(reentered, 1);
    KESTROVA_COMPARE_PICTURES(shown(), colourSketch(picture, {30, 70}));
    QVERIFY(m_window->hasSketch);
    QVERIFY(!m_window->ui->progressBar->isVisible());
    QCOMPARE(m_window->cursor().shape(), Qt::ArrowCursor);
}

void TestColourPage::openDuringCreate()
{
    openOnColourPage(blockyPicture(120, 90, 57), "big.png");
    const QString other = write(blockyPicture(30, 20, 58), "other.png");
    QTimer::singleShot(0, this, [&] {
        m_chooser->answer = other;
        m_window->ui->actionOpen->trigger();
    });
    m_window->ui->pushButtonColorSketch->click();
    QCOMPARE(m_window->sourceImage.size(), QSize(30, 20));
    // The interrupted run belongs to the old picture: nothing of it shows.
    QVERIFY(!m_window->sketchItem);
    QVERIFY(!m_window->hasSketch);
    m_window->ui->pushButtonColorSketch->click();
    QCOMPARE(shown().size(), QSize(30, 20));
}

void TestColourPage::pageChangeDuringCreate()
{
    openOnColourPage(blockyPicture(120, 90, 59));
    QTimer::singleShot(0, this, [this] { m_window->ui->toolBox->setCurrentIndex(1); });
    m_window->ui->pushButtonColorSketch->click();
    QVERIFY(!m_window->sketchItem);
    QVERIFY(!m_window->hasSketch);
    QVERIFY(!m_window->ui->progressBar->isVisible());
    QCOMPARE(m_window->cursor().shape(), Qt::ArrowCursor);
}

QTEST_MAIN(TestColourPage)
#include "tst_colourpage.moc"
