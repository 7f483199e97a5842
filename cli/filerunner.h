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
    // The SVG path, in svgrunner.cpp: the effect's layers, traced, written as
    // text through the same temporary file.
    void processSvg(QImage &picture, const FileJob &job, int slot, FileOutcome &outcome);
    bool makeFolderFor(const FileJob &job, QString *error);
    void printTimings(const FileJob &job, const FileOutcome &outcome);
    Progress stageProgress(int slot, bool drawing);
    bool skips(const FileJob &job) const;

    const CommandLine &m_commandLine;
    Console &m_console;
};
