#include "applicationrandom.h"
#include "pencilsketch.h"
#include "postersketch.h"
#include "randomsequence.h"
#include "windowfixture.h"

#include <QGraphicsPixmapItem>
#include <QSignalSpy>
#include <QTest>

using namespace testsupport;

namespace {

// The poster the core makes of `picture` with its own edge map, from
// `random`; `plain` receives it without contours.
QImage posterOf(const QImage &picture, const PosterSettings &settings, RandomSequence &random,
                QImage *plain = nullptr)
{
    const std::vector<unsigned char> edges = edgeMapOf(picture);
    return posterSketch(picture, edges.data(), settings, random, {}, plain);
}

} // namespace

class TestPosterPage : public WindowFixture
{
    Q_OBJECT

private slots:
    void create();
    void createAgainDrawsOtherSamples();
    void colourSliderOnlyChangesItsLabel();
    void contourSlidersRedrawAfterTheTimer();
    void groupBoxToggle();
    void toggleBeforeAnyResultDoesNothing();
    void slidersBeforeAnyPosterShowNothing();
    void slidersAfterOpeningAnotherPicture();
    void redrawAfterAPageChange();
    void sharesTheGeneratorWithThePencil();
    void matchesCommandLineTool();

private:
    void openOnPosterPage(const QImage &picture, const QString &name = "picture.png")
    {
        open(picture, name);
        m_window->ui->toolBox->setCurrentIndex(2);
    }
    void waitForContours()
    {
        QSignalSpy contours(&m_window->posterContoursTimer, &QTimer::timeout);
        QVERIFY(contours.wait(1000));
    }
};

void TestPosterPage::create()
{
    const QImage picture = blockyPicture(64, 48, 31);
    openOnPosterPage(picture);
    QSignalSpy progress(m_window->ui->progressBar, &QProgressBar::valueChanged);
    RandomSequence expectedRandom(applicationRandom().state());
    m_window->ui->pushButtonCreatePoster->click();

    QImage plain;
    const QImage expected = posterOf(picture, PosterSettings(), expectedRandom, &plain);
    KESTROVA_COMPARE_PICTURES(shown(), expected);
    KESTROVA_COMPARE_PICTURES(m_window->posterImage, plain);
    QCOMPARE(applicationRandom().state(), expectedRandom.state());
    QVERIFY(m_window->hasSketch);
    QCOMPARE(m_window->sketchItem->zValue(), 10.0);
    QVERIFY(!m_window->ui->progressBar->isVisible());
    // 0, 20, 25, 30, 50, then 50 + 35 * x / width per column (changes only).
    std::vector<int> expectedValues = {0, 20, 25, 30, 50};
    for (int x = 0; x < 64; ++x) {
        if (50 + 35 * x / 64 != expectedValues.back())
            expectedValues.push_back(50 + 35 * x / 64);
    }
    QCOMPARE(progressValues(progress), expectedValues);
}

void TestPosterPage::createAgainDrawsOtherSamples()
{
    const QImage picture = blockyPicture(40, 30, 32);
    openOnPosterPage(picture);
    m_window->ui->horizontalSliderPosterColors->setValue(6);
    const quint32 before = applicationRandom().state();
    m_window->ui->pushButtonCreatePoster->click();
    const quint32 afterFirst = applicationRandom().state();
    m_window->ui->pushButtonCreatePoster->click();
    // One draw for the first centre and 3 candidates for each of the 5 others.
    RandomSequence expected(before);
    expected.skip(16);
    QCOMPARE(afterFirst, expected.state());
    expected.skip(16);
    QCOMPARE(applicationRandom().state(), expected.state());
}

void TestPosterPage::colourSliderOnlyChangesItsLabel()
{
    openOnPosterPage(blockyPicture(30, 20, 33));
    QCOMPARE(m_window->ui->label_13->text(), QString());
    m_window->ui->horizontalSliderPosterColors->setValue(7);
    QCOMPARE(m_window->ui->label_13->text(), QString("7"));
    QVERIFY(!m_window->sketchItem);
    QVERIFY(!m_window->posterContoursTimer.isActive());
}

void TestPosterPage::contourSlidersRedrawAfterTheTimer()
{
    const QImage picture = blockyPicture(50, 40, 34);
    openOnPosterPage(picture);
    RandomSequence expectedRandom(applicationRandom().state());
    m_window->ui->pushButtonCreatePoster->click();
    QSignalSpy contours(&m_window->posterContoursTimer, &QTimer::timeout);
    m_window->ui->horizontalSliderPosterContourBlack->setValue(150);
    m_window->ui->horizontalSliderPosterContourWhite->setValue(240);
    QVERIFY(m_window->posterContoursTimer.isActive());
    QVERIFY(contours.wait(1000));
    QTest::qWait(300);
    QCOMPARE(contours.count(), 1);
    PosterSettings settings;
    settings.contours.black = 150;
    settings.contours.white = 240;
    KESTROVA_COMPARE_PICTURES(shown(), posterOf(picture, settings, expectedRandom));
}

