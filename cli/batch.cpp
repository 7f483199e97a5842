#include "batch.h"

#include "filerunner.h"
#include "report.h"
#include "sidebyside.h"
#include "standarderror.h"
#include "stop.h"

#include <QDir>
#include <QElapsedTimer>

#include <atomic>
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

// Everything before the first file: the notes, the output folder, the
// report. False when the run cannot start.
bool prepare(const CommandLine &commandLine, Console &console, Report &report)
{
    for (const QString &note : commandLine.notes)
        console.error(note);
    if (!commandLine.outputDir.isEmpty() && !QDir().mkpath(commandLine.outputDir)) {
        console.error(QStringLiteral("cannot create the folder '%1'").arg(commandLine.outputDir));
        return false;
    }
    QString error;
    if (!report.open(&error)) {
        console.error(QStringLiteral("cannot write the report '%1': %2")
                              .arg(commandLine.reportPath, error));
        return false;
    }
    return savePreset(commandLine, console);
}

} // namespace

int runBatch(const CommandLine &commandLine)
{
    QElapsedTimer clock;
    clock.start();
    const int total = int(commandLine.jobs.size());
    const int threads = qBound(1, commandLine.threads, qMax(1, total));
    const bool terminal = !commandLine.quiet && isatty(STDERR_FILENO);
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
    const bool batch = !commandLine.outputDir.isEmpty();
    // After a stop, the summary is what tells how far the run went.
    if (stopRequested() || (terminal && batch))
        console.print(QStringLiteral("kestrova-cli: ")
                      + summaryText(tally, double(clock.elapsed()) / 1000,
                                    stopRequested() ? stopText() : QString()));
    if (stopRequested())
        return 128 + stopSignal();
    return tally.failed == 0 && reportWritten ? 0 : 1;
}
