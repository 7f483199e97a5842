#include "applicationrandom.h"
#include "colour.h"
#include "edgemap.h"
#include "filechooser.h"
#include "helpdialog.h"
#include "mainwindow.h"
#include "pencilsketch.h"
#include "pensketch.h"
#include "randomsequence.h"
#include "testsupport.h"

#include "ui_mainwindow.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QGraphicsPixmapItem>
#include <QImageReader>
#include <QMessageBox>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBrowser>

using namespace testsupport;

namespace {

// Answers the window's file questions without a dialog and remembers them.
class FakeChooser : public FileChooser
{
public:
    struct Question
    {
        QString caption, dir, filter;
    };
    QString answer;
    std::vector<Question> asked;

    QString openFileName(QWidget *, const QString &caption, const QString &dir,
                         const QString &filter) override
    {
        asked.push_back({ caption, dir, filter });
        return answer;
    }
    QString saveFileName(QWidget *, const QString &caption, const QString &dir,
                         const QString &filter) override
    {
        asked.push_back({ caption, dir, filter });
        return answer;
    }
};

const char *const SlotOrder[] = {
    "on_actionOpen_triggered()",
    "on_pushButtonColorSketch_clicked()",
    "on_ColorThreshSlider_valueChanged(int)",
    "on_ColorThreshSlider_sliderReleased()",
    "on_ClustersSizeSlider_valueChanged(int)",
    "on_ClustersSizeSlider_sliderReleased()",
    "on_pushButtonPencilSketch_clicked()",
    "on_actionSave_As_triggered()",
    "on_PencilLevelsSlider_valueChanged(int)",
    "on_pushButton_3_clicked()",
    "on_pushButton_2_clicked()",
    "on_pushButton_toggled(bool)",
    "on_actionAbout_triggered()",
    "on_actionWebsite_triggered()",
    "on_actionIndex_triggered()",
    "on_pushButtonPencilCross_clicked()",
    "on_pencilLevelSlider2_valueChanged(int)",
    "on_toolBox_currentChanged(int)",
    "on_horizontalSliderBlackLevelContours_valueChanged(int)",
    "on_horizontalSliderWhiteLevelContours_valueChanged(int)",
    "on_horizontalSliderMinCol_valueChanged(int)",
    "on_horizontalSliderMaxCol_valueChanged(int)",
    "on_horizontalSliderDens_valueChanged(int)",
    "updatePencilLevels()",
    "updateHatchingLevels()",
    "updatePosterContours()",
    "on_pushButtonCreatePoster_clicked()",
    "on_horizontalSliderPosterContourBlack_valueChanged(int)",
    "on_horizontalSliderPosterContourWhite_valueChanged(int)",
    "on_horizontalSliderPosterColors_valueChanged(int)",
    "on_groupBoxPosterContour_toggled(bool)",
    "on_groupBoxContoursPencil_toggled(bool)",
};

QStringList warnings;
QtMessageHandler previousHandler = nullptr;

void recordWarnings(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg)
        warnings << message;
    if (previousHandler)
        previousHandler(type, context, message);
}

std::vector<unsigned char> edgeMapOf(const QImage &image)
{
    std::vector<unsigned char> edges(size_t(image.width()) * image.height());
    labsobellight2(image, edges.data());
    return edges;
}

} // namespace

class UrlCatcher : public QObject
{
    Q_OBJECT
public:
    QList<QUrl> urls;
public slots:
    void open(const QUrl &url) { urls << url; }
};

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void startUpState();
    void everySlotIsConnectedByName();
    void slotsInDeclarationOrder();
    void timersAreSingleShot();
    void openComputesTheEdgeMap();
    void cancelledOpenChangesNothing();
    void failedOpenRunsAgainOnThePreviousPicture();
    void openConvertsOtherFormats();
    void secondOpenOfAnotherSize();
    void zoomInAndOutReturnsToTheStart();
    void toggleWithoutResultDoesNothing();
    void toggleStacksTheResult();
    void pageChangeDropsTheResult();
    void saveWithEmptyNameSaysSo();
    void saveWithoutResultWritesNothing();
    void saveWritesTheResult();
    void saveWithoutSuffixWritesNothing();
    void helpAboutAndWebsite();
    void languageChangeEmptiesTheValueLabels();

    void penCreate();
    void penSlidersBeforeAndAfterCreate();
    void penMatchesCommandLineTool();

    void pencilCreate();
    void pencilSecondCreateAdvancesTheGenerator();
    void pencilTimersDebounce();
    void pencilLevelsWithContoursUnchecked();
    void pencilGroupBoxToggle();
    void pencilDensityAsksForCreate();
    void pencilMatchesCommandLineTool();
    void pencilCreateDuringCreate();

