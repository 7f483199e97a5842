#pragma once

#include "progress.h"

#include <QImage>

#include <functional>
#include <memory>

class CSegmentor;
class LevelPictures;

struct ColourSketchSettings
{
    // The largest colour distance at which neighbouring regions still merge.
    int threshold = 20;
    // The largest region, in pixels of the working picture, that still merges.
    int brush = 70;
};

// The working picture of a colour sketch: a picture of more than a million
// pixels is scaled down (fast transformation) to about a million, keeping
// its proportions; others are used as they are.
QImage colourSketchWorkingPicture(const QImage &source);

// The colour sketch as the "Create" command runs it, a level at a time:
//
//     ColourSketch sketch(source, settings);   // progress 5 first
//     while (sketch.nextLevel())
//         show(sketch.picture()), progress(sketch.takeLevelProgress());
//
// Between levels the picture coarsens; the last picture is the result.
class ColourSketch
{
public:
    // Reduces the picture and builds the segmenter. `yield` is called after
    // every merge.
    ColourSketch(const QImage &source, const ColourSketchSettings &settings,
                 const std::function<void()> &yield = {});
    ~ColourSketch();
    ColourSketch(const ColourSketch &) = delete;
    ColourSketch &operator=(const ColourSketch &) = delete;

    // Merges up to the next level; false when the threshold is passed or
    // nothing is left to merge.
    bool nextLevel();
    // The picture of the level just reached, at the source's width.
    QImage picture();
    // For a caller that shows every level: levelPicture() gives the
    // pictures picture() would, made in memory kept from level to level,
    // each painted again only where the segmentation changed since. Call
    // before the first nextLevel().
    void showEveryLevel();
    QImage levelPicture();
    // For a caller that wants only the last level's picture: the merging
    // keeps what it changes since each level, and lastPicture() goes back
    // to the last level once nextLevel() has returned false. Call before
    // the first nextLevel().
    void keepOnlyTheLastLevel();
    QImage lastPicture();
    // As lastPicture(), at the working size: every region one flat colour.
    QImage lastWorkingPicture();
    // The progress after the level just reached, 10 + 90 k / threshold for
    // the k-th level; each call moves on to the next level's.
    int takeLevelProgress();
    QSize workingSize() const { return m_workingSize; }

private:
    int m_width;
    int m_threshold;
    int m_step = 90;
    QSize m_workingSize;
    QImage m_working;
    std::unique_ptr<CSegmentor> m_segmentor;
    std::unique_ptr<LevelPictures> m_levels;
};

// What the window does between the steps of the command.
struct ColourSketchObserver
{
    // The segmenter is built: merging starts.
    std::function<void()> started;
    // The picture of a level, to show.
    std::function<void(const QImage &)> level;
    // Asked after every level: true ends the command there.
    std::function<bool()> stopped;
};

// The whole command: reports 5, builds the segmenter, reports 10, then for
// every level reached passes its picture to `observer`, yields and reports
// the level's progress. Yields after every merge too. Returns the picture
// of the last level, or a null picture when no level is reached (threshold
// 0, a picture of one colour, brushstroke size 0).
QImage colourSketch(const QImage &source, const ColourSketchSettings &settings,
                    const Progress &progress = {}, const ColourSketchObserver &observer = {});

// The regions of the command's last level at the working size, each in its
// flat colour, reporting and yielding as colourSketch() does without an
// observer; a null picture when no level is reached. Outlines of these
// regions, scaled to the source's size, draw the colour sketch.
QImage colourSketchRegions(const QImage &source, const ColourSketchSettings &settings,
                           const Progress &progress = {});
