#include "coloursketch.h"

#include "levelpictures.h"
#include "segmentlog.h"
#include "segmentor.h"
#include "stagetimer.h"
#include "workingformat.h"

#include <cmath>

QImage colourSketchWorkingPicture(const QImage &source)
{
    const int w = source.width();
    const int h = source.height();
    // A 32-bit product, as the window computes it; pictures are far below
    // its limit.
    const qint32 pixels = qint32(quint32(w) * quint32(h));
    if (pixels > 1000000) {
        const int nw = int(w * std::sqrt(1000000.0 / pixels));
        return source.scaledToWidth(nw, Qt::FastTransformation);
    }
    return source;
}

ColourSketch::ColourSketch(const QImage &source, const ColourSketchSettings &settings,
                           const std::function<void()> &yield)
    : m_width(source.width())
    , m_threshold(settings.threshold)
{
    StageTimer timer("colour sketch");
    // Converted before it is scaled down: Qt's nearest-neighbour scaling
    // samples other pixels of an RGB888 or RGBA8888 picture than of the
    // same picture in 32 bits.
    const QImage working = colourSketchWorkingPicture(toWorkingFormat(source));
    m_workingSize = working.size();
    m_working = working;
    m_segmentor = std::make_unique<CSegmentor>(working, settings.brush);
    m_segmentor->setYield(yield);
    timer.stage("segmenter");
}

ColourSketch::~ColourSketch() = default;

bool ColourSketch::nextLevel()
{
    const bool level = m_segmentor->Next(m_threshold);
    // The level pictures checkpoint once they have read what changed.
    if (level && !m_levels)
        m_segmentor->checkpoint();
    return level;
}

void ColourSketch::showEveryLevel()
{
    m_levels = std::make_unique<LevelPictures>(m_working, m_width);
    m_segmentor->setJournaling(true);
}

QImage ColourSketch::levelPicture()
{
    return m_levels->picture(*m_segmentor);
}

void ColourSketch::keepOnlyTheLastLevel()
{
    m_segmentor->setJournaling(true);
}

QImage ColourSketch::lastPicture()
{
    m_segmentor->rollback();
    return picture();
}

QImage ColourSketch::lastWorkingPicture()
{
    m_segmentor->rollback();
    return m_segmentor->CurrentImage();
}

QImage ColourSketch::picture()
{
    return m_segmentor->CurrentImage().scaledToWidth(m_width, Qt::SmoothTransformation);
}

int ColourSketch::takeLevelProgress()
{
    const int value = m_threshold > 0 ? m_step / m_threshold + 10 : 10;
    m_step += 90;
    return value;
}

namespace {

// Where the time of the levels goes, for the benchmarks (kestrova.timing).
struct LevelTimes
{
    LevelTimes()
    {
        if (lcTiming().isDebugEnabled())
            clock.start();
    }
    // Adds the time since the previous lap to `step`.
    void lap(double &step)
    {
        if (!clock.isValid())
            return;
        step += double(clock.nsecsElapsed()) / 1e6;
        clock.restart();
    }
    void log() const
    {
        if (clock.isValid())
            qCDebug(lcTiming,
                    "colour sketch: merging %.1f ms, level pictures %.1f ms, shown %.1f ms",
                    merging, pictures, showing);
    }

    QElapsedTimer clock;
    double merging = 0;
    double pictures = 0;
    double showing = 0;
};

} // namespace

QImage colourSketch(const QImage &source, const ColourSketchSettings &settings,
                    const Progress &progress, const ColourSketchObserver &observer)
{
    StageTimer timer("colour sketch");
    progress.report(5);
    ColourSketch sketch(source, settings, progress.processEvents);
    progress.report(10);
    if (observer.started)
        observer.started();
    // Without a picture to show at every level, only the last is made.
    const bool everyLevel = bool(observer.level);
    if (everyLevel)
        sketch.showEveryLevel();
    else
        sketch.keepOnlyTheLastLevel();
    QImage result;
    bool reached = false;
    LevelTimes times;
    while (sketch.nextLevel()) {
        times.lap(times.merging);
        qCDebug(lcSegment) << "Next returned";
        reached = true;
        if (everyLevel) {
            result = sketch.levelPicture();
            times.lap(times.pictures);
            observer.level(result);
            times.lap(times.showing);
        }
        progress.yield();
        progress.report(sketch.takeLevelProgress());
        if (observer.stopped && observer.stopped())
            break;
    }
    times.lap(times.merging);
    if (reached && !everyLevel)
        result = sketch.lastPicture();
    timer.stage("merging and pictures");
    if (everyLevel)
        times.log();
    qCDebug(lcSegment) << "Done";
    return result;
}

QImage colourSketchRegions(const QImage &source, const ColourSketchSettings &settings,
                           const Progress &progress)
{
    progress.report(5);
    ColourSketch sketch(source, settings, progress.processEvents);
    progress.report(10);
    sketch.keepOnlyTheLastLevel();
    bool reached = false;
    while (sketch.nextLevel()) {
        reached = true;
        progress.yield();
        progress.report(sketch.takeLevelProgress());
    }
    return reached ? sketch.lastWorkingPicture() : QImage();
}
