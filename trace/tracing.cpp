#include "tracing.h"

std::vector<TracePoint> Tracing::loopPoints(int loop, std::vector<unsigned char> *flags) const
{
    std::vector<TracePoint> out;
    for (qint32 k = loopStart[size_t(loop)]; k < loopStart[size_t(loop) + 1]; ++k) {
        const qint32 half = halves[size_t(k)];
        const Chain &chain = chains[size_t(half / 2)];
        // Each half's last point is the next one's first.
        for (qint32 i = 0; i + 1 < chain.count; ++i) {
            const qint32 at = half % 2 == 0 ? chain.first + i : chain.first + chain.count - 1 - i;
            out.push_back(points[size_t(at)]);
            if (flags)
                flags->push_back(rounded.empty() ? 0 : rounded[size_t(at)]);
        }
    }
    return out;
}