void TestPosterPage::groupBoxToggle()
{
    openOnPosterPage(blockyPicture(40, 30, 35));
    m_window->ui->pushButtonCreatePoster->click();
    const QImage withContours = shown();
    QVERIFY(withContours != m_window->posterImage);
    m_window->ui->groupBoxPosterContour->setChecked(false);
    KESTROVA_COMPARE_PICTURES(shown(), m_window->posterImage);
    m_window->ui->pushButton->click(); // show the original
    m_window->ui->groupBoxPosterContour->setChecked(true);
    QVERIFY(m_window->posterContoursTimer.isActive());
    KESTROVA_COMPARE_PICTURES(shown(), m_window->posterImage);
    waitForContours();
    KESTROVA_COMPARE_PICTURES(shown(), withContours);
    QCOMPARE(m_window->sketchItem->zValue(), 10.0);
}

void TestPosterPage::toggleBeforeAnyResultDoesNothing()
{
    openOnPosterPage(blockyPicture(30, 20, 36));
    m_window->ui->groupBoxPosterContour->setChecked(false);
    QVERIFY(!m_window->sketchItem);
    m_window->ui->groupBoxPosterContour->setChecked(true);
    QVERIFY(!m_window->posterContoursTimer.isActive());
}

void TestPosterPage::slidersBeforeAnyPosterShowNothing()
{
    openOnPosterPage(blockyPicture(30, 20, 37));
    m_window->ui->horizontalSliderPosterContourBlack->setValue(100);
    QVERIFY(m_window->posterContoursTimer.isActive());
    waitForContours();
    QVERIFY(!m_window->sketchItem);
    QVERIFY(!m_window->hasSketch);
}

void TestPosterPage::slidersAfterOpeningAnotherPicture()
{
    // The new picture is smaller: a redraw must not lay the old poster over
    // the new edge map.
    openOnPosterPage(blockyPicture(80, 60, 38));
    m_window->ui->pushButtonCreatePoster->click();
    open(blockyPicture(30, 20, 39), "other.png");
    QVERIFY(m_window->posterImage.isNull());
    m_window->ui->horizontalSliderPosterContourWhite->setValue(200);
    waitForContours();
    QVERIFY(!m_window->sketchItem);
    m_window->ui->pushButtonCreatePoster->click();
    QCOMPARE(shown().size(), QSize(30, 20));
}

void TestPosterPage::redrawAfterAPageChange()
{
    openOnPosterPage(blockyPicture(40, 30, 40));
    m_window->ui->pushButtonCreatePoster->click();
    const QImage plain = m_window->posterImage;
    m_window->ui->toolBox->setCurrentIndex(1);
    m_window->ui->toolBox->setCurrentIndex(2);
    QVERIFY(!m_window->sketchItem);
    // The timer's redraw shows the kept poster whether or not a result is on
    // show; it is not a new result, so the toggle still does nothing.
    m_window->ui->groupBoxPosterContour->setChecked(false);
    m_window->ui->horizontalSliderPosterContourBlack->setValue(180);
    waitForContours();
    KESTROVA_COMPARE_PICTURES(shown(), plain);
    QCOMPARE(m_window->sketchItem->zValue(), 10.0);
    QVERIFY(!m_window->hasSketch);
    m_window->ui->groupBoxPosterContour->setChecked(true);
    QVERIFY(!m_window->posterContoursTimer.isActive());
}

void TestPosterPage::sharesTheGeneratorWithThePencil()
{
    const QImage picture = blockyPicture(36, 28, 41);
    const std::vector<unsigned char> edges = edgeMapOf(picture);
    open(picture);
    // Pencil, then poster.
    RandomSequence expected(applicationRandom().state());
    m_window->ui->pushButtonPencilCross->click();
    pencilSketch(picture, edges.data(), PencilSettings(), expected);
    m_window->ui->toolBox->setCurrentIndex(2);
    m_window->ui->pushButtonCreatePoster->click();
    KESTROVA_COMPARE_PICTURES(shown(), posterOf(picture, PosterSettings(), expected));
    // Poster, then pencil.
    m_window->ui->pushButtonCreatePoster->click();
    posterOf(picture, PosterSettings(), expected);
    m_window->ui->toolBox->setCurrentIndex(1);
    m_window->ui->pushButtonPencilCross->click();
    KESTROVA_COMPARE_PICTURES(shown(),
                              pencilSketch(picture, edges.data(), PencilSettings(), expected));
    QCOMPARE(applicationRandom().state(), expected.state());
}

void TestPosterPage::matchesCommandLineTool()
{
    const QImage picture = blockyPicture(66, 41, 42);
    openOnPosterPage(picture, "poster-input.png");
    m_window->ui->horizontalSliderPosterColors->setValue(5);
    m_window->ui->horizontalSliderPosterContourBlack->setValue(170);
    // The tool starts from the generator's start-up state; so does this
    // window's first poster.
    applicationRandom().setState(1);
    m_window->ui->pushButtonCreatePoster->click();
    const QImage cli = runCli({"poster", "--colors", "5", "--contour-black", "170",
                               m_dir.filePath("poster-input.png")},
                              m_dir.filePath("poster-cli.png"));
    QVERIFY2(!cli.isNull(), "kestrova-cli wrote no picture");
    KESTROVA_COMPARE_PICTURES(cli.convertToFormat(QImage::Format_ARGB32),
                              shown().convertToFormat(QImage::Format_ARGB32));
}

QTEST_MAIN(TestPosterPage)
#include "tst_posterpage.moc"
