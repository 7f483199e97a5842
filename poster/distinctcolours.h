#pragma once

#include "flatindex.h"

#include <QImage>

#include <vector>

// The distinct pixel values of a 32-bit picture (0xAARRGGBB as
// QImage::pixel gives them, alpha included), numbered in the order in which
// a scan column by column, x outer and y inner, first meets them.
class DistinctColours
{
public:
    explicit DistinctColours(const QImage &image);

    // The values in first-met order.
    const std::vector<QRgb> &colours() const { return m_colours; }
    int size() const { return int(m_colours.size()); }

    // The index knows every value; its values are the values' numbers until
    // the caller remaps them.
    FlatIndex &index() { return m_index; }
    const FlatIndex &index() const { return m_index; }

private:
    void insertAll(const QRgb *colours, int count);

    FlatIndex m_index;
    std::vector<QRgb> m_colours;
};
