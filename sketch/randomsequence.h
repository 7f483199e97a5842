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

    explicit RandomSequence(uint32_t state = 1) : m_state(state) { }

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

    uint32_t state() const { return m_state; }
    void setState(uint32_t state) { m_state = state; }

private:
    uint32_t m_state;
};
