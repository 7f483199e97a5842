#pragma once

#include "labpix.h"

#include <QList>
#include <QtGui/qrgb.h>

#include <vector>

// Lab samples as three parallel arrays, so that the loops over them
// vectorise. Every value is a Lab component (|value| < 256), which keeps
// every squared distance and every sum of a block of them in 32 bits.
struct LabSamples
{
    std::vector<qint16> l;
    std::vector<qint16> a;
    std::vector<qint16> b;

    int size() const { return int(l.size()); }
    void reserve(size_t n)
    {
        l.reserve(n);
        a.reserve(n);
        b.reserve(n);
    }
    void append(int L, int A, int B)
    {
        l.push_back(qint16(L));
        a.push_back(qint16(A));
        b.push_back(qint16(B));
    }
    labpix at(int i) const
    {
        labpix p;
        p.l = l[size_t(i)];
        p.a = a[size_t(i)];
        p.b = b[size_t(i)];
        return p;
    }
    int distance(int i, const labpix &c) const
    {
        const int dl = l[size_t(i)] - c.l;
        const int da = a[size_t(i)] - c.a;
        const int db = b[size_t(i)] - c.b;
        return dl * dl + da * da + db * db;
    }

    // The Lab values of `colours`, as rgbtolab() gives them.
    static LabSamples ofColours(const std::vector<QRgb> &colours);

    static LabSamples fromList(const QList<labpix> &points)
    {
        LabSamples samples;
        samples.reserve(size_t(points.size()));
        for (const labpix &p : points)
            samples.append(p.l, p.a, p.b);
        return samples;
    }
};

// Samples with equal Lab values taken together: every distinct triple once,
// in first-met order, with the number of samples that carry it. Samples with
// equal values are equally far from everything, so whatever is decided for
// one of them is decided for all.
struct LabGroups
{
    LabSamples triples;
    std::vector<qint32> weights;
    // The group of every sample.
    std::vector<quint32> groupOf;

    static LabGroups of(const LabSamples &samples);
};
