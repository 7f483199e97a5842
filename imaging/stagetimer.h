#pragma once

#include <QElapsedTimer>
#include <QLoggingCategory>

// Stage timings of the long operations, off unless the category
// "kestrova.timing" is enabled for debug output (the benchmarks do).
Q_DECLARE_LOGGING_CATEGORY(lcTiming)

class StageTimer
{
public:
    explicit StageTimer(const char *operation)
        : m_operation(operation)
    {
        if (lcTiming().isDebugEnabled())
            m_timer.start();
    }
    // Logs the time since the previous stage ended.
    void stage(const char *name)
    {
        if (!m_timer.isValid())
            return;
        qCDebug(lcTiming, "%s: %s %.1f ms", m_operation, name, m_timer.nsecsElapsed() / 1e6);
        m_timer.restart();
    }

private:
    const char *m_operation;
    QElapsedTimer m_timer;
};
