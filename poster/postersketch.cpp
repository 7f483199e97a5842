#include "postersketch.h"

#include "contours.h"
#include "poster.h"
#include "stagetimer.h"

QImage posterSketch(const QImage &source, const unsigned char *edges,
                    const PosterSettings &settings, RandomSequence &random,
                    const Progress &progress, QImage *plain)
{
    QImage poster = Poster(source, settings.colours, random, progress);
    if (plain)
        *plain = poster;
    if (settings.contours) {
        StageTimer timer("poster");
        layPosterContours(poster, edges, settings.contourBlack, settings.contourWhite);
        timer.stage("contours");
    }
    return poster;
}

void layPosterContours(QImage &poster, const unsigned char *edges, int black, int white)
{
    if (poster.width() > 0 && poster.height() > 0)
        multiplyContours(poster, edges, black, white);
}