private:
    void open(const QImage &picture, const QString &name = "picture.png");
    QImage shown() const;
    QString write(const QImage &picture, const QString &name);

    QTemporaryDir m_dir;
    std::unique_ptr<MainWindow> m_window;
    FakeChooser *m_chooser = nullptr;
};

void TestMainWindow::initTestCase()
{
    QCoreApplication::setApplicationName("Kestrova 2.0");
    QCoreApplication::setOrganizationName("Velmont software");
    QVERIFY(m_dir.isValid());
    // Settings go to this run's own folder, never the user's.
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_dir.filePath("settings"));
    previousHandler = qInstallMessageHandler(recordWarnings);
}

void TestMainWindow::init()
{
    QSettings().clear();
    warnings.clear();
    m_window = std::make_unique<MainWindow>();
    auto chooser = std::make_unique<FakeChooser>();
    m_chooser = chooser.get();
    m_window->setFileChooser(std::move(chooser));
    m_window->show();
}

void TestMainWindow::cleanup()
{
    m_window.reset();
}

QString TestMainWindow::write(const QImage &picture, const QString &name)
{
    const QString path = m_dir.filePath(name);
    if (!picture.isNull())
        picture.save(path);
    return path;
}

void TestMainWindow::open(const QImage &picture, const QString &name)
{
    m_chooser->answer = write(picture, name);
    m_window->ui->actionOpen->trigger();
}

QImage TestMainWindow::shown() const
{
    return m_window->sketchItem ? m_window->sketchItem->pixmap().toImage() : QImage();
}

void TestMainWindow::startUpState()
{
    Ui::MainWindow *ui = m_window->ui;
    QCOMPARE(m_window->windowTitle(), QString("Kestrova Pro 2.0"));
    QVERIFY(!ui->toolBox->isEnabled());
    QCOMPARE(ui->toolBox->currentIndex(), 1);
    QCOMPARE(ui->toolBox->itemText(1), QString("Pencil Sketch"));
    QCOMPARE(ui->labelDetails->text(), QString("150"));
    QCOMPARE(ui->labelDetails2->text(), QString("255"));
    QCOMPARE(ui->labelSlider1Value->text(), QString("20"));
    QCOMPARE(ui->labelSlider2Value->text(), QString("70"));
    QCOMPARE(ui->label_5->text(), QString());
    QCOMPARE(ui->label_13->text(), QString());
    QVERIFY(!ui->progressBar->isVisible());
    QVERIFY(ui->pushButton->isEnabled() && ui->pushButton_2->isEnabled());
    QVERIFY(ui->actionOpen->isEnabled() && ui->actionIndex->isEnabled());
    QVERIFY(!m_window->hasSketch);
    QVERIFY(!m_window->sketchItem && !m_window->originalItem);
    QVERIFY(m_window->edges.isNull());
}

void TestMainWindow::everySlotIsConnectedByName()
{
    for (const QString &warning : std::as_const(warnings))
        QVERIFY2(!warning.contains("No matching signal"), qPrintable(warning));
    // Each slot reaches its widget: a slider's value label follows it.
    m_window->ui->toolBox->setEnabled(true);
    m_window->ui->horizontalSliderPosterColors->setValue(7);
    QCOMPARE(m_window->ui->label_13->text(), QString("7"));
    m_window->ui->ColorThreshSlider->setValue(33);
    QCOMPARE(m_window->ui->labelSlider1Value->text(), QString("33"));
}

void TestMainWindow::slotsInDeclarationOrder()
{
    const QMetaObject &meta = MainWindow::staticMetaObject;
    QStringList slotNames;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Slot)
            slotNames << QString::fromLatin1(meta.method(i).methodSignature());
    }
    QStringList expected;
    for (const char *slot : SlotOrder)
        expected << QString::fromLatin1(slot);
    QCOMPARE(slotNames, expected);
}

