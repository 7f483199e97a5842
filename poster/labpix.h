#pragma once

#include "randomsequence.h"

#include <QtGlobal>

// One colour sample in Lab space, 8 bytes, copied by value. `cluster` is the
// index of the centre the sample belongs to, 255 while it has none; the spare
// byte means nothing.
struct labpix
{
    qint16 l = 0;
    qint16 a = 0;
    qint16 b = 0;
    quint8 cluster = 255;
    quint8 spare = 0;
};
static_assert(sizeof(labpix) == 8, "labpix is packed into 8 bytes");

// One cluster's running sums while the centres are moved to the means.
struct ccenters
{
    qint64 sumL = 0;
    qint64 sumA = 0;
    qint64 sumB = 0;
    qint32 count = 0;
};

// The squared Euclidean distance of two samples in 32-bit integer
// arithmetic, then as a double. The cluster bytes play no part. Lab samples
// stay far below the 32-bit range; other values wrap instead of overflowing.
inline double distSq(labpix p, labpix q)
{
    const quint32 dl = quint32(p.l - q.l);
    const quint32 da = quint32(p.a - q.a);
    const quint32 db = quint32(p.b - q.b);
    return double(qint32(dl * dl + da * da + db * db));
}

// One draw scaled to [0, 1]; 1.0 itself can occur.
inline double getRandomScalar(RandomSequence &random)
{
    return random.next() / 2147483647.0;
}
