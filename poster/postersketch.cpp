#include "postersketch.h"

#include "poster.h"
#include "stagetimer.h"

namespace {

QImage plainPoster(const QImage &source, const PosterSettings &settings, RandomSequence &random,
                   const Progress &progress, QList<PaletteColour> *colours)
{
    if (!settings.palette.isEmpty()) {
        if (colours)
            *colours = settings.palette.mid(0, MaxPaletteColours);
        return fixedPoster(source, settings.palette, progress);
    }
    if (!colours)
        return Poster(source, settings.colours, random, progress);
    PosterTrace trace;
    const QImage poster = Poster(source, settings.colours, random, progress, &trace);
    colours->clear();
    for (const labpix &centre : std::as_const(trace.centres))
        colours->append(PaletteColour::ofLab(centre.l, centre.a, centre.b));
    return poster;
}

} // namespace

QImage posterSketch(const QImage &source, const unsigned char *edges,
                    const PosterSettings &settings, RandomSequence &random,
                    const Progress &progress, QImage *plain, QList<PaletteColour> *colours)
{
    QImage poster = plainPoster(source, settings, random, progress, colours);
    if (plain)
        *plain = poster;
    if (settings.contours.on && poster.width() > 0 && poster.height() > 0) {
        StageTimer timer("poster");
        multiplyContours(poster, edges, settings.contours.black, settings.contours.white);
        timer.stage("contours");
    }
    return poster;
}
