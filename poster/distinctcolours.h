#pragma once

#include "flatindex.h"
#include "largearray.h"

#include <QImage>

#include <vector>

// The distinct pixel values of a picture that WorkingRows reads (0xAARRGGBB
// as QImage::pixel gives them, alpha included), numbered in the order in
// which a scan column by column, x outer and y inner, first meets them. Each
// value then takes a cluster number (below 256) of the caller's.
//
// An opaque picture has at most 2^24 values: a bitmap tells which were seen
// and a table of 2^24 bytes holds their clusters, a single look-up each.
// Small pictures and pictures with transparency go through a hash table.
//
// Bands of columns are scanned side by side, each listing the values it
// meets first; the lists, taken in the bands' order, give the numbers.
class DistinctColours
{
public:
    explicit DistinctColours(const QImage &image);

    // The values in first-met order.
    const std::vector<QRgb> &colours() const { return m_colours; }
    int size() const { return int(m_colours.size()); }

    // The value colours()[i] takes the cluster clusters[i].
    void setClusters(const std::vector<quint8> &clusters);
    // Starts loading the cluster of `colour`.
    void prefetch(QRgb colour) const
    {
        if (m_opaque)
            __builtin_prefetch(&m_clusters[colour & 0xFFFFFF]);
        else
            m_index.prefetch(colour);
    }
    // The cluster of `colour`, one of the picture's values.
    int clusterOf(QRgb colour) const
    {
        return m_opaque ? m_clusters[colour & 0xFFFFFF] : int(m_index.valueOf(colour));
    }

private:
    void collect(const QImage &image);

    bool m_opaque;
    FlatIndex m_index;
    LargeArray<quint8> m_clusters;
    std::vector<QRgb> m_colours;
};
