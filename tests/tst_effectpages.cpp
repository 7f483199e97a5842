#include "applicationrandom.h"
#include "pencilsketch.h"
#include "pensketch.h"
#include "randomsequence.h"
#include "windowfixture.h"

#include <QGraphicsPixmapItem>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace testsupport;

namespace {

// The pencil sketch the core makes of `picture` with its own edge map.
QImage pencilOf(const QImage &picture, const PencilSettings &settings)
{
    const std::vector<unsigned char> edges = edgeMapOf(picture);
    RandomSequence random;
    return pencilSketch(picture, edges.data(), settings, random);
}

} // namespace

class TestEffectPages : public WindowFixture
{
    Q_OBJECT

private slots:
    void penCreate();
    void penSlidersBeforeAndAfterCreate();
    void penMatchesCommandLineTool();

    void pencilCreate();
    void pencilSecondCreateAdvancesTheGenerator();
    void pencilTimersDebounce();
    void pencilLevelsWithContoursUnchecked();
    void pencilGroupBoxToggle();
    void pencilRedrawBringsTheSketchToTheFront();
    void pencilDensityAsksForCreate();
    void pencilMatchesCommandLineTool();
    void pencilCreateDuringCreate();
    void pencilPageChangeDuringCreate();
};

void TestEffectPages::penCreate()
{
    const QImage picture = blockyPicture(64, 48, 13);
    open(picture);
    m_window->ui->toolBox->setCurrentIndex(0);
    QSignalSpy progress(m_window->ui->progressBar, &QProgressBar::valueChanged);
    QStringList messages;
    connect(m_window->ui->statusBar, &QStatusBar::messageChanged, this,
            [&messages](const QString &message) { messages << message; });
    m_window->ui->pushButtonPencilSketch->click();

    const std::vector<unsigned char> edges = edgeMapOf(picture);
    KESTROVA_COMPARE_PICTURES(shown(), pensketch(picture, edges.data(), {150, 255}));
    QVERIFY(m_window->hasSketch);
    QCOMPARE(m_window->sketchItem->zValue(), 10.0);
    QVERIFY(!m_window->ui->progressBar->isVisible());
    QCOMPARE(m_window->cursor().shape(), Qt::ArrowCursor);
    QCOMPARE(messages.first(), QString("Running"));
    QCOMPARE(messages.last(), QString("Done"));
    QCOMPARE(m_window->ui->statusBar->currentMessage(), QString("Done"));

    // 0, 5, then 95 * x / width + 5 for every column (changes only).
    std::vector<int> expected = {0, 5};
    for (int x = 0; x < 64; ++x) {
        if (95 * x / 64 + 5 != expected.back())
            expected.push_back(95 * x / 64 + 5);
    }
    QCOMPARE(progressValues(progress), expected);
}

void TestEffectPages::penSlidersBeforeAndAfterCreate()
{
    const QImage picture = blockyPicture(50, 40, 14);
    open(picture);
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->PencilLevelsSlider->setValue(100);
    QCOMPARE(m_window->ui->labelDetails->text(), QString("100"));
    QVERIFY(!m_window->sketchItem);
    m_window->ui->pushButtonPencilSketch->click();
    const std::vector<unsigned char> edges = edgeMapOf(picture);
    KESTROVA_COMPARE_PICTURES(shown(), pensketch(picture, edges.data(), {100, 255}));
    m_window->ui->PencilLevelsSlider->setValue(120);
    KESTROVA_COMPARE_PICTURES(shown(), pensketch(picture, edges.data(), {120, 255}));
    m_window->ui->pencilLevelSlider2->setValue(200);
    QCOMPARE(m_window->ui->labelDetails2->text(), QString("200"));
    KESTROVA_COMPARE_PICTURES(shown(), pensketch(picture, edges.data(), {120, 200}));
    // Black above white: only black and white remain.
    m_window->ui->PencilLevelsSlider->setValue(230);
    const QImage image = shown();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            QVERIFY(qRed(image.pixel(x, y)) == 0 || qRed(image.pixel(x, y)) == 255);
    }
}

void TestEffectPages::penMatchesCommandLineTool()
{
    const QImage picture = blockyPicture(70, 45, 15);
    open(picture, "pen-input.png");
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->pushButtonPencilSketch->click();
    const QImage cli
            = runCli({"pen", m_dir.filePath("pen-input.png")}, m_dir.filePath("pen-cli.png"));
    QVERIFY2(!cli.isNull(), "kestrova-cli wrote no picture");
    KESTROVA_COMPARE_PICTURES(cli.convertToFormat(QImage::Format_RGB32),
                              shown().convertToFormat(QImage::Format_RGB32));
}

