#pragma once

#include "randomsequence.h"

#include <cstdint>

// Reads a RandomSequence in long runs: draws are produced sixteen
// interleaved at a time, which hides the latency of the generator's
// three dependent steps per draw. The sequence's state is brought up to date
// (exactly as many draws as were taken) when the stream is destroyed.
class RandomStream
{
public:
    explicit RandomStream(RandomSequence &sequence);
    ~RandomStream();
    RandomStream(const RandomStream &) = delete;
    RandomStream &operator=(const RandomStream &) = delete;

    int next()
    {
        if (m_position == BlockSize)
            refill();
        return m_block[m_position++];
    }

private:
    static constexpr int BlockSize = 4096;

    void refill();

    RandomSequence &m_sequence;
    uint32_t m_blockState; // the state before the block's first draw
    int m_position = BlockSize;
    int m_block[BlockSize];
};
