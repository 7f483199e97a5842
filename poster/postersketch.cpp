#include "postersketch.h"

#include "poster.h"
#include "stagetimer.h"

QImage posterSketch(const QImage &source, const unsigned char *edges,
                    const PosterSettings &settings, RandomSequence &random,
                    const Progress &progress, QImage *plain)
{
    QImage poster = Poster(source, settings.colours, random, progress);
    if (plain)
        *plain = poster;
    if (settings.contours.on && poster.width() > 0 && poster.height() > 0) {
        StageTimer timer("poster");
        multiplyContours(poster, edges, settings.contours.black, settings.contours.white);
        timer.stage("contours");
    }
    return poster;
}
