#include "coloursketch.h"
#include "windowfixture.h"

#include <QGraphicsPixmapItem>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace testsupport;

class TestColourPage : public WindowFixture
{
    Q_OBJECT

private slots:
    void create();
    void everyLevelIsShown();
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
};

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

    std::vector<QImage> levels;
    ColourSketchObserver observer;
    observer.level = [&levels](const QImage &level) { levels.push_back(level); };
    colourSketch(picture, {20, 70}, {}, observer);
    QCOMPARE(seen.size(), levels.size());
    for (size_t i = 0; i < levels.size(); ++i)
        KESTROVA_COMPARE_PICTURES(seen[i], levels[i]);
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
