#pragma once

#include "labpix.h"
#include "progress.h"
#include "randomsequence.h"

#include <QImage>
#include <QList>

// What a poster was made of, for the tests and the benchmarks.
struct PosterTrace
{
    int distinctColours = 0;
    // The centres the seeding chose.
    QList<labpix> seeds;
    // The centres after every pass of Lloyd's iteration.
    QList<QList<labpix>> centresAfterPass;
    int passes = 0;
    QList<QRgb> palette;
    // The final centres, whose colours the palette holds.
    QList<labpix> centres;
};

// The picture in `colours` flat colours: the distinct pixel values are
// clustered in Lab space (seeded by chooseSmartCenters with
// truncate(ln colours) + 2 candidates, then Lloyd's iteration), and every
// pixel takes the colour of its nearest centre. The result has the size of
// `img` and the format workingFormatAsFile() gives for it, and is opaque; a
// picture without pixels comes back unchanged. A grey, RGB or RGBA picture
// is read a row at a time (WorkingRows) without a converted copy.
// `colours` is taken within 1 .. 255.
//
// Reports 0, 20, 25, 30 and 50 between the stages, then 50 + 35 * x / width
// for every column x of the painting. Writes its stages to the
// "kestrova.poster" logging category.
QImage Poster(const QImage &img, int colours, RandomSequence &random, const Progress &progress = {},
              PosterTrace *trace = nullptr);

// The number of candidates the poster draws for each centre after the
// first: truncate(ln colours) + 2.
int posterCandidateCount(int colours);
