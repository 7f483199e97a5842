#pragma once

// A slow, literal poster: the seeding and Lloyd's passes on the picture's
// distinct colours, kept in plain lists and walked in index order, so that
// the fast quantiser can be compared with it centre by centre and pass by
// pass.

#include "progress.h"
#include "randomsequence.h"

#include <QImage>
#include <QList>

namespace reference {

// One colour sample in Lab, laid out as the product's 8-byte record.
struct LabSample
{
    qint16 l, a, b;
    quint8 cluster;
    quint8 spare;
};

inline bool operator==(LabSample p, LabSample q)
{
    return p.l == q.l && p.a == q.a && p.b == q.b && p.cluster == q.cluster;
}
inline bool operator!=(LabSample p, LabSample q)
{
    return !(p == q);
}

// Squared Lab distance in 32-bit signed arithmetic, then double; the cluster
// byte plays no part.
double distSq(LabSample p, LabSample q);
// One draw scaled to [0, 1]; 1.0 itself can come out.
double getRandomScalar(RandomSequence &random);
QList<LabSample> chooseSmartCenters(const QList<LabSample> &points, int k, int candidateCount,
                                    RandomSequence &random);
// truncate(ln(colours)) + 2: the candidates drawn for every centre after the
// first.
int posterCandidateCount(int colours);

struct PosterTrace
{
    int distinctColours = 0;
    QList<LabSample> seeds; // what chooseSmartCenters returned
    QList<QList<LabSample>> centresAfterPass; // the centres after the mean step of every pass
    int passes = 0; // number of assignment passes
    QList<unsigned int> palette;
};

// The poster of a 32-bit (RGB32 or ARGB32) picture; reports the exact
// progress values through `progress`. Other formats are converted to ARGB32
// first, as the window does when it opens them.
QImage Poster(const QImage &img, int colours, RandomSequence &random, const Progress &progress = {},
              PosterTrace *trace = nullptr);

// One colour of a fixed palette: the colour painted and the Lab value it is
// matched by.
struct PaletteEntry
{
    unsigned int rgb;
    int l, a, b;
};

// The poster in fixed colours, read literally: every pixel, x outer and y
// inner, is converted to Lab (each component truncated to 16 bits) and
// compared with every palette entry in order; the first entry at the
// smallest squared distance gives its colour, made opaque. Other formats
// than RGB32 and ARGB32 are converted to ARGB32 first.
QImage palettePoster(const QImage &img, const QList<PaletteEntry> &palette);

} // namespace reference
