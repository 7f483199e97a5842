#pragma once

#include <QByteArray>
#include <QGraphicsScene>
#include <QImage>
#include <QMainWindow>
#include <QTimer>

#include <functional>
#include <memory>
#include <vector>

class FileChooser;
class HelpDialog;
class QGraphicsPixmapItem;
class RandomSequence;
struct ContourSettings;
struct EffectValues;
struct Progress;

namespace Ui {
class MainWindow;
}

class MainWindow : public QMainWindow
{
    Q_OBJECT
    // The window tests look at the members directly.
    friend class WindowFixture;
    friend class TestMainWindow;
    friend class TestEffectPages;
    friend class TestPosterPage;
    friend class TestColourPage;
    friend class TestBadInputsWindow;
    friend class TestWindowRobustness;

public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

    // Replaces the file dialogs (tests answer without showing one).
    void setFileChooser(std::unique_ptr<FileChooser> chooser);

    // Writes the contour layer of the current edge map into `layer`.
    void updatePenLevels(QImage &layer, int black, int white);

protected:
    void changeEvent(QEvent *event) override;

private slots:
    // Connected by the form's object names, which every saved layout and
    // translation of this window shares, so they stay as they are even where
    // they read oddly: on_pushButtonPencilSketch_clicked makes the pen sketch
    // (page "Pen Sketch"), on_pushButtonPencilCross_clicked the pencil
    // hatching (page "Pencil Sketch"), PencilLevelsSlider and
    // pencilLevelSlider2 are the pen's levels, and pushButton, pushButton_2
    // and pushButton_3 are Original/Sketch, ZoomOut and ZoomIn. The order is
    // the meta-object's order.
    void on_actionOpen_triggered();
    void on_pushButtonColorSketch_clicked();
    void on_ColorThreshSlider_valueChanged(int value);
    void on_ColorThreshSlider_sliderReleased();
    void on_ClustersSizeSlider_valueChanged(int value);
    void on_ClustersSizeSlider_sliderReleased();
    void on_pushButtonPencilSketch_clicked();
    void on_actionSave_As_triggered();
    void on_PencilLevelsSlider_valueChanged(int value);
    void on_pushButton_3_clicked();
    void on_pushButton_2_clicked();
    void on_pushButton_toggled(bool checked);
    void on_actionAbout_triggered();
    void on_actionWebsite_triggered();
    void on_actionIndex_triggered();
    void on_pushButtonPencilCross_clicked();
    void on_pencilLevelSlider2_valueChanged(int value);
    void on_toolBox_currentChanged(int index);
    void on_horizontalSliderBlackLevelContours_valueChanged(int value);
    void on_horizontalSliderWhiteLevelContours_valueChanged(int value);
    void on_horizontalSliderMinCol_valueChanged(int value);
    void on_horizontalSliderMaxCol_valueChanged(int value);
    void on_horizontalSliderDens_valueChanged(int value);
    void updatePencilLevels();
    void updateHatchingLevels();
    void updatePosterContours();
    void on_pushButtonCreatePoster_clicked();
    void on_horizontalSliderPosterContourBlack_valueChanged(int value);
    void on_horizontalSliderPosterContourWhite_valueChanged(int value);
    void on_horizontalSliderPosterColors_valueChanged(int value);
    void on_groupBoxPosterContour_toggled(bool arg1);
    void on_groupBoxContoursPencil_toggled(bool arg1);

private:
    // Shows `image` in the result item, over the original.
    void showResult(const QImage &image);
    // Shows `image` as a finished effect result: also marks that a result
    // is on show.
    void publish(const QImage &image);
    void dropResult();
    // The progress bar, and the event loop when the operation lets events
    // through, for the core's long operations.
    Progress progressBarBinding(bool letEventsThrough);
    // The progress bar, and the event loop at most every 10 ms: for work
    // that yields far more often than the screen needs.
    Progress throttledProgressBarBinding();
    // Runs `work`; false when memory ran out on the way. A command that runs
    // out of memory then ends as a failed open does: nothing is shown.
    bool withinMemory(const std::function<void()> &work);
    void redrawPenSketch(int black, int white);
    // The values of an effect's page: its sliders and its contour box.
    EffectValues pageValues(const char *effect) const;
    ContourSettings pencilContours() const;
    ContourSettings posterContours() const;
    const unsigned char *edgeData() const;
    bool edgesMatch(const QImage &image) const;

    Ui::MainWindow *ui;
    QImage sourceImage;
    QImage penImage;
    QImage hatchImage;
    QImage posterImage;
    QGraphicsScene scene;
    QGraphicsPixmapItem *sketchItem;
    QGraphicsPixmapItem *originalItem;
    // One byte per pixel of sourceImage, row-major. Implicitly shared, so a
    // command that lets events through keeps its own edge map even when a new
    // picture is opened meanwhile.
    QByteArray edges;
    bool hasSketch;
    QTimer pencilLevelsTimer;
    QTimer hatchingLevelsTimer;
    QTimer posterContoursTimer;

    RandomSequence &random;
    std::unique_ptr<FileChooser> fileChooser;
    std::vector<std::unique_ptr<HelpDialog>> helpWindows;
    // Counts what drops a result (opens and page changes), so that a command
    // that lets events through can tell that its result is no longer wanted.
    quint64 resultDrops = 0;
    // Counts the colour sketch commands, so that a run can tell that a newer
    // one started while it let events through.
    quint64 colourRuns = 0;
};
