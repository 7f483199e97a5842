#pragma once

#include <QtGlobal>

#include <cmath>

// A region's colour in Lab: lightness 0..100 and the usual a and b units,
// 16 bits each, as the conversions truncate them.
struct Labstruct
{
    qint16 L = 0;
    qint16 a = 0;
    qint16 b = 0;
};

inline bool operator==(Labstruct p, Labstruct q)
{
    return p.L == q.L && p.a == q.a && p.b == q.b;
}
inline bool operator!=(Labstruct p, Labstruct q)
{
    return !(p == q);
}

// The Euclidean distance of two Lab colours, truncated: dL squared in
// double, da and db squared as 32-bit integers. Every term is an integer
// far below 2^53, so the sum is exact, and so is the truncated root.
inline int clabdiff(Labstruct p, Labstruct q)
{
    const int dL = p.L - q.L;
    const int da = p.a - q.a;
    const int db = p.b - q.b;
    return int(std::sqrt(double(dL) * double(dL) + da * da + db * db));
}

// The truncated Euclidean distance of two pixels' red, green and blue bytes,
// without Lab. A utility; the segmenter measures in Lab (CSegmentor::cdiff).
int rgbdiff(unsigned int rgb1, unsigned int rgb2);
