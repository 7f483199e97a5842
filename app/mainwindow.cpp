#include "mainwindow.h"

#include "applicationrandom.h"
#include "edgemap.h"
#include "filechooser.h"
#include "helpdialog.h"
#include "kestrova_version.h"
#include "picturelimits.h"
#include "progress.h"
#include "workingformat.h"

#include "ui_mainwindow.h"

#include <QDesktopServices>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGraphicsPixmapItem>
#include <QImageReader>
#include <QImageWriter>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QSaveFile>
#include <QSettings>
#include <QUrl>

Q_LOGGING_CATEGORY(lcFiles, "kestrova.files", QtInfoMsg)

namespace {

const char AboutText[] = "Kestrova Pro, version " KESTROVA_VERSION
                         ": photographs into pen, pencil, poster and colour sketches.";
const char WebsiteAddress[] = "https://kestrova.example/";

// The folder of an existing file without links or dots; empty when the file
// does not exist (QFileInfo would answer ".").
QString canonicalFolder(const QString &fileName)
{
    const QFileInfo info(fileName);
    return info.canonicalFilePath().isEmpty() ? QString() : info.canonicalPath();
}

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , ui(new Ui::MainWindow)
    , sketchItem(nullptr)
    , originalItem(nullptr)
    , hasSketch(false)
    , random(applicationRandom())
    , fileChooser(std::make_unique<DialogFileChooser>())
{
    ui->setupUi(this);
    ui->progressBar->setVisible(false);
    ui->graphicsView->setScene(&scene);
    ui->labelDetails->setText(QString("%1").arg(ui->PencilLevelsSlider->value()));
    ui->labelDetails2->setText(QString("%1").arg(ui->pencilLevelSlider2->value()));
    ui->labelSlider1Value->setText(QString("%1").arg(ui->ColorThreshSlider->value()));
    ui->labelSlider2Value->setText(QString("%1").arg(ui->ClustersSizeSlider->value()));

    pencilLevelsTimer.setSingleShot(true);
    pencilLevelsTimer.setInterval(50);
    connect(&pencilLevelsTimer, &QTimer::timeout, this, &MainWindow::updatePencilLevels);
    hatchingLevelsTimer.setSingleShot(true);
    hatchingLevelsTimer.setInterval(200);
    connect(&hatchingLevelsTimer, &QTimer::timeout, this, &MainWindow::updateHatchingLevels);
    posterContoursTimer.setSingleShot(true);
    posterContoursTimer.setInterval(200);
    connect(&posterContoursTimer, &QTimer::timeout, this, &MainWindow::updatePosterContours);
}

MainWindow::~MainWindow()
{
    delete ui;
}

void MainWindow::setFileChooser(std::unique_ptr<FileChooser> chooser)
{
    fileChooser = std::move(chooser);
}

void MainWindow::changeEvent(QEvent *event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
}

Progress MainWindow::progressBarBinding(bool letEventsThrough)
{
    QProgressBar *bar = ui->progressBar;
    Progress progress {[bar](int value) { bar->setValue(value); }, {}};
    if (letEventsThrough)
        progress.processEvents = [] { QCoreApplication::processEvents(); };
    return progress;
}

Progress MainWindow::throttledProgressBarBinding()
{
    Progress progress = progressBarBinding(false);
    auto clock = std::make_shared<QElapsedTimer>();
    clock->start();
    progress.processEvents = [clock] {
        if (clock->elapsed() >= 10) {
            QCoreApplication::processEvents();
            clock->restart();
        }
    };
    return progress;
}

bool MainWindow::withinMemory(const std::function<void()> &work)
{
    try {
        work();
        return true;
    } catch (const std::bad_alloc &) {
        qCDebug(lcFiles) << "out of memory";
        return false;
    }
}

const unsigned char *MainWindow::edgeData() const
{
    return reinterpret_cast<const unsigned char *>(edges.constData());
}

bool MainWindow::edgesMatch(const QImage &image) const
{
    return !image.isNull() && edges.size() == qsizetype(image.width()) * qsizetype(image.height());
}

void MainWindow::showResult(const QImage &image)
{
    const QPixmap pixmap = QPixmap::fromImage(image);
    if (sketchItem)
        sketchItem->setPixmap(pixmap);
    else
        sketchItem = scene.addPixmap(pixmap);
    sketchItem->setZValue(10);
}

void MainWindow::publish(const QImage &image)
{
    showResult(image);
    hasSketch = true;
}

void MainWindow::dropResult()
{
    ++resultDrops;
    if (sketchItem) {
        scene.removeItem(sketchItem);
        delete sketchItem;
        sketchItem = nullptr;
    }
    hasSketch = false;
}

void MainWindow::on_actionOpen_triggered()
{
    QSettings settings;
    const QString dir = settings.value("CurrDir", "").toString();
    const QString fileName = fileChooser->openFileName(
            this, tr("Open File"), dir,
            tr("Image Files (*.png *.jpg *.bmp *.jpeg *.tiff *.tif *.gif);;All files (*.*)"));
    if (fileName.isNull())
        return;
    settings.setValue("CurrDir", canonicalFolder(fileName));

    // A picture that fails to load leaves the previous one in place, and the
    // steps below then run again on it.
    // A picture too large to draw fails like any other: silently.
    QImageReader reader(fileName);
    QString error;
    QImage loaded = readWithinLimits(reader, &error);
    // Null as well when there is no memory left for the conversion.
    loaded = toWorkingFormat(loaded);
    if (loaded.isNull())
        qCDebug(lcFiles) << "cannot load" << fileName << error;
    else
        sourceImage = loaded;
    if (sourceImage.isNull())
        return;
    // A poster belongs to the picture it was made from: a later contour
    // redraw must never lay the new edge map over it.
    posterImage = QImage();

    const QPixmap pixmap = QPixmap::fromImage(sourceImage);
    if (originalItem)
        originalItem->setPixmap(pixmap);
    else
        originalItem = scene.addPixmap(pixmap);
    originalItem->setZValue(5);
    ui->toolBox->setEnabled(true);
    dropResult();

    ui->progressBar->setValue(0);
    ui->progressBar->setVisible(true);
    ui->statusBar->showMessage(tr("Preparing edges"));
    setCursor(Qt::WaitCursor);
    // Without an edge map the effects wait for the next open.
    if (!withinMemory([this] {
            edges = QByteArray(qsizetype(sourceImage.width()) * sourceImage.height(),
                               Qt::Uninitialized);
            labsobellight2(sourceImage, reinterpret_cast<unsigned char *>(edges.data()),
                           progressBarBinding(false));
        }))
        edges.clear();
    setCursor(Qt::ArrowCursor);
    ui->progressBar->setValue(100);
    ui->progressBar->setVisible(false);
    ui->statusBar->showMessage(tr("Done"), 2000);
}

void MainWindow::on_actionSave_As_triggered()
{
    QSettings settings;
    const QString dir = settings.value("CurrDir", "").toString();
    const QString saveDir = settings.value("CurrSaveDir", dir).toString();
    const QString fileName = fileChooser->saveFileName(this, tr("Save Image"), saveDir,
                                                       tr("JPG Files (*.jpg);;PNG Files (*.png)"));
    if (fileName.isEmpty()) {
        ui->statusBar->showMessage(tr("No file selected"));
        return;
    }
    if (!sketchItem)
        return;

    // Written through a temporary file: a failed write never leaves a
    // half-written picture or harms an existing file.
    QSaveFile file(fileName);
    QImageWriter writer(&file, QFileInfo(fileName).suffix().toLower().toLatin1());
    writer.setQuality(100);
    // The flush makes a write error of the last buffered bytes show before
    // the commit.
    if (file.open(QIODevice::WriteOnly) && writer.write(sketchItem->pixmap().toImage())
        && file.flush())
        file.commit();
    else
        qCDebug(lcFiles) << "cannot save" << fileName << writer.errorString();
    settings.setValue("CurrSaveDir", canonicalFolder(fileName));
}

void MainWindow::on_pushButton_3_clicked()
{
    ui->graphicsView->scale(1.2, 1.2);
}

void MainWindow::on_pushButton_2_clicked()
{
    ui->graphicsView->scale(0.8333333333333334, 0.8333333333333334);
}

void MainWindow::on_pushButton_toggled(bool checked)
{
    if (sketchItem)
        sketchItem->setZValue(checked ? 0 : 10);
}

void MainWindow::on_toolBox_currentChanged(int index)
{
    Q_UNUSED(index);
    dropResult();
}

void MainWindow::on_actionAbout_triggered()
{
    QMessageBox::about(this, tr("Kestrova Pro 2.0"), tr(AboutText));
}

void MainWindow::on_actionWebsite_triggered()
{
    QDesktopServices::openUrl(QUrl(WebsiteAddress));
}

void MainWindow::on_actionIndex_triggered()
{
    // Each use opens another window; closing one only hides it. The window
    // keeps them until it goes.
    helpWindows.push_back(std::make_unique<HelpDialog>());
    helpWindows.back()->show();
}
