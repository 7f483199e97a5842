#include "batch.h"

#include "console.h"
#include "imagefiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QThread>

#include <atomic>
#include <memory>
#include <new>
#include <unistd.h>

namespace {

// Binds the core's progress reports to one slot of the progress line.
Progress slotProgress(Console &console, int slot)
{
    Progress progress;
    if (console.hasProgressLine())
        progress.setValue = [&console, slot](int value) { console.setPercent(slot, value); };
    return progress;
}

class FileRunner
{
public:
    FileRunner(const CommandLine &commandLine, Console &console)
        : m_commandLine(commandLine)
        , m_console(console)
    {
    }

    // Reads, draws and writes one file; reports its own errors.
    bool run(const FileJob &job, int slot)
    {
        QElapsedTimer clock;
        clock.start();
        m_console.setStage(slot, Console::Reading);
        QString error;
        QStringList warnings;
        const QImage picture = readPicture(job.input, &error, &warnings);
        for (const QString &warning : std::as_const(warnings))
            m_console.error(QStringLiteral("warning: '%1': %2").arg(job.input, warning));
        if (picture.isNull()) {
            m_console.error(QStringLiteral("cannot read '%1': %2").arg(job.input, error));
            return false;
        }
        const qint64 readTime = clock.restart();
        QString problem;
        const QImage drawing = draw(picture, slot, &problem);
        if (drawing.isNull()) {
            if (problem.isEmpty())
                problem = QStringLiteral("not enough memory");
            m_console.error(QStringLiteral("cannot draw '%1': %2").arg(job.input, problem));
            return false;
        }
        const qint64 effectTime = clock.restart();
        m_console.setStage(slot, Console::Writing);
        if (!writePicture(drawing, job.output, job.format, m_commandLine.quality, &error)) {
            m_console.error(QStringLiteral("cannot write '%1': %2").arg(job.output, error));
            return false;
        }
        if (m_commandLine.timings)
            m_console.print(QStringLiteral("%1: read %2 ms, effect %3 ms, write %4 ms")
                                    .arg(job.input)
                                    .arg(readTime)
                                    .arg(effectTime)
                                    .arg(clock.elapsed()));
        return true;
    }

private:
    QImage draw(const QImage &picture, int slot, QString *problem)
    {
        m_console.setStage(slot, Console::Edges);
        try {
            return makeDrawing(*m_commandLine.effect, picture, m_commandLine.settings,
                               slotProgress(m_console, slot), drawingProgress(slot), problem);
        } catch (const std::bad_alloc &) {
            return {};
        }
    }

    // The effect's reports, after switching the slot to its drawing stage.
    Progress drawingProgress(int slot)
    {
        Progress progress;
        if (!m_console.hasProgressLine())
            return progress;
        auto started = std::make_shared<bool>(false);
        progress.setValue = [this, slot, started](int value) {
            if (!*started) {
                *started = true;
                m_console.setStage(slot, Console::Drawing);
            }
            m_console.setPercent(slot, value);
        };
        return progress;
    }

    const CommandLine &m_commandLine;
    Console &m_console;
};

} // namespace

int runBatch(const CommandLine &commandLine)
{
    const int total = int(commandLine.jobs.size());
    const int threads = qMin(commandLine.threads, total);
    const bool progressLine = !commandLine.quiet && isatty(STDERR_FILENO);
    Console console(progressLine, total, threads, QLatin1String(commandLine.effect->name));
    Console::installMessageHandler(&console);
    if (!commandLine.outputDir.isEmpty() && !QDir().mkpath(commandLine.outputDir)) {
        console.error(QStringLiteral("cannot create the folder '%1'").arg(commandLine.outputDir));
        return 1;
    }
    FileRunner runner(commandLine, console);
    std::atomic<int> next {0};
    std::atomic<int> failures {0};
    auto work = [&](int slot) {
        for (int i = next++; i < total; i = next++) {
            if (!runner.run(commandLine.jobs[size_t(i)], slot))
                ++failures;
            console.fileFinished(slot);
        }
    };
    std::vector<std::unique_ptr<QThread>> workers;
    for (int slot = 1; slot < threads; ++slot) {
        workers.emplace_back(QThread::create(work, slot));
        workers.back()->start();
    }
    work(0);
    for (auto &worker : workers)
        worker->wait();
    console.finish();
    return failures.load() == 0 ? 0 : 1;
}
