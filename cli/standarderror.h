#pragma once

// Standard error, which the tool shares with Qt and with the libraries that
// read and write pictures. The tool's own messages and its progress line go
// out through Console, on a copy of the descriptor taken before anything
// else touches it. Qt's warnings reach Console through its message handler,
// unless a WarningCapture on the same thread takes them to explain a
// failure; what libpng and libtiff print on stderr themselves is kept in
// memory meanwhile (filediagnostics.h). Standard input and output, where
// pictures come and go, are standardio.h's.

#include "filediagnostics.h"

#include <QElapsedTimer>
#include <QString>
#include <QStringList>

#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <vector>

// stderr as the tool found it. The tool writes its own messages there
// through a copy of the descriptor, so that what the libraries print on
// their own can be captured (captureLibraryOutput()) or silenced without
// them.
FILE *messageStream();

// Points stderr at /dev/null until restoreLibraries(). libpng reports a
// failed write on stderr itself; once the run is stopped, the writes that
// fail on purpose must not litter the terminal. The tool's own messages,
// Qt's included, still go out.
void silenceLibraries();
// Points stderr back where it was, for whatever is said at exit.
void restoreLibraries();

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
    // One line of JSON from the report, which shares the stream.
    void printRecord(const QString &json);
    // Every other line, from here on, goes out as a JSON record of its own,
    // {"message": text}: a stream that carries the report then holds
    // nothing but JSON, one value a line.
    void setJsonLines();

    void setStage(int slot, Stage stage);
    // Percent of the current stage of the file in `slot`; cheap when the
    // line is not due for a redraw.
    void setPercent(int slot, int percent);
    void fileFinished(int slot);
    // Clears the progress line for good.
    void finish();

    // Routes Qt's warnings through `console` while it exists; those a
    // WarningCapture takes stay out of it.
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
    std::atomic<bool> m_jsonLines {false};
    bool m_finished = false;
    QElapsedTimer m_clock;
    std::mutex m_mutex;
};