void TestMainWindow::timersAreSingleShot()
{
    QCOMPARE(m_window->pencilLevelsTimer.interval(), 50);
    QCOMPARE(m_window->hatchingLevelsTimer.interval(), 200);
    QCOMPARE(m_window->posterContoursTimer.interval(), 200);
    QVERIFY(m_window->pencilLevelsTimer.isSingleShot());
    QVERIFY(m_window->hatchingLevelsTimer.isSingleShot());
    QVERIFY(m_window->posterContoursTimer.isSingleShot());
    // Without a result the redraws change nothing.
    m_window->updatePencilLevels();
    m_window->updateHatchingLevels();
    m_window->updatePosterContours();
    QVERIFY(!m_window->sketchItem);
}

void TestMainWindow::openComputesTheEdgeMap()
{
    const QImage picture = blockyPicture(64, 48, 3);
    QSignalSpy progress(m_window->ui->progressBar, &QProgressBar::valueChanged);
    QSignalSpy messages(m_window->ui->statusBar, &QStatusBar::messageChanged);
    open(picture);
    QCOMPARE(m_chooser->asked.size(), size_t(1));
    QCOMPARE(m_chooser->asked[0].caption, QString("Open File"));
    QCOMPARE(m_chooser->asked[0].dir, QString());
    QCOMPARE(m_chooser->asked[0].filter,
             QString("Image Files (*.png *.jpg *.bmp *.jpeg *.tiff *.tif *.gif);;All files (*.*)"));
    QCOMPARE(QSettings().value("CurrDir").toString(), QFileInfo(m_dir.path()).canonicalFilePath());

    QVERIFY(m_window->ui->toolBox->isEnabled());
    QVERIFY(m_window->originalItem);
    QCOMPARE(m_window->originalItem->zValue(), 5.0);
    QVERIFY(!m_window->ui->progressBar->isVisible());
    QCOMPARE(m_window->ui->progressBar->value(), 100);
    QVERIFY(messages.count() >= 2);
    QCOMPARE(messages.first().first().toString(), QString("Preparing edges"));
    QCOMPARE(m_window->ui->statusBar->currentMessage(), QString("Done"));
    QCOMPARE(m_window->cursor().shape(), Qt::ArrowCursor);
    for (qsizetype i = 1; i < progress.size(); ++i)
        QVERIFY(progress.at(i).first().toInt() >= progress.at(i - 1).first().toInt());
    QCOMPARE(progress.last().first().toInt(), 100);

    const std::vector<unsigned char> expected = edgeMapOf(picture);
    QCOMPARE(m_window->edges.size(), qsizetype(expected.size()));
    QVERIFY(std::equal(expected.begin(), expected.end(),
                       reinterpret_cast<const unsigned char *>(m_window->edges.constData())));
    // The next open starts in the remembered folder.
    open(picture);
    QCOMPARE(m_chooser->asked[1].dir, QFileInfo(m_dir.path()).canonicalFilePath());
}

void TestMainWindow::cancelledOpenChangesNothing()
{
    m_chooser->answer = QString();
    m_window->ui->actionOpen->trigger();
    QVERIFY(!m_window->ui->toolBox->isEnabled());
    QVERIFY(!m_window->originalItem);
    QVERIFY(!QSettings().contains("CurrDir"));
    QCOMPARE(m_window->ui->statusBar->currentMessage(), QString());
}

void TestMainWindow::failedOpenRunsAgainOnThePreviousPicture()
{
    const QImage picture = blockyPicture(40, 30, 4);
    open(picture);
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->pushButtonPencilSketch->click();
    QVERIFY(m_window->sketchItem);
    QFile broken(m_dir.filePath("broken.png"));
    QVERIFY(broken.open(QIODevice::WriteOnly));
    broken.write("\x89PNG\r\n\x1a\n not really");
    broken.close();
    m_chooser->answer = broken.fileName();
    m_window->ui->actionOpen->trigger();
    // The old picture stays, its result is dropped and its edges recomputed.
    QCOMPARE(m_window->sourceImage.size(), QSize(40, 30));
    QVERIFY(!m_window->sketchItem);
    QVERIFY(!m_window->hasSketch);
    QCOMPARE(m_window->ui->statusBar->currentMessage(), QString("Done"));
    // A failure before any picture: nothing at all.
    init();
    m_chooser->answer = broken.fileName();
    m_window->ui->actionOpen->trigger();
    QVERIFY(!m_window->ui->toolBox->isEnabled());
    QVERIFY(m_window->sourceImage.isNull());
    QCOMPARE(QSettings().value("CurrDir").toString(), QFileInfo(m_dir.path()).canonicalFilePath());
}

