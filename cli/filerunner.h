#pragma once

#include "options.h"
#include "report.h"
#include "standarderror.h"

#include "progress.h"

// Makes the drawing of one file after another, in one slot of the progress
// line. Several runners, or one runner from several threads, may work at once.
class FileRunner
{
public:
    FileRunner(const CommandLine &commandLine, Console &console);

    // Reads, draws and writes one file, and prints its errors. Once the run
    // is stopped, a file in progress is abandoned: nothing is written, and
    // the outcome says so.
    FileOutcome run(const FileJob &job, int slot);

private:
    void process(const FileJob &job, int slot, FileOutcome &outcome);
    QImage read(const FileJob &job, int slot, FileOutcome &outcome);
    QImage draw(const QImage &picture, int slot, QString *error, DrawingChoices *choices);
    bool write(const QImage &drawing, const FileJob &job, int slot, QString *error);
    Progress stageProgress(int slot, bool drawing);
    bool skips(const FileJob &job) const;

    const CommandLine &m_commandLine;
    Console &m_console;
};
