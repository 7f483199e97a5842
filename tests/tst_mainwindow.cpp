#include "helpdialog.h"
#include "kestrova_version.h"
#include "windowfixture.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QGraphicsPixmapItem>
#include <QImageReader>
#include <QMessageBox>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <QTextBrowser>

using namespace testsupport;

namespace {

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

} // namespace

class UrlCatcher : public QObject
{
    Q_OBJECT
public:
    QList<QUrl> urls;
public slots:
    void open(const QUrl &url) { urls << url; }
};

class TestMainWindow : public WindowFixture
{
    Q_OBJECT

private slots:
    void startUpState();
    void everySlotIsConnectedByName();
    void slotsInDeclarationOrder();
    void timersAreSingleShot();
    void openComputesTheEdgeMap();
    void cancelledOpenChangesNothing();
    void failedOpenRunsAgainOnThePreviousPicture();
    void openClearsThePoster();
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
    void aboutShowsTheVersionOfTheTool();
    void languageChangeEmptiesTheValueLabels();
};

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
    for (const QString &warning : std::as_const(m_warnings))
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

void TestMainWindow::openClearsThePoster()
{
    m_window->posterImage = blockyPicture(10, 10, 1);
    open(blockyPicture(20, 20, 2));
    QVERIFY(m_window->posterImage.isNull());
    // With no poster the contour redraw shows nothing.
    m_window->updatePosterContours();
    QVERIFY(!m_window->sketchItem);
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
    // Save As then writes nothing.
    m_chooser->answer = m_dir.filePath("after-page-change.png");
    m_window->ui->actionSave_As->trigger();
    QVERIFY(!QFile::exists(m_chooser->answer));
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

void TestMainWindow::aboutShowsTheVersionOfTheTool()
{
    QProcess cli;
    cli.start(QStringLiteral(KESTROVA_CLI_PATH), {QStringLiteral("--version")});
    QVERIFY(cli.waitForFinished(30000));
    const QString versionLine = QString::fromUtf8(cli.readAllStandardOutput()).trimmed();
    const auto match = QRegularExpression("^kestrova-cli (\\d+\\.\\d+\\.\\d+)$").match(versionLine);
    QVERIFY2(match.hasMatch(), qPrintable(versionLine));
    const QString version = match.captured(1);
    QCOMPARE(version, QStringLiteral(KESTROVA_VERSION));

    QString aboutText;
    QTimer::singleShot(0, this, [&aboutText] {
        if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
            aboutText = box->text();
            box->close();
        }
    });
    m_window->ui->actionAbout->trigger();
    QVERIFY2(aboutText.contains(QStringLiteral("version ") + version + QLatin1Char(':')),
             qPrintable(aboutText));
    QVERIFY2(!aboutText.contains(QLatin1Char('\n')), "the about text is one line");
}

void TestMainWindow::languageChangeEmptiesTheValueLabels()
{
    QEvent event(QEvent::LanguageChange);
    QCoreApplication::sendEvent(m_window.get(), &event);
    QCOMPARE(m_window->ui->labelDetails->text(), QString("\"\""));
    QCOMPARE(m_window->ui->labelDetails2->text(), QString());
    QCOMPARE(m_window->windowTitle(), QString("Kestrova Pro 2.0"));
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