void TestMainWindow::openConvertsOtherFormats()
{
    const QImage grey = blockyPicture(30, 20, 5).convertToFormat(QImage::Format_Grayscale8);
    open(grey, "grey.png");
    QCOMPARE(m_window->sourceImage.format(), QImage::Format_ARGB32);
    QCOMPARE(m_window->sourceImage.pixel(3, 4), 0xFF000000u | grey.pixel(3, 4));
}

void TestMainWindow::secondOpenOfAnotherSize()
{
    open(blockyPicture(40, 30, 6), "first.png");
    open(blockyPicture(25, 60, 7), "second.png");
    QCOMPARE(m_window->edges.size(), qsizetype(25 * 60));
    const std::vector<unsigned char> expected = edgeMapOf(blockyPicture(25, 60, 7));
    QVERIFY(std::equal(expected.begin(), expected.end(),
                       reinterpret_cast<const unsigned char *>(m_window->edges.constData())));
}

void TestMainWindow::zoomInAndOutReturnsToTheStart()
{
    for (int i = 0; i < 3; ++i)
        m_window->ui->pushButton_3->click();
    QVERIFY(qFuzzyCompare(m_window->ui->graphicsView->transform().m11(), 1.2 * 1.2 * 1.2));
    for (int i = 0; i < 3; ++i)
        m_window->ui->pushButton_2->click();
    QVERIFY(qFuzzyCompare(m_window->ui->graphicsView->transform().m11(), 1.0));
    QVERIFY(qFuzzyCompare(m_window->ui->graphicsView->transform().m22(), 1.0));
}

void TestMainWindow::toggleWithoutResultDoesNothing()
{
    m_window->ui->pushButton->click();
    QVERIFY(m_window->ui->pushButton->isChecked());
    QVERIFY(!m_window->sketchItem);
    m_window->ui->pushButton->click();
    QVERIFY(!m_window->sketchItem);
}

void TestMainWindow::toggleStacksTheResult()
{
    open(blockyPicture(40, 30, 8));
    m_window->ui->pushButton->click(); // checked before there is a result
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->pushButtonPencilSketch->click();
    QCOMPARE(m_window->sketchItem->zValue(), 10.0);
    m_window->ui->pushButton->click();
    QCOMPARE(m_window->sketchItem->zValue(), 10.0);
    m_window->ui->pushButton->click();
    QCOMPARE(m_window->sketchItem->zValue(), 0.0);
    QCOMPARE(m_window->originalItem->zValue(), 5.0);
}

void TestMainWindow::pageChangeDropsTheResult()
{
    open(blockyPicture(40, 30, 9));
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->pushButtonPencilSketch->click();
    QVERIFY(m_window->hasSketch);
    m_window->ui->toolBox->setCurrentIndex(1);
    m_window->ui->toolBox->setCurrentIndex(0);
    QVERIFY(!m_window->hasSketch);
    QVERIFY(!m_window->sketchItem);
    QCOMPARE(m_window->scene.items().size(), 1);
}

void TestMainWindow::saveWithEmptyNameSaysSo()
{
    m_chooser->answer = QString();
    m_window->ui->actionSave_As->trigger();
    QCOMPARE(m_window->ui->statusBar->currentMessage(), QString("No file selected"));
    QCOMPARE(m_chooser->asked[0].caption, QString("Save Image"));
    QCOMPARE(m_chooser->asked[0].filter, QString("JPG Files (*.jpg);;PNG Files (*.png)"));
}

void TestMainWindow::saveWithoutResultWritesNothing()
{
    open(blockyPicture(20, 20, 10));
    m_chooser->answer = m_dir.filePath("nothing.png");
    m_window->ui->actionSave_As->trigger();
    QVERIFY(!QFile::exists(m_chooser->answer));
    QVERIFY(!QSettings().contains("CurrSaveDir"));
}

