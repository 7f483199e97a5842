#pragma once

#include <QtAlgorithms>
#include <QtGlobal>

#include <algorithm>
#include <utility>
#include <vector>

// Where a picture changed, to a block of 16 columns of a row: what a
// picture made from it has to make again.
class ChangeMap
{
public:
    static constexpr int Block = 16;

    // Nothing changed in a picture of that size.
    void reset(int width, int height)
    {
        m_width = width;
        m_height = height;
        m_words = ((width + Block - 1) / Block + 63) / 64;
        m_bits.assign(size_t(m_words) * size_t(std::max(0, height)), 0);
    }
    void clear() { std::fill(m_bits.begin(), m_bits.end(), 0); }
    void markAll()
    {
        for (int y = 0; y < m_height; ++y)
            markRow(y, 0, m_width);
    }
    void mark(int x, int y)
    {
        const int block = x / Block;
        m_bits[size_t(y) * size_t(m_words) + size_t(block / 64)] |= quint64(1) << (block % 64);
    }
    void markRow(int y, int begin, int end)
    {
        for (int block = begin / Block; block * Block < end; ++block)
            m_bits[size_t(y) * size_t(m_words) + size_t(block / 64)] |= quint64(1) << (block % 64);
    }
    // What `other`, of the same size, marks too.
    void add(const ChangeMap &other)
    {
        for (size_t i = 0; i < m_bits.size(); ++i)
            m_bits[i] |= other.m_bits[i];
    }

    int width() const { return m_width; }
    int height() const { return m_height; }
    // Whether anything changed in rows first .. last.
    bool any(int first, int last) const
    {
        const auto begin = m_bits.begin() + qsizetype(first) * m_words;
        const auto end = m_bits.begin() + qsizetype(last + 1) * m_words;
        return std::any_of(begin, end, [](quint64 word) { return word != 0; });
    }
    // The columns that changed in any of rows first .. last, as spans
    // [begin, end) from left to right.
    void columns(int first, int last, std::vector<std::pair<int, int>> &spans) const
    {
        spans.clear();
        int open = -1;
        for (int word = 0; word < m_words; ++word) {
            quint64 bits = 0;
            for (int y = first; y <= last; ++y)
                bits |= m_bits[size_t(y) * size_t(m_words) + size_t(word)];
            // Runs of ones and of zeros in turn; a run of ones that reaches
            // the word's end goes on in the next word.
            int bit = 0;
            while (bit < 64) {
                const quint64 rest = bits >> bit;
                if (open < 0) {
                    if (rest == 0)
                        break;
                    bit += int(qCountTrailingZeroBits(rest));
                    open = word * 64 + bit;
                    continue;
                }
                const quint64 zeros = ~rest;
                if (zeros == 0)
                    break;
                bit += int(qCountTrailingZeroBits(zeros));
                if (bit >= 64)
                    break;
                spans.emplace_back(open * Block, std::min(m_width, (word * 64 + bit) * Block));
                open = -1;
            }
        }
        if (open >= 0)
            spans.emplace_back(open * Block, m_width);
    }

private:
    int m_width = 0;
    int m_height = 0;
    int m_words = 0;
    std::vector<quint64> m_bits;
};
