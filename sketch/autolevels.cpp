#include "autolevels.h"

ToneLevels chooseToneLevels(const ToneHistogram &histogram)
{
    qint64 total = 0;
    for (const qint64 count : histogram)
        total += count;
    if (total == 0)
        return {};
    const qint64 share = qMax<qint64>(1, (total + 99) / 100);
    ToneLevels levels;
    qint64 below = 0;
    for (int tone = 0; tone < 256; ++tone) {
        below += histogram[size_t(tone)];
        if (below >= share) {
            levels.black = tone;
            break;
        }
    }
    qint64 above = 0;
    for (int tone = 255; tone >= 0; --tone) {
        above += histogram[size_t(tone)];
        if (above >= share) {
            levels.white = tone;
            break;
        }
    }
    if (levels.white <= levels.black) {
        if (levels.white == 0) {
            levels.black = 0;
            levels.white = 1;
        } else {
            levels.black = levels.white - 1;
        }
    }
    return levels;
}

ToneHistogram redHistogram(const QImage &image)
{
    ToneHistogram histogram {};
    if (image.depth() != 32)
        return histogram;
    for (int y = 0; y < image.height(); ++y) {
        const auto *row = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x)
            ++histogram[size_t(qRed(row[x]))];
    }
    return histogram;
}

ToneHistogram inverseEdgeHistogram(const unsigned char *edges, qint64 count)
{
    ToneHistogram histogram {};
    for (qint64 i = 0; i < count; ++i)
        ++histogram[size_t(255 - edges[i])];
    return histogram;
}
