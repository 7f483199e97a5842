#include "labsamples.h"

#include "labconvert.h"
#include "parallel.h"

#include "flatindex.h"

LabGroups LabGroups::of(const LabSamples &samples)
{
    LabGroups groups;
    FlatIndex index;
    groups.groupOf.resize(size_t(samples.size()));
    for (int i = 0; i < samples.size(); ++i) {
        const int l = samples.l[size_t(i)], a = samples.a[size_t(i)], b = samples.b[size_t(i)];
        // Lab components fit in 10 bits each.
        const quint32 key
                = (quint32(l & 0x3FF) << 20) | (quint32(a & 0x3FF) << 10) | quint32(b & 0x3FF);
        const quint32 group = index.insert(key);
        if (group == quint32(groups.weights.size())) {
            groups.triples.append(l, a, b);
            groups.weights.push_back(0);
        }
        ++groups.weights[group];
        groups.groupOf[size_t(i)] = group;
    }
    return groups;
}

LabSamples LabSamples::ofColours(const std::vector<QRgb> &colours)
{
    // Colours per band at the least.
    constexpr int ColourGrain = 4096;
    LabSamples samples;
    samples.l.resize(colours.size());
    samples.a.resize(colours.size());
    samples.b.resize(colours.size());
    parallelBands(int(colours.size()), ColourGrain, [&](int first, int end) {
        rgbtolabMany(colours.data() + first, size_t(end - first), samples.l.data() + first,
                     samples.a.data() + first, samples.b.data() + first);
    });
    return samples;
}
