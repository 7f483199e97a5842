#include "pencilsketch.h"

#include "levels.h"
#include "pencilhatch.h"

namespace {

// The hatching, levelled by what `chooseLevels` makes of it, with the
// contours over it.
template<typename ChooseLevels>
QImage pencilDrawing(const QImage &source, const unsigned char *edges,
                     const PencilSettings &settings, RandomSequence &random,
                     const Progress &progress, QImage *hatch, QImage *pen,
                     ChooseLevels chooseLevels)
{
    QImage image = pencilhatch(source, settings.black, settings.white, settings.density, 0,
                               settings.contours.on, random, progress);
    progress.report(70);
    if (hatch)
        *hatch = image;
    const ToneLevels levels = chooseLevels(image);
    levelimg(image, levels.black, levels.white);
    progress.report(80);
    if (pen)
        *pen = image;
    if (settings.contours.on)
        multiplyContours(image, edges, settings.contours.black, settings.contours.white);
    progress.report(99);
    return image;
}

} // namespace

QImage pencilSketch(const QImage &source, const unsigned char *edges,
                    const PencilSettings &settings, RandomSequence &random,
                    const Progress &progress, QImage *hatch, QImage *pen)
{
    return pencilDrawing(source, edges, settings, random, progress, hatch, pen,
                         [&](const QImage &) {
                             return ToneLevels {settings.black, settings.white};
                         });
}

QImage pencilSketchAutoLevels(const QImage &source, const unsigned char *edges,
                              const PencilSettings &settings, RandomSequence &random,
                              const Progress &progress, ToneLevels *levels)
{
    return pencilDrawing(source, edges, settings, random, progress, nullptr, nullptr,
                         [&](const QImage &hatching) {
                             *levels = chooseToneLevels(redHistogram(hatching));
                             return *levels;
                         });
}

QImage levelledHatching(const QImage &hatch, int black, int white)
{
    QImage pen = hatch.copy();
    levelimg(pen, black, white);
    return pen;
}