void TestMainWindow::saveWritesTheResult()
{
    const QImage picture = blockyPicture(40, 30, 11);
    open(picture);
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->pushButtonPencilSketch->click();
    m_window->ui->pushButton->click(); // the original on show: still the result is saved
    QDir(m_dir.path()).mkdir("out");
    m_chooser->answer = m_dir.filePath("out/pen.png");
    m_window->ui->actionSave_As->trigger();
    // The first save offers the folder of the opened picture.
    QCOMPARE(m_chooser->asked.back().dir, QFileInfo(m_dir.path()).canonicalFilePath());
    const QImage saved(m_chooser->answer);
    KESTROVA_COMPARE_PICTURES(saved.convertToFormat(QImage::Format_RGB32),
                              shown().convertToFormat(QImage::Format_RGB32));
    QCOMPARE(QSettings().value("CurrSaveDir").toString(),
             QFileInfo(m_dir.filePath("out")).canonicalFilePath());
    m_chooser->answer = m_dir.filePath("out/pen.jpg");
    m_window->ui->actionSave_As->trigger();
    QCOMPARE(m_chooser->asked.back().dir, QFileInfo(m_dir.filePath("out")).canonicalFilePath());
    QImageReader reader(m_chooser->answer);
    QCOMPARE(reader.format(), QByteArray("jpeg"));
}

void TestMainWindow::saveWithoutSuffixWritesNothing()
{
    open(blockyPicture(20, 20, 12));
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->pushButtonPencilSketch->click();
    m_chooser->answer = m_dir.filePath("nosuffix");
    m_window->ui->actionSave_As->trigger();
    QVERIFY(!QFile::exists(m_chooser->answer));
    QCOMPARE(QSettings().value("CurrSaveDir").toString(), QString());
}

void TestMainWindow::helpAboutAndWebsite()
{
    m_window->ui->actionIndex->trigger();
    m_window->ui->actionIndex->trigger();
    QCOMPARE(m_window->helpWindows.size(), size_t(2));
    QWidget *help = m_window->helpWindows.back().get();
    QVERIFY(help->isVisible());
    QCOMPARE(help->windowTitle(), QString("Kestrova Help"));
    QVERIFY(help->findChild<QTextBrowser *>("textBrowser")->toPlainText().contains("Kestrova Pro"));

    QString aboutTitle;
    QTimer::singleShot(0, this, [&aboutTitle] {
        QWidget *box = QApplication::activeModalWidget();
        if (box) {
            aboutTitle = box->windowTitle();
            box->close();
        }
    });
    m_window->ui->actionAbout->trigger();
    QCOMPARE(aboutTitle, QString("Kestrova Pro 2.0"));

    UrlCatcher catcher;
    QDesktopServices::setUrlHandler("https", &catcher, "open");
    m_window->ui->actionWebsite->trigger();
    QDesktopServices::unsetUrlHandler("https");
    QCOMPARE(catcher.urls.size(), 1);
    QVERIFY(catcher.urls.first().isValid());
}

void TestMainWindow::languageChangeEmptiesTheValueLabels()
{
    QEvent event(QEvent::LanguageChange);
    QCoreApplication::sendEvent(m_window.get(), &event);
    QCOMPARE(m_window->ui->labelDetails->text(), QString("\"\""));
    QCOMPARE(m_window->ui->labelDetails2->text(), QString());
    QCOMPARE(m_window->windowTitle(), QString("Kestrova Pro 2.0"));
}

void TestMainWindow::penCreate()
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
    KESTROVA_COMPARE_PICTURES(shown(), pensketch(picture, edges.data(), 150, 255));
    QVERIFY(m_window->hasSketch);
    QCOMPARE(m_window->sketchItem->zValue(), 10.0);
    QVERIFY(!m_window->ui->progressBar->isVisible());
    QCOMPARE(m_window->cursor().shape(), Qt::ArrowCursor);
    QCOMPARE(messages.first(), QString("Running"));
    QCOMPARE(messages.last(), QString("Done"));
    QCOMPARE(m_window->ui->statusBar->currentMessage(), QString("Done"));

    // 0, 5, then 95 * x / width + 5 for every column (changes only).
    std::vector<int> expected = { 0, 5 };
    for (int x = 0; x < 64; ++x) {
        if (95 * x / 64 + 5 != expected.back())
            expected.push_back(95 * x / 64 + 5);
    }
    std::vector<int> seen;
    for (const QList<QVariant> &signal : std::as_const(progress))
        seen.push_back(signal.first().toInt());
    QCOMPARE(seen, expected);
}