void TestEffectPages::pencilCreate()
{
    const QImage picture = blockyPicture(64, 48, 16);
    open(picture);
    QCOMPARE(m_window->ui->toolBox->currentIndex(), 1);
    QSignalSpy progress(m_window->ui->progressBar, &QProgressBar::valueChanged);
    RandomSequence expectedRandom(applicationRandom().state());
    m_window->ui->pushButtonPencilCross->click();

    const std::vector<unsigned char> edges = edgeMapOf(picture);
    QImage hatch, pen;
    const QImage expected = pencilSketch(picture, edges.data(), PencilSettings(), expectedRandom,
                                         {}, &hatch, &pen);
    KESTROVA_COMPARE_PICTURES(shown(), expected);
    KESTROVA_COMPARE_PICTURES(m_window->hatchImage, hatch);
    KESTROVA_COMPARE_PICTURES(m_window->penImage, pen);
    QCOMPARE(applicationRandom().state(), expectedRandom.state());
    QVERIFY(m_window->hasSketch);
    QVERIFY(!m_window->ui->progressBar->isVisible());
    QCOMPARE(progress.first().first().toInt(), 0);
    std::vector<int> tail;
    for (qsizetype i = progress.size() - 3; i < progress.size(); ++i)
        tail.push_back(progress.at(i).first().toInt());
    QCOMPARE(tail, std::vector<int>({70, 80, 99}));
    QCOMPARE(m_window->ui->statusBar->currentMessage(), QString("Done")); // from the open
}

void TestEffectPages::pencilSecondCreateAdvancesTheGenerator()
{
    const QImage picture = blockyPicture(30, 20, 17);
    open(picture);
    m_window->ui->pushButtonPencilCross->click();
    const QImage first = shown();
    const quint32 afterFirst = applicationRandom().state();
    m_window->ui->pushButtonPencilCross->click();
    KESTROVA_COMPARE_PICTURES(shown(), first);
    // The second hatch draws as many values again, from where the first left.
    RandomSequence expected(afterFirst);
    RandomSequence counter(1u);
    std::vector<unsigned char> edges = edgeMapOf(picture);
    RandomSequence measure(1u);
    pencilSketch(picture, edges.data(), PencilSettings(), measure);
    quint64 draws = 0;
    for (; counter.state() != measure.state(); ++draws)
        counter.next();
    expected.skip(draws);
    QCOMPARE(applicationRandom().state(), expected.state());
}

void TestEffectPages::pencilTimersDebounce()
{
    const QImage picture = blockyPicture(40, 30, 18);
    open(picture);
    m_window->ui->pushButtonPencilCross->click();
    QSignalSpy hatching(&m_window->hatchingLevelsTimer, &QTimer::timeout);
    QSignalSpy contours(&m_window->pencilLevelsTimer, &QTimer::timeout);
    m_window->ui->horizontalSliderMinCol->setValue(61);
    m_window->ui->horizontalSliderMinCol->setValue(62);
    m_window->ui->horizontalSliderMaxCol->setValue(170);
    QCOMPARE(m_window->ui->label_6->text(), QString("62"));
    QCOMPARE(m_window->ui->label_7->text(), QString("170"));
    m_window->ui->horizontalSliderBlackLevelContours->setValue(190);
    m_window->ui->horizontalSliderWhiteLevelContours->setValue(250);
    QVERIFY(hatching.wait(1000));
    QTest::qWait(300);
    QCOMPARE(hatching.count(), 1);
    QCOMPARE(contours.count(), 1);

    PencilSettings settings;
    settings.black = 62;
    settings.white = 170;
    settings.contours.black = 190;
    settings.contours.white = 250;
    KESTROVA_COMPARE_PICTURES(shown(), pencilOf(picture, settings));
}

void TestEffectPages::pencilLevelsWithContoursUnchecked()
{
    const QImage picture = blockyPicture(40, 30, 19);
    open(picture);
    m_window->ui->groupBoxContoursPencil->setChecked(false);
    m_window->ui->pushButtonPencilCross->click();
    KESTROVA_COMPARE_PICTURES(shown(), m_window->penImage);
    // The tone sliders' redraw lays the contours on all the same.
    m_window->ui->horizontalSliderMaxCol->setValue(200);
    QSignalSpy hatching(&m_window->hatchingLevelsTimer, &QTimer::timeout);
    QVERIFY(hatching.wait(1000));
    PencilSettings settings;
    settings.white = 200;
    KESTROVA_COMPARE_PICTURES(shown(), pencilOf(picture, settings));
}

