// The effect pages: their Create commands, sliders and deferred redraws.

#include "mainwindow.h"

#include "effectrecords.h"
#include "levels.h"
#include "pagesliders.h"
#include "progress.h"

#include "ui_mainwindow.h"

void MainWindow::updatePenLevels(QImage &layer, int black, int white)
{
    // The layer must be a 32-bit picture of the edge map's size.
    if (layer.depth() != 32 || !edgesMatch(layer))
        return;
    penLevels(layer, edgeData(), black, white);
}

EffectValues MainWindow::pageValues(const char *effect) const
{
    return ::pageValues(*this, *findEffect(QLatin1String(effect)));
}

// Pen sketch

void MainWindow::on_pushButtonPencilSketch_clicked()
{
    const PenSettings settings = penSettings(pageValues("pen"));
    if (!edgesMatch(sourceImage))
        return;
    ui->progressBar->setValue(0);
    ui->progressBar->setVisible(true);
    setCursor(Qt::WaitCursor);
    ui->progressBar->setValue(5);
    ui->statusBar->showMessage(tr("Running"));
    QImage sketch;
    withinMemory([&] {
        sketch = pensketch(sourceImage, edgeData(), settings, progressBarBinding(false));
    });
    ui->statusBar->showMessage(tr("Done"), 2000);
    if (!sketch.isNull())
        publish(sketch);
    setCursor(Qt::ArrowCursor);
    ui->statusBar->showMessage(tr("Done"), 3000);
    ui->progressBar->setVisible(false);
}

void MainWindow::on_PencilLevelsSlider_valueChanged(int value)
{
    ui->labelDetails->setText(QString("%1").arg(value));
    redrawPenSketch(value, ui->pencilLevelSlider2->value());
}

void MainWindow::on_pencilLevelSlider2_valueChanged(int value)
{
    ui->labelDetails2->setText(QString("%1").arg(value));
    redrawPenSketch(ui->PencilLevelsSlider->value(), value);
}

// Once a sketch is on show the level sliders redraw it at once: a copy of
// the picture only gives the size and format of the contour layer.
void MainWindow::redrawPenSketch(int black, int white)
{
    if (!hasSketch)
        return;
    QImage layer = sourceImage.copy();
    updatePenLevels(layer, black, white);
    showResult(layer);
}

// Pencil sketch

void MainWindow::on_pushButtonPencilCross_clicked()
{
    const PencilSettings settings = pencilSettings(pageValues("pencil"));
    if (!edgesMatch(sourceImage))
        return;
    ui->progressBar->setValue(0);
    ui->progressBar->setVisible(true);

    // The hatching lets events through, so the user may open another picture,
    // change the page or press Create again meanwhile: work on this command's
    // own copies, and keep the result only if nothing dropped it.
    const QImage source = sourceImage;
    const QByteArray edgeMap = edges;
    const quint64 dropsBefore = resultDrops;
    QImage hatch;
    QImage pen;
    QImage display;
    withinMemory([&] {
        display = pencilSketch(source, reinterpret_cast<const unsigned char *>(edgeMap.constData()),
                               settings, random, progressBarBinding(true), &hatch, &pen);
    });
    if (resultDrops == dropsBefore && !display.isNull()) {
        hatchImage = hatch;
        penImage = pen;
        publish(display);
    }
    ui->progressBar->setVisible(false);
}

void MainWindow::updateHatchingLevels()
{
    if (!hasSketch || !edgesMatch(penImage))
        return;
    penImage = levelledHatching(hatchImage, ui->horizontalSliderMinCol->value(),
                                ui->horizontalSliderMaxCol->value());
    // The contour layer goes on whether or not the group box is checked.
    updatePencilLevels();
}

void MainWindow::updatePencilLevels()
{
    if (!hasSketch || !edgesMatch(penImage))
        return;
    showResult(withContours(penImage, edgeData(), pencilContours()));
}

// The pencil page's contour sliders, the layer on.
ContourSettings MainWindow::pencilContours() const
{
    ContourSettings contours = contourSettings(pageValues("pencil"));
    contours.on = true;
    return contours;
}

void MainWindow::on_groupBoxContoursPencil_toggled(bool arg1)
{
    if (!hasSketch)
        return;
    if (arg1)
        pencilLevelsTimer.start();
    else
        showResult(penImage);
}

void MainWindow::on_horizontalSliderDens_valueChanged(int value)
{
    ui->label_5->setText(QString("%1").arg(value));
    ui->statusBar->showMessage(tr("Press \"Create\" for changes to take effect"), 2000);
}

void MainWindow::on_horizontalSliderMinCol_valueChanged(int value)
{
    ui->label_6->setText(QString("%1").arg(value));
    hatchingLevelsTimer.start();
}