void TestMainWindow::penSlidersBeforeAndAfterCreate()
{
    const QImage picture = blockyPicture(50, 40, 14);
    open(picture);
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->PencilLevelsSlider->setValue(100);
    QCOMPARE(m_window->ui->labelDetails->text(), QString("100"));
    QVERIFY(!m_window->sketchItem);
    m_window->ui->pushButtonPencilSketch->click();
    const std::vector<unsigned char> edges = edgeMapOf(picture);
    KESTROVA_COMPARE_PICTURES(shown(), pensketch(picture, edges.data(), 100, 255));
    m_window->ui->PencilLevelsSlider->setValue(120);
    KESTROVA_COMPARE_PICTURES(shown(), pensketch(picture, edges.data(), 120, 255));
    m_window->ui->pencilLevelSlider2->setValue(200);
    QCOMPARE(m_window->ui->labelDetails2->text(), QString("200"));
    KESTROVA_COMPARE_PICTURES(shown(), pensketch(picture, edges.data(), 120, 200));
    // Black above white: only black and white remain.
    m_window->ui->PencilLevelsSlider->setValue(230);
    const QImage image = shown();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            QVERIFY(qRed(image.pixel(x, y)) == 0 || qRed(image.pixel(x, y)) == 255);
    }
}

namespace {

// Runs the command-line tool and reads its picture, or skips the test when
// the tool is not built.
QImage runCli(const QStringList &arguments, const QString &output)
{
#ifdef KESTROVA_CLI_PATH
    QProcess process;
    process.start(QStringLiteral(KESTROVA_CLI_PATH), arguments + QStringList { output });
    if (!process.waitForFinished(60000) || process.exitCode() != 0)
        qWarning() << process.readAllStandardError();
    return QImage(output);
#else
    Q_UNUSED(arguments);
    Q_UNUSED(output);
    return QImage();
#endif
}

} // namespace

void TestMainWindow::penMatchesCommandLineTool()
{
    const QImage picture = blockyPicture(70, 45, 15);
    open(picture, "pen-input.png");
    m_window->ui->toolBox->setCurrentIndex(0);
    m_window->ui->pushButtonPencilSketch->click();
    const QImage cli = runCli({ "pen", m_dir.filePath("pen-input.png") }, m_dir.filePath("pen-cli.png"));
    if (cli.isNull())
        QSKIP("kestrova-cli is not built");
    KESTROVA_COMPARE_PICTURES(cli.convertToFormat(QImage::Format_RGB32),
                              shown().convertToFormat(QImage::Format_RGB32));
}

void TestMainWindow::pencilCreate()
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
    QCOMPARE(tail, std::vector<int>({ 70, 80, 99 }));
    QCOMPARE(m_window->ui->statusBar->currentMessage(), QString("Done")); // from the open
}

void TestMainWindow::pencilSecondCreateAdvancesTheGenerator()
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

void TestMainWindow::pencilTimersDebounce()
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

    const std::vector<unsigned char> edges = edgeMapOf(picture);
    PencilSettings settings;
    settings.black = 62;
    settings.white = 170;
    settings.contourBlack = 190;
    settings.contourWhite = 250;
    RandomSequence random;
    KESTROVA_COMPARE_PICTURES(shown(), pencilSketch(picture, edges.data(), settings, random));
}

void TestMainWindow::pencilLevelsWithContoursUnchecked()
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
    const std::vector<unsigned char> edges = edgeMapOf(picture);
    PencilSettings settings;
    settings.white = 200;
    RandomSequence random;
    KESTROVA_COMPARE_PICTURES(shown(), pencilSketch(picture, edges.data(), settings, random));
}

void TestMainWindow::pencilGroupBoxToggle()
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

void TestMainWindow::pencilDensityAsksForCreate()
{
    m_window->ui->toolBox->setEnabled(true);
    m_window->ui->horizontalSliderDens->setValue(3);
    QCOMPARE(m_window->ui->label_5->text(), QString("3"));
    QCOMPARE(m_window->ui->statusBar->currentMessage(),
             QString("Press \"Create\" for changes to take effect"));
    QVERIFY(!m_window->sketchItem);
}

void TestMainWindow::pencilMatchesCommandLineTool()
{
    const QImage picture = blockyPicture(66, 41, 21);
    open(picture, "pencil-input.png");
    m_window->ui->horizontalSliderDens->setValue(4);
    m_window->ui->pushButtonPencilCross->click();
    const QImage cli = runCli({ "pencil", "--density", "4", m_dir.filePath("pencil-input.png") },
                              m_dir.filePath("pencil-cli.png"));
    if (cli.isNull())
        QSKIP("kestrova-cli is not built");
    KESTROVA_COMPARE_PICTURES(cli.convertToFormat(QImage::Format_ARGB32),
                              shown().convertToFormat(QImage::Format_ARGB32));
}

void TestMainWindow::pencilCreateDuringCreate()
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

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
