#pragma once

#include <cstdint>

// The program's one random sequence: glibc's rand_r() as Qt 4's qrand() used
// it, starting from state 1 and never seeded. Core functions take it by
// reference so that the window can share one instance between effects while
// the command-line tool and the tests start every effect from the start.
class RandomSequence
{
public:
    static constexpr int Max = 2147483647;

    explicit RandomSequence(uint32_t state = 1)
        : m_state(state)
    {
    }

    int next()
    {
        uint32_t s = m_state;
        s = s * 1103515245u + 12345u;
        uint32_t result = (s / 65536u) % 2048u;
        s = s * 1103515245u + 12345u;
        result = (result << 10) ^ ((s / 65536u) % 1024u);
        s = s * 1103515245u + 12345u;
        result = (result << 10) ^ ((s / 65536u) % 1024u);
        m_state = s;
        return int(result);
    }
    int operator()() { return next(); }

    // Moves on by `draws` draws at once, as if next() were called that often.
    void skip(uint64_t draws)
    {
        // Three generator steps per draw; the composition of n steps is
        // again multiply-and-add, built by repeated squaring.
        uint64_t steps = draws * 3;
        uint32_t multiplier = 1103515245u;
        uint32_t increment = 12345u;
        for (; steps; steps >>= 1) {
            if (steps & 1)
                m_state = m_state * multiplier + increment;
            increment = increment * multiplier + increment;
            multiplier = multiplier * multiplier;
        }
    }

    uint32_t state() const { return m_state; }
    void setState(uint32_t state) { m_state = state; }

private:
    uint32_t m_state;
};
