#pragma once

#include <QElapsedTimer>
#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

// Everything the tool prints on stderr, from any thread. When the progress
// line is on, it stays on the terminal's last line: other messages clear it,
// print, and let it be drawn again. Redraws are throttled.
class Console
{
public:
    enum Stage { Idle, Reading, Edges, Drawing, Writing };

    // `slotCount` is the number of files that can run at once.
    Console(bool progressLine, int total, int slotCount, const QString &effectName);
    ~Console();
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    bool hasProgressLine() const { return m_progressLine; }

    // One line, "kestrova-cli: " and the text.
    void error(const QString &text);
    // One line as it is.
    void print(const QString &text);

    void setStage(int slot, Stage stage);
    // Percent of the current stage of the file in `slot`; cheap when the
    // line is not due for a redraw.
    void setPercent(int slot, int percent);
    void fileFinished(int slot);
    // Clears the progress line for good.
    void finish();

    // Routes Qt's warnings through `console` while it exists.
    static void installMessageHandler(Console *console);

private:
    struct Slot
    {
        std::atomic<int> stage {Idle};
        std::atomic<int> percent {0};
    };

    void redrawIfDue();
    void writeLocked(const QString &text);
    QString progressText() const;

    const bool m_progressLine;
    const int m_total;
    const QString m_effectName;
    std::vector<std::unique_ptr<Slot>> m_slots;
    std::atomic<int> m_done {0};
    std::atomic<qint64> m_lastDraw {-1000};
    bool m_lineShown = false;
    bool m_finished = false;
    QElapsedTimer m_clock;
    std::mutex m_mutex;
};
