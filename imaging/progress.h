#pragma once

#include <QtGlobal>

#include <functional>

// How a long operation talks to whoever runs it. The window binds `setValue`
// to its progress bar and `processEvents` to the event loop, the command-line
// tool to a terminal progress line, the tests to a recorder. Either may be
// empty.
struct Progress
{
    std::function<void(int)> setValue;
    std::function<void()> processEvents;

    void report(int value) const
    {
        if (setValue)
            setValue(value);
    }
    void yield() const
    {
        if (processEvents)
            processEvents();
    }
};

// A column loop that reports `base + span * x / width` after each column x,
// for x = first .. end - 1. Fast implementations work row by row, so they call
// advance() with the share of the work done; the callback still receives
// exactly the per-column sequence, spread over the time the work takes.
class ColumnProgress
{
public:
    ColumnProgress(const Progress &progress, int base, int span, int width)
        : ColumnProgress(progress, base, span, width, 0, width)
    {
    }
    // Only the columns first .. end - 1.
    ColumnProgress(const Progress &progress, int base, int span, int width, int first, int end)
        : m_progress(progress)
        , m_base(base)
        , m_span(span)
        , m_width(width)
        , m_next(first)
        , m_end(end)
    {
    }

    // Also lets events through after every column, whether or not there is
    // a value to set.
    void setYieldEachColumn(bool on) { m_yield = on && m_progress.processEvents; }

    // Reports every column before `column`.
    void advanceTo(int column)
    {
        if (column > m_end)
            column = m_end;
        if (!m_progress.setValue && !m_yield) {
            m_next = column > m_next ? column : m_next;
            return;
        }
        for (; m_next < column; ++m_next) {
            m_progress.report(int(m_base + qint64(m_span) * m_next / m_width));
            if (m_yield)
                m_progress.processEvents();
        }
    }
    // Reports the columns covered by `done` of `total` units of work.
    void advance(qint64 done, qint64 total)
    {
        advanceTo(total > 0 ? int(done * m_end / total) : m_end);
    }
    void finish() { advanceTo(m_end); }

    // Whether advancing reports or yields anything.
    bool reports() const { return m_progress.setValue || m_yield; }
    // For parallelBands(): advances by `finished` of `total` units, or is
    // empty when nothing would be reported.
    std::function<void(int)> bandProgress(qint64 total)
    {
        if (!reports())
            return {};
        return [this, total](int finished) { advance(finished, total); };
    }

private:
    const Progress &m_progress;
    int m_base;
    int m_span;
    int m_width;
    int m_next;
    int m_end;
    bool m_yield = false;
};
