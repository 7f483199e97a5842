#include "batch.h"

#include "filerunner.h"
#include "imagefiles.h"
#include "report.h"
#include "sidebyside.h"
#include "standarderror.h"
#include "stop.h"

#include <QElapsedTimer>
#include <QFileInfo>

#include <atomic>
#include <cstdio>
#include <unistd.h>

namespace {

// Runs every job on `threads` threads, the calling one included, each with
// one file in flight: at most that many pictures are in memory at once. No
// new file starts once the run is stopped.
std::vector<FileOutcome> runJobs(const CommandLine &commandLine, int threads, Console &console,
                                 Report &report)
{
    const int total = int(commandLine.jobs.size());
    std::vector<FileOutcome> outcomes(commandLine.jobs.size());
    FileRunner runner(commandLine, console);
    std::atomic<int> next {0};
    auto work = [&](int slot) {
        for (int i = next++; i < total && !stopRequested(); i = next++) {
            outcomes[size_t(i)] = runner.run(commandLine.jobs[size_t(i)], slot);
            report.add(size_t(i), outcomes[size_t(i)]);
            console.fileFinished(slot);
        }
    };
    runSideBySide(threads, work);
    return outcomes;
}

// Everything before the first file: the report and the notes. False when
// the run cannot start. The output folders are made as drawings reach them,
// so that a run that draws nothing leaves no empty folder behind.
bool prepare(const CommandLine &commandLine, Console &console, Report &report)
{
    QString error;
    if (!report.open(&error)) {
        console.error(QStringLiteral("cannot write the report '%1': %2")
                              .arg(commandLine.reportPath, error));
        return false;
    }
    // After the report: on standard error, the notes go out as its lines.
    for (const QString &note : commandLine.notes)
        console.error(note);
    return savePreset(commandLine, console);
}

// --dry-run: one line a file on standard output, as the run would go.
int listJobs(const CommandLine &commandLine)
{
    for (const FileJob &job : commandLine.jobs) {
        const bool skipped = commandLine.skipExisting && !isStandardStream(job.output)
                && QFileInfo(job.output).isFile();
        std::printf("%s -> %s%s\n", qPrintable(inputName(job.input)),
                    qPrintable(outputName(job.output)), skipped ? " (exists: skipped)" : "");
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}

} // namespace

int runBatch(const CommandLine &commandLine)
{
    if (commandLine.dryRun)
        return listJobs(commandLine);
    QElapsedTimer clock;
    clock.start();
    const int total = int(commandLine.jobs.size());
    const int threads = qBound(1, commandLine.threads, qMax(1, total));
    // The report on standard error leaves no room for a progress line.
    const bool terminal = !commandLine.quiet && isatty(STDERR_FILENO)
            && !isStandardStream(commandLine.reportPath);
    Console console(terminal, total, threads, QLatin1String(commandLine.effect->name));
    Console::installMessageHandler(&console);
    Report report(commandLine, console);
    if (!prepare(commandLine, console, report))
        return 1;
    captureLibraryOutput();
    const std::vector<FileOutcome> outcomes = runJobs(commandLine, threads, console, report);
    restoreLibraries();
    console.finish();
    QString error;
    const bool reportWritten = report.finish(&error);
    if (!reportWritten)
        console.error(QStringLiteral("cannot write the report '%1': %2")
                              .arg(commandLine.reportPath, error));
    const Tally tally = tallyOf(outcomes);
    const bool batch = commandLine.batch;
    // After a stop, the summary is what tells how far the run went.
    if (stopRequested() || (terminal && batch))
        console.print(QStringLiteral("kestrova-cli: ")
                      + summaryText(tally, double(clock.elapsed()) / 1000,
                                    stopRequested() ? stopText() : QString()));
    if (stopRequested())
        return 128 + stopSignal();
    return tally.failed == 0 && reportWritten ? 0 : 1;
}
