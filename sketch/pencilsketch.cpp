#include "pencilsketch.h"

#include "levels.h"
#include "pencilhatch.h"

QImage pencilSketch(const QImage &source, const unsigned char *edges,
                    const PencilSettings &settings, RandomSequence &random,
                    const Progress &progress, QImage *hatch, QImage *pen)
{
    QImage image = pencilhatch(source, settings.black, settings.white, settings.density, 0,
                               settings.contours.on, random, progress);
    progress.report(70);
    if (hatch)
        *hatch = image;
    levelimg(image, settings.black, settings.white);
    progress.report(80);
    if (pen)
        *pen = image;
    if (settings.contours.on)
        multiplyContours(image, edges, settings.contours.black, settings.contours.white);
    progress.report(99);
    return image;
}

QImage levelledHatching(const QImage &hatch, int black, int white)
{
    QImage pen = hatch.copy();
    levelimg(pen, black, white);
    return pen;
}
