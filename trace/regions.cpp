#include "regions.h"

#include "parallel.h"

#include <algorithm>
#include <numeric>

namespace {

qint32 root(std::vector<qint32> &parent, qint32 i)
{
    while (parent[size_t(i)] != i) {
        parent[size_t(i)] = parent[size_t(parent[size_t(i)])];
        i = parent[size_t(i)];
    }
    return i;
}

void join(std::vector<qint32> &parent, qint32 a, qint32 b)
{
    a = root(parent, a);
    b = root(parent, b);
    // The older provisional number wins, so numbering follows the rows.
    if (a < b)
        parent[size_t(b)] = a;
    else if (b < a)
        parent[size_t(a)] = b;
}

} // namespace

Regions findRegions(const LabelMap &map)
{
    Regions regions;
    regions.width = map.width;
    regions.height = map.height;
    const size_t pixels = size_t(map.width) * size_t(map.height);
    regions.id.resize(pixels);
    // First pass: a provisional number per run of one label in a row,
    // joined with the runs above that it touches.
    std::vector<qint32> parent;
    // Each run's label and length, which give the regions' own.
    std::vector<quint32> runLabel;
    std::vector<qint32> runLength;
    const quint32 *labels = map.labels.data();
    qint32 *ids = regions.id.data();
    for (int y = 0; y < map.height; ++y) {
        const size_t row = size_t(y) * size_t(map.width);
        for (int x = 0; x < map.width; ++x) {
            const size_t i = row + size_t(x);
            if (x > 0 && labels[i] == labels[i - 1]) {
                ids[i] = ids[i - 1];
                ++runLength.back();
            } else {
                ids[i] = qint32(parent.size());
                parent.push_back(ids[i]);
                runLabel.push_back(labels[i]);
                runLength.push_back(1);
            }
            if (y > 0 && labels[i] == labels[i - size_t(map.width)]
                && (x == 0 || labels[i] != labels[i - 1]
                    || ids[i - size_t(map.width)] != ids[i - size_t(map.width) - 1]))
                join(parent, ids[i], ids[i - size_t(map.width)]);
        }
    }
    // Every run's root is the first run of its region in row order (the
    // older number wins every join), so numbering the roots in order numbers
    // the regions in the order of their first pixels. A parent is never
    // newer than its child: one pass in order resolves every root.
    std::vector<qint32> number(parent.size());
    qint32 count = 0;
    for (size_t i = 0; i < parent.size(); ++i) {
        parent[i] = parent[size_t(parent[i])];
        number[i] = parent[i] == qint32(i) ? count++ : number[size_t(parent[i])];
    }
    regions.label.resize(size_t(count));
    regions.area.assign(size_t(count), 0);
    for (size_t i = 0; i < parent.size(); ++i) {
        regions.label[size_t(number[i])] = runLabel[i];
        regions.area[size_t(number[i])] += runLength[i];
    }
    const int w = map.width;
    parallelBands(map.height, rowsOf(LightBandPixels, w), [&](int first, int end) {
        for (size_t i = size_t(first) * size_t(w); i < size_t(end) * size_t(w); ++i)
            ids[i] = number[size_t(ids[i])];
    });
    return regions;
}

namespace {

// The neighbour of `region` that shares the most sides with its pixels.
qint32 mainNeighbour(const Regions &regions, std::vector<qint32> &owner, qint32 region,
                     const std::vector<qint32> &members, const std::vector<qint32> &nextMember,
                     const std::vector<size_t> &pixelStart, const std::vector<qint32> &pixels,
                     std::vector<std::pair<qint32, qint64>> &tally)
{
    tally.clear();
    const int w = regions.width;
    const int h = regions.height;
    auto count = [&](int x, int y) {
        const qint32 other = root(owner, regions.at(x, y));
        if (other == region)
            return;
        for (auto &entry : tally) {
            if (entry.first == other) {
                ++entry.second;
                return;
            }
        }
        tally.emplace_back(other, 1);
    };
    for (qint32 m = members[size_t(region)]; m >= 0; m = nextMember[size_t(m)]) {
        for (size_t k = pixelStart[size_t(m)]; k < pixelStart[size_t(m) + 1]; ++k) {
            const int x = pixels[k] % w;
            const int y = pixels[k] / w;
            if (y > 0)
                count(x, y - 1);
            if (x > 0)
                count(x - 1, y);
            if (x + 1 < w)
                count(x + 1, y);
            if (y + 1 < h)
                count(x, y + 1);
        }
    }
    qint32 best = -1;
    qint64 most = 0;
    for (const auto &entry : tally) {
        if (entry.second > most) {
            best = entry.first;
            most = entry.second;
        }
    }
    return best;
}

} // namespace

LabelMap mergeSpecks(const LabelMap &map, qint64 minArea)
{
    const Regions regions = findRegions(map);
    const int count = regions.count();
    std::vector<qint32> order;
    for (qint32 r = 0; r < count; ++r) {
        if (regions.area[size_t(r)] < minArea)
            order.push_back(r);
    }
    if (order.empty() || count < 2)
        return map;
    std::stable_sort(order.begin(), order.end(), [&](qint32 a, qint32 b) {
        return regions.area[size_t(a)] < regions.area[size_t(b)];
    });
    // The pixels of every small region, grouped by region.
    std::vector<size_t> pixelStart(size_t(count) + 1, 0);
    for (qint32 r : order)
        pixelStart[size_t(r) + 1] = size_t(regions.area[size_t(r)]);
    std::partial_sum(pixelStart.begin(), pixelStart.end(), pixelStart.begin());
    std::vector<qint32> pixels(pixelStart.back());
    std::vector<size_t> fill(pixelStart.begin(), pixelStart.end() - 1);
    for (size_t i = 0; i < regions.id.size(); ++i) {
        const qint32 r = regions.id[i];
        if (regions.area[size_t(r)] < minArea)
            pixels[fill[size_t(r)]++] = qint32(i);
    }
    std::vector<qint32> owner(static_cast<size_t>(count));
    std::iota(owner.begin(), owner.end(), 0);
    std::vector<qint32> members(owner);
    std::vector<qint32> lastMember(owner);
    std::vector<qint32> nextMember(size_t(count), -1);
    std::vector<qint64> area(regions.area);
    std::vector<std::pair<qint32, qint64>> tally;
    for (qint32 r : order) {
        if (area[size_t(r)] >= minArea)
            continue;
        const qint32 target
                = mainNeighbour(regions, owner, r, members, nextMember, pixelStart, pixels, tally);
        if (target < 0)
            continue;
        owner[size_t(r)] = target;
        area[size_t(target)] += area[size_t(r)];
        nextMember[size_t(lastMember[size_t(target)])] = members[size_t(r)];
        lastMember[size_t(target)] = lastMember[size_t(r)];
    }
    std::vector<quint32> labelOf(static_cast<size_t>(count));
    for (qint32 r = 0; r < count; ++r)
        labelOf[size_t(r)] = regions.label[size_t(root(owner, r))];
    LabelMap merged;
    merged.width = map.width;
    merged.height = map.height;
    merged.labels.resize(map.labels.size());
    const int w = map.width;
    parallelBands(map.height, rowsOf(LightBandPixels, w), [&](int first, int end) {
        for (size_t i = size_t(first) * size_t(w); i < size_t(end) * size_t(w); ++i)
            merged.labels[i] = labelOf[size_t(regions.id[i])];
    });
    return merged;
}
