#pragma once

#include "options.h"

#include <QFile>
#include <QSize>

#include <mutex>
#include <optional>

class Console;

// What became of one file of a run.
struct FileOutcome
{
    enum Status { NotRun, Written, Skipped, Failed };

    Status status = NotRun;
    // The message printed for a failure, without the program's name.
    QString error;
    // A failure because the run was stopped: the file was abandoned.
    bool stopped = false;
    // The size of the picture read, empty when it was not read.
    QSize size;
    // Stage times; negative for a stage that did not run.
    double readMs = -1;
    double effectMs = -1;
    double writeMs = -1;
    // What the drawing chose for itself.
    DrawingChoices choices;
};

// The counts the summary line gives.
struct Tally
{
    int written = 0;
    int skipped = 0;
    int failed = 0;
    // Abandoned when the run was stopped, or never started.
    int notDone = 0;
};

Tally tallyOf(const std::vector<FileOutcome> &outcomes);

// "38 written, 2 skipped, 1 failed in 41.2 s"; after a stop, led by
// `stopText` and with the files not done.
QString summaryText(const Tally &tally, double seconds, const QString &stopText);

// The JSON report: an array of one record per file, one record a line (on
// standard error, the records alone, and every message there a JSON record
// as well: JSON lines), in
// the order of the inputs. A record goes out as soon as every earlier one
// has, so the report follows a long batch as it runs.
class Report
{
public:
    Report(const CommandLine &commandLine, Console &console);
    Report(const Report &) = delete;
    Report &operator=(const Report &) = delete;

    // Opens the report's file; false, with the reason, when it cannot.
    // Nothing to do without --report.
    bool open(QString *error);
    // The outcome of job `index`. Any thread.
    void add(size_t index, const FileOutcome &outcome);
    // Writes the records held back behind files that never ran and closes
    // the array; false, with the reason, when the file could not be written.
    bool finish(QString *error);

private:
    QByteArray record(size_t index, const FileOutcome &outcome) const;
    void releaseLocked(const QByteArray &record);
    void writeLineLocked(const QByteArray &line);

    const CommandLine &m_commandLine;
    Console &m_console;
    const bool m_enabled;
    const bool m_toConsole;
    QFile m_file;
    std::vector<std::optional<FileOutcome>> m_waiting;
    size_t m_next = 0;
    // The last record released: its comma waits for the next one.
    QByteArray m_held;
    std::mutex m_mutex;
};
