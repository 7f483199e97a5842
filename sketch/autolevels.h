#pragma once

#include <QImage>

#include <array>

// Black and white levels for level().
struct ToneLevels
{
    int black = 0;
    int white = 255;
};

// How many pixels of each tone 0 .. 255 a picture has.
using ToneHistogram = std::array<qint64, 256>;

// The levels that stretch a picture's own tones: black is the darkest tone
// at or below which at least one pixel in a hundred lies (ceil(n / 100) of
// n pixels, one at the least), white the lightest tone at or above which at
// least as many lie. So about one pixel in a hundred turns black and one in
// a hundred white, and the rest spread over the greys between. When that
// leaves white no higher than black (a picture of one tone, or nearly), black
// is white - 1, or white is 1 when white is 0. An empty histogram gives the
// full range, 0 and 255.
ToneLevels chooseToneLevels(const ToneHistogram &histogram);

// The histogram of the red channel of a 32-bit picture: the grey tones of a
// grey one.
ToneHistogram redHistogram(const QImage &image);

// The histogram of the tones the pen draws from: 255 - edge for each of the
// `count` bytes of an edge map.
ToneHistogram inverseEdgeHistogram(const unsigned char *edges, qint64 count);
