#pragma once

#include <QtGui/qrgb.h>

// Conversions between packed 32-bit pixels and CIE L*a*b* (sRGB curve, D65
// white). Every conversion to an integer truncates toward zero; alpha is
// ignored throughout.
int rgbtol(unsigned int rgb, int *L);
void rgbtolab(unsigned int rgb, int *L, int *a, int *b);
QRgb lab2rgb(int L, int a, int b);
int labdiff(short L1, short a1, short b1, short L2, short a2, short b2);
int labdiff(unsigned int rgb1, unsigned int rgb2);

// An opaque grey with equal channels.
inline QRgb opaqueGrey(int g)
{
    return 0xFF000000u + unsigned(g) * 65536u + unsigned(g) * 256u + unsigned(g);
}

// Lightness of any colour from per-channel tables and a bucketed threshold
// table: the same integer as rgbtol() with no pow() and no division per call.
class LightnessTable
{
public:
    static const LightnessTable &instance();

    // 100 Y, summed as rgbtol() sums it before dividing by 100.
    double luminanceSum(int r, int g, int b) const { return (m_red[r] + m_green[g]) + m_blue[b]; }
    // The thresholds are sums at which rgbtol()'s lightness steps up, so
    // comparing sums gives what dividing first and converting would.
    int lightnessOfSum(double sum) const
    {
        int bucket = int(sum * BucketsPerUnit);
        if (bucket < 0)
            bucket = 0;
        else if (bucket > Buckets)
            bucket = Buckets;
        return m_low[bucket] + (sum >= m_threshold[bucket] ? 1 : 0);
    }
    int lightness(QRgb c) const
    {
        return lightnessOfSum(luminanceSum(qRed(c), qGreen(c), qBlue(c)));
    }

private:
    LightnessTable();
    // Sums run from 0 to 100; lightness steps are at least 0.1 apart there,
    // so a bucket of 1/32 holds at most one step.
    static constexpr int BucketsPerUnit = 32;
    static constexpr int Buckets = 128 * BucketsPerUnit;

    double m_red[256];
    double m_green[256];
    double m_blue[256];
    unsigned char m_low[Buckets + 1];
    double m_threshold[Buckets + 1];
};