void TestEffectPages::pencilGroupBoxToggle()
{
    const QImage picture = blockyPicture(40, 30, 20);
    open(picture);
    // Before any result the toggle does nothing.
    m_window->ui->groupBoxContoursPencil->setChecked(false);
    QVERIFY(!m_window->sketchItem);
    QVERIFY(!m_window->ui->horizontalSliderBlackLevelContours->isEnabled());
    m_window->ui->groupBoxContoursPencil->setChecked(true);
    QVERIFY(!m_window->pencilLevelsTimer.isActive());

    m_window->ui->pushButtonPencilCross->click();
    const QImage withContours = shown();
    m_window->ui->groupBoxContoursPencil->setChecked(false);
    KESTROVA_COMPARE_PICTURES(shown(), m_window->penImage);
    m_window->ui->pushButton->click(); // show the original
    m_window->ui->groupBoxContoursPencil->setChecked(true);
    QVERIFY(m_window->pencilLevelsTimer.isActive());
    QSignalSpy contours(&m_window->pencilLevelsTimer, &QTimer::timeout);
    QVERIFY(contours.wait(1000));
    KESTROVA_COMPARE_PICTURES(shown(), withContours);
    QCOMPARE(m_window->sketchItem->zValue(), 10.0);
}

void TestEffectPages::pencilRedrawBringsTheSketchToTheFront()
{
    open(blockyPicture(40, 30, 24));
    m_window->ui->pushButtonPencilCross->click();
    m_window->ui->pushButton->click();
    QCOMPARE(m_window->sketchItem->zValue(), 0.0);
    QSignalSpy hatching(&m_window->hatchingLevelsTimer, &QTimer::timeout);
    m_window->ui->horizontalSliderMinCol->setValue(70);
    QVERIFY(hatching.wait(1000));
    QCOMPARE(m_window->sketchItem->zValue(), 10.0);
    m_window->ui->pushButton->click();
    m_window->ui->pushButton->click();
    QCOMPARE(m_window->sketchItem->zValue(), 0.0);
    QSignalSpy contours(&m_window->pencilLevelsTimer, &QTimer::timeout);
    m_window->ui->horizontalSliderWhiteLevelContours->setValue(240);
    QVERIFY(contours.wait(1000));
    QCOMPARE(m_window->sketchItem->zValue(), 10.0);
}

void TestEffectPages::pencilDensityAsksForCreate()
{
    m_window->ui->toolBox->setEnabled(true);
    m_window->ui->horizontalSliderDens->setValue(3);
    QCOMPARE(m_window->ui->label_5->text(), QString("3"));
    QCOMPARE(m_window->ui->statusBar->currentMessage(),
             QString("Press \"Create\" for changes to take effect"));
    QVERIFY(!m_window->sketchItem);
}

void TestEffectPages::pencilMatchesCommandLineTool()
{
    const QImage picture = blockyPicture(66, 41, 21);
    open(picture, "pencil-input.png");
    m_window->ui->horizontalSliderDens->setValue(4);
    m_window->ui->pushButtonPencilCross->click();
    const QImage cli = runCli({"pencil", "--density", "4", m_dir.filePath("pencil-input.png")},
                              m_dir.filePath("pencil-cli.png"));
    QVERIFY2(!cli.isNull(), "kestrova-cli wrote no picture");
    KESTROVA_COMPARE_PICTURES(cli.convertToFormat(QImage::Format_ARGB32),
                              shown().convertToFormat(QImage::Format_ARGB32));
}

void TestEffectPages::pencilCreateDuringCreate()
{
    // The hatching lets events through; a second Create and an open of
    // another picture arrive in the middle of it.
    open(blockyPicture(120, 90, 22), "big.png");
    const QString other = write(blockyPicture(30, 20, 23), "other.png");
    int reentered = 0;
    QTimer::singleShot(0, this, [&] {
        ++reentered;
        m_window->ui->pushButtonPencilCross->click();
        m_chooser->answer = other;
        m_window->ui->actionOpen->trigger();
    });
    m_window->ui->pushButtonPencilCross->click();
    QCOMPARE(reentered, 1);
    QCOMPARE(m_window->sourceImage.size(), QSize(30, 20));
    // The interrupted hatch belongs to the old picture: it is not shown.
    QVERIFY(!m_window->sketchItem);
    m_window->ui->pushButtonPencilCross->click();
    QCOMPARE(shown().size(), QSize(30, 20));
}

void TestEffectPages::pencilPageChangeDuringCreate()
{
    open(blockyPicture(120, 90, 25));
    QTimer::singleShot(0, this, [this] { m_window->ui->toolBox->setCurrentIndex(0); });
    m_window->ui->pushButtonPencilCross->click();
    // The page change dropped the result in the making too.
    QVERIFY(!m_window->sketchItem);
    QVERIFY(!m_window->hasSketch);
    QVERIFY(!m_window->ui->progressBar->isVisible());
}

QTEST_MAIN(TestEffectPages)
#include "tst_effectpages.moc"
