#include "labconvert.h"

#include "colour.h"
#include "vectorclones.h"

#include <cmath>
#include <cstring>

// rgbtolab() spends nearly all its time in pow(): three for the sRGB curve
// and three cube roots. The curve takes 256 values, so tables give the very
// same doubles. The cube roots come from a few Halley steps instead of
// pow(); they differ from pow() in the last bits at most, and the Lab
// values are truncated, so the result can differ only when a value lies
// within a hair of an integer. Such colours, a handful in a million, are
// converted again with rgbtolab() itself. A test compares every colour.

namespace {

constexpr int Block = 256;
// Far above the cube roots' error (about 1e-15), far below any distance
// to an integer that matters.
constexpr double Hair = 1e-9;

struct CurveTables
{
    // The linearised channel (0..100) times each matrix coefficient, as
    // rgbtolab() multiplies them.
    double xr[256], xg[256], xb[256];
    double yr[256], yg[256], yb[256];
    double zr[256], zg[256], zb[256];

    CurveTables()
    {
        for (int c = 0; c < 256; ++c) {
            double v = c / 255.0;
            if (v > 0.04045)
                v = pow((v + 0.055) / 1.055, 2.4);
            else
                v = v / 12.92;
            v = v * 100.0;
            xr[c] = v * 0.4124;
            xg[c] = v * 0.3576;
            xb[c] = v * 0.1805;
            yr[c] = v * 0.2126;
            yg[c] = v * 0.7152;
            yb[c] = v * 0.0722;
            zr[c] = v * 0.0193;
            zg[c] = v * 0.1192;
            zb[c] = v * 0.9505;
        }
    }
};

const CurveTables &curveTables()
{
    static const CurveTables tables;
    return tables;
}

inline double halleyStep(double y, double t)
{
    const double y3 = y * y * y;
    return y * (y3 + 2 * t) / (2 * y3 + t);
}

// t^(1/3) for t in (0.008856, 2): a guess from the float's bits, good to a
// few percent, and three Halley steps, each of which cubes the error.
inline double cubeRootOf(double t)
{
    const float f = float(t);
    quint32 bits;
    memcpy(&bits, &f, sizeof bits);
    bits = bits / 3 + 0x2A5137A0u;
    float guess;
    memcpy(&guess, &bits, sizeof guess);
    double y = guess;
    y = halleyStep(y, t);
    y = halleyStep(y, t);
    return halleyStep(y, t);
}

// Both branches are computed, so that the loop has no control flow.
inline double labCurve(double t)
{
    const double cube = cubeRootOf(t > 0.008856 ? t : 1.0);
    const double linear = t * 7.787 + 0.13793103448275862;
    return t > 0.008856 ? cube : linear;
}

inline int nearInteger(double v)
{
    const double frac = std::fabs(v - double(int(v)));
    return int(frac < Hair) | int(frac > 1 - Hair);
}

// X, Y and Z of a block, as rgbtolab() sums them.
void tristimulus(const QRgb *colours, int count, const CurveTables &t, double *X, double *Y,
                 double *Z)
{
    for (int i = 0; i < count; ++i) {
        const QRgb c = colours[i];
        const int r = int((c >> 16) & 0xFF), g = int((c >> 8) & 0xFF), b = int(c & 0xFF);
        X[i] = (t.xr[r] + t.xg[g] + t.xb[b]) / 95.047;
        Y[i] = (t.yr[r] + t.yg[g] + t.yb[b]) / 100.0;
        Z[i] = (t.zr[r] + t.zg[g] + t.zb[b]) / 108.883;
    }
}

// Lab of a block; `unsure` marks the colours to convert again exactly.
KESTROVA_VECTOR_CLONES
void labOfTristimulus(const double *X, const double *Y, const double *Z, int count, int *L, int *a,
                      int *b, unsigned char *unsure)
{
    for (int i = 0; i < count; ++i) {
        const double fx = labCurve(X[i]), fy = labCurve(Y[i]), fz = labCurve(Z[i]);
        const double vL = 116 * fy - 16, va = 500 * (fx - fy), vb = 200 * (fy - fz);
        L[i] = int(vL);
        a[i] = int(va);
        b[i] = int(vb);
        unsure[i] = static_cast<unsigned char>(nearInteger(vL) | nearInteger(va) | nearInteger(vb));
    }
}

} // namespace

void rgbtolabMany(const QRgb *colours, size_t count, qint16 *L, qint16 *a, qint16 *b)
{
    const CurveTables &tables = curveTables();
    double X[Block], Y[Block], Z[Block];
    int blockL[Block], blockA[Block], blockB[Block];
    unsigned char unsure[Block];
    for (size_t begin = 0; begin < count; begin += Block) {
        const int n = int(count - begin < size_t(Block) ? count - begin : size_t(Block));
        tristimulus(colours + begin, n, tables, X, Y, Z);
        labOfTristimulus(X, Y, Z, n, blockL, blockA, blockB, unsure);
        for (int i = 0; i < n; ++i) {
            if (unsure[i])
                rgbtolab(colours[begin + size_t(i)], &blockL[i], &blockA[i], &blockB[i]);
            L[begin + size_t(i)] = qint16(blockL[i]);
            a[begin + size_t(i)] = qint16(blockA[i]);
            b[begin + size_t(i)] = qint16(blockB[i]);
        }
    }
}
