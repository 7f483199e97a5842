#include "randomstream.h"

#include "blurrows.h"

namespace {

constexpr uint32_t Multiplier = 1103515245u;
constexpr uint32_t Increment = 12345u;

// The state after `steps` generator steps is multiplier * state + increment
// for this pair.
struct Jump
{
    uint32_t multiplier = 1;
    uint32_t increment = 0;

    static Jump ofSteps(uint64_t steps)
    {
        Jump result;
        Jump power { Multiplier, Increment };
        for (; steps; steps >>= 1) {
            if (steps & 1)
                result = power.after(result);
            power = power.after(power);
        }
        return result;
    }
    // This jump applied after `first`.
    Jump after(const Jump &first) const
    {
        return { multiplier * first.multiplier, multiplier * first.increment + increment };
    }
    uint32_t apply(uint32_t state) const { return multiplier * state + increment; }
};

constexpr int Lanes = 16;

// Lane j holds the state before draw j, j + Lanes, j + 2 * Lanes, ...
KESTROVA_VECTOR_CLONES
void fillBlock(uint32_t *states, int *out, int count, uint32_t laneMultiplier,
               uint32_t laneIncrement)
{
    for (int at = 0; at < count; at += Lanes) {
        for (int lane = 0; lane < Lanes; ++lane) {
            uint32_t s = states[lane] * Multiplier + Increment;
            uint32_t r = (s / 65536u) % 2048u;
            s = s * Multiplier + Increment;
            r = (r << 10) ^ ((s / 65536u) % 1024u);
            s = s * Multiplier + Increment;
            r = (r << 10) ^ ((s / 65536u) % 1024u);
            out[at + lane] = int(r);
            states[lane] = states[lane] * laneMultiplier + laneIncrement;
        }
    }
}

} // namespace

RandomStream::RandomStream(RandomSequence &sequence)
    : m_sequence(sequence), m_blockState(sequence.state())
{
}

RandomStream::~RandomStream()
{
    if (m_position < BlockSize)
        m_sequence.setState(Jump::ofSteps(3ull * m_position).apply(m_blockState));
}

void RandomStream::refill()
{
    const uint32_t start = m_sequence.state();
    uint32_t states[Lanes];
    const Jump oneDraw = Jump::ofSteps(3);
    states[0] = start;
    for (int lane = 1; lane < Lanes; ++lane)
        states[lane] = oneDraw.apply(states[lane - 1]);
    const Jump laneStep = Jump::ofSteps(3ull * Lanes);
    fillBlock(states, m_block, BlockSize, laneStep.multiplier, laneStep.increment);
    m_blockState = start;
    m_sequence.setState(Jump::ofSteps(3ull * BlockSize).apply(start));
    m_position = 0;
}