void MainWindow::on_horizontalSliderMaxCol_valueChanged(int value)
{
    ui->label_7->setText(QString("%1").arg(value));
    hatchingLevelsTimer.start();
}

void MainWindow::on_horizontalSliderBlackLevelContours_valueChanged(int value)
{
    Q_UNUSED(value);
    pencilLevelsTimer.start();
}

void MainWindow::on_horizontalSliderWhiteLevelContours_valueChanged(int value)
{
    Q_UNUSED(value);
    pencilLevelsTimer.start();
}

// Poster

void MainWindow::on_pushButtonCreatePoster_clicked()
{
    const PosterSettings settings = posterSettings(pageValues("poster"));
    if (!edgesMatch(sourceImage))
        return;
    ui->progressBar->setValue(0);
    ui->progressBar->setVisible(true);
    // The poster lets no events through: nothing can change under it.
    QImage display;
    withinMemory([&] {
        display = posterSketch(sourceImage, edgeData(), settings, random, progressBarBinding(false),
                               &posterImage);
    });
    ui->progressBar->setVisible(false);
    if (!display.isNull())
        publish(display);
}

// Redraws the poster from posterImage with the current contour settings,
// whether or not a result is on show. Opening a picture clears posterImage,
// so the edge map always belongs to the poster here.
void MainWindow::updatePosterContours()
{
    if (posterImage.isNull() || !edgesMatch(posterImage))
        return;
    showResult(withContours(posterImage, edgeData(), posterContours()));
}

// The poster page's contour group box and sliders.
ContourSettings MainWindow::posterContours() const
{
    return contourSettings(pageValues("poster"));
}

void MainWindow::on_horizontalSliderPosterContourBlack_valueChanged(int value)
{
    Q_UNUSED(value);
    posterContoursTimer.start();
}

void MainWindow::on_horizontalSliderPosterContourWhite_valueChanged(int value)
{
    Q_UNUSED(value);
    posterContoursTimer.start();
}

void MainWindow::on_horizontalSliderPosterColors_valueChanged(int value)
{
    ui->label_13->setText(QString("%1").arg(value));
}

void MainWindow::on_groupBoxPosterContour_toggled(bool arg1)
{
    if (!hasSketch)
        return;
    if (arg1)
        posterContoursTimer.start();
    else if (!posterImage.isNull())
        showResult(posterImage);
}

// Colour sketch

// The merging lets events through, so the user may open another picture,
// change the page or press Create again meanwhile. The run works on its own
// copy of the picture; once something of that kind happened, it shows no
// further level and stops at the next one.
void MainWindow::on_pushButtonColorSketch_clicked()
{
    const ColourSketchSettings settings = colourSketchSettings(pageValues("color"));
    if (sourceImage.isNull())
        return;
    ui->progressBar->setVisible(true);
    ui->progressBar->setValue(5);
    ui->statusBar->showMessage(tr("Preparing"));
    setCursor(Qt::WaitCursor);

    const quint64 run = ++colourRuns;
    const quint64 dropsBefore = resultDrops;
    auto superseded
            = [this, run, dropsBefore] { return colourRuns != run || resultDrops != dropsBefore; };
    ColourSketchObserver observer;
    observer.started = [this] { ui->statusBar->showMessage(tr("Processing")); };
    observer.level = [this, superseded](const QImage &picture) {
        if (superseded())
            return;
        showResult(picture);
        // The new level is painted now, whatever the throttle says.
        QCoreApplication::processEvents();
    };
    observer.stopped = superseded;
    // The merging yields after every merge, a million times for a large
    // picture; reading the clock each time would cost more than the events.
    // The throttle looks at the clock every few hundred merges instead,
    // which still lets events through within about 10 ms.
    Progress progress = throttledProgressBarBinding();
    progress.processEvents = [throttled = progress.processEvents, merges = 0u]() mutable {
        if (++merges % 256 == 0)
            throttled();
    };
    // Out of memory, the levels shown so far stay.
    withinMemory([&] { colourSketch(sourceImage, settings, progress, observer); });

    setCursor(Qt::ArrowCursor);
    ui->progressBar->setVisible(false);
    if (superseded())
        return;
    ui->statusBar->showMessage(tr("Done"), 3000);
    // Even when no level was reached and nothing is shown.
    hasSketch = true;
}

void MainWindow::on_ColorThreshSlider_valueChanged(int value)
{
    ui->labelSlider1Value->setText(QString("%1").arg(value));
}

void MainWindow::on_ColorThreshSlider_sliderReleased() { }

void MainWindow::on_ClustersSizeSlider_valueChanged(int value)
{
    ui->labelSlider2Value->setText(QString("%1").arg(value));
}

void MainWindow::on_ClustersSizeSlider_sliderReleased() { }
