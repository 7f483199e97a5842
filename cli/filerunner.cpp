#include "filerunner.h"

#include "imagefiles.h"
#include "lineart.h"
#include "parallel.h"
#include "picturelimits.h"
#include "picturesize.h"
#include "standarderror.h"
#include "stop.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>

#include <memory>
#include <new>

namespace {

double millisecondsSince(QElapsedTimer &clock)
{
    return double(clock.nsecsElapsed()) / 1e6;
}

} // namespace

FileRunner::FileRunner(const CommandLine &commandLine, Console &console)
    : m_commandLine(commandLine)
    , m_console(console)
{
}

FileOutcome FileRunner::run(const FileJob &job, int slot)
{
    FileOutcome outcome;
    try {
        process(job, slot, outcome);
    } catch (const Stopped &) {
        outcome.status = FileOutcome::Failed;
        outcome.error = stopText();
        outcome.stopped = true;
        return outcome;
    }
    if (outcome.status == FileOutcome::Failed)
        m_console.error(outcome.error);
    return outcome;
}

// A failure while the run is stopped is taken for the stop's doing: the file
// counts as abandoned, and a second run tries it again.
void FileRunner::process(const FileJob &job, int slot, FileOutcome &outcome)
{
    throwIfStopped();
    // The conversion after reading and the drawing share this file's threads.
    const ThreadBudget budget(m_commandLine.coreThreads);
    if (skips(job)) {
        outcome.status = FileOutcome::Skipped;
        return;
    }
    outcome.status = FileOutcome::Failed;
    QImage picture = read(job, slot, outcome);
    if (picture.isNull())
        return;
    // Known before any drawing: a drawing has its picture's size.
    const QString unwritable = writeSizeProblem(picture.size(), job.format);
    if (!unwritable.isEmpty()) {
        outcome.error = QStringLiteral("cannot write %1: the drawing of %2 would be %3 x %4 "
                                       "pixels, and %5")
                                .arg(outputName(job.output), inputName(job.input))
                                .arg(picture.width())
                                .arg(picture.height())
                                .arg(unwritable);
        return;
    }
    QElapsedTimer clock;
    clock.start();
    QString error;
    const QImage drawing = draw(picture, slot, &error, &outcome.choices);
    if (drawing.isNull()) {
        outcome.error = QStringLiteral("cannot draw %1: %2").arg(inputName(job.input), error);
        return;
    }
    outcome.effectMs = millisecondsSince(clock);
    // Only the drawing is needed from here on.
    picture = QImage();
    if (!savePalette(m_commandLine, outcome.choices.palette,
                     QFileInfo(job.input).completeBaseName(), &error)) {
        outcome.error = error;
        return;
    }
    clock.restart();
    if (!write(drawing, job, slot, &error)) {
        throwIfStopped();
        outcome.error = QStringLiteral("cannot write %1: %2").arg(outputName(job.output), error);
        return;
    }
    outcome.writeMs = millisecondsSince(clock);
    outcome.status = FileOutcome::Written;
    if (m_commandLine.timings)
        m_console.print(QStringLiteral("%1: read %2 ms, effect %3 ms, write %4 ms")
                                .arg(job.input)
                                .arg(qint64(outcome.readMs))
                                .arg(qint64(outcome.effectMs))
                                .arg(qint64(outcome.writeMs))
                        + choicesText(*m_commandLine.effect, outcome.choices));
}

QImage FileRunner::read(const FileJob &job, int slot, FileOutcome &outcome)
{
    QElapsedTimer clock;
    clock.start();
    m_console.setStage(slot, Console::Reading);
    QString error;
    QStringList warnings;
    const QImage picture = readPicture(job.input, m_commandLine.autoOrient, &error, &warnings);
    for (const QString &warning : std::as_const(warnings))
        m_console.error(QStringLiteral("warning: %1: %2").arg(inputName(job.input), warning));
    if (picture.isNull()) {
        throwIfStopped();
        outcome.error = QStringLiteral("cannot read %1: %2").arg(inputName(job.input), error);
        return {};
    }
    outcome.size = picture.size();
    throwIfStopped();
    const QSize size = m_commandLine.size.of(picture.size());
    const QString tooLarge = pictureSizeProblem(size);
    if (!tooLarge.isEmpty()) {
        outcome.error = QStringLiteral("cannot draw %1 at %2 x %3 pixels: %4")
                                .arg(inputName(job.input))
                                .arg(size.width())
                                .arg(size.height())
                                .arg(tooLarge);
        return {};
    }
    const QImage resized = resizedPicture(picture, size);
    if (resized.isNull())
        outcome.error = QStringLiteral("cannot draw %1: not enough memory to resize it")
                                .arg(inputName(job.input));
    outcome.readMs = millisecondsSince(clock);
    return resized;
}

// A null drawing is the effect's answer for some pictures and settings: the
// effect says why, or the warnings Qt gave meanwhile (an allocation that
// failed) do.
QImage FileRunner::draw(const QImage &picture, int slot, QString *error, DrawingChoices *choices)
{
    m_console.setStage(slot, Console::Edges);
    WarningCapture capture;
    QImage drawing;
    QString problem;
    try {
        // The files drawn at once each tell their own choices.
        EffectValues values = m_commandLine.values;
        values.choices = choices;
        drawing = makeDrawing(*m_commandLine.effect, picture, values, stageProgress(slot, false),
                              stageProgress(slot, true), &problem);
    } catch (const std::bad_alloc &) {
        *error = QStringLiteral("not enough memory");
        return {};
    }
    if (drawing.isNull()) {
        if (problem.isEmpty())
            problem = QStringLiteral("the %1 effect made no picture")
                              .arg(QLatin1String(m_commandLine.effect->name));
        *error = withWarnings(problem, capture.messages());
        return {};
    }
    for (const QString &message : capture.messages())
        m_console.print(message);
    if (!m_commandLine.transparent)
        return drawing;
    const QImage layer = lineArt(drawing);
    if (layer.isNull())
        *error = QStringLiteral("not enough memory");
    return layer;
}

bool FileRunner::write(const QImage &drawing, const FileJob &job, int slot, QString *error)
{
    throwIfStopped();
    m_console.setStage(slot, Console::Writing);
    // DIR, or with -r a subfolder of it, is made by the first drawing it
    // receives.
    const QString folder = QFileInfo(job.output).path();
    if (m_commandLine.batch && !QDir().mkpath(folder)) {
        *error = QStringLiteral("cannot create the folder '%1'").arg(folder);
        return false;
    }
    QImage written = drawing;
    if (m_commandLine.dpi > 0) {
        const int dotsPerMetre = qRound(m_commandLine.dpi / 0.0254);
        written.setDotsPerMeterX(dotsPerMetre);
        written.setDotsPerMeterY(dotsPerMetre);
    }
    Encoding encoding;
    encoding.format = job.format;
    encoding.quality = m_commandLine.quality;
    encoding.pngLevel = m_commandLine.pngLevel;
    encoding.threads = m_commandLine.coreThreads;
    return writePicture(written, job.output, encoding, error);
}

// The core's progress reports are where a stopped run leaves an effect. With
// a progress line they also move this slot's percentage; `drawing` switches
// the slot to the drawing stage at the first report.
Progress FileRunner::stageProgress(int slot, bool drawing)
{
    Progress progress;
    progress.processEvents = throwIfStopped;
    if (!m_console.hasProgressLine()) {
        progress.setValue = [](int) { throwIfStopped(); };
        return progress;
    }
    auto started = std::make_shared<bool>(!drawing);
    progress.setValue = [this, slot, started](int value) {
        throwIfStopped();
        if (!*started) {
            *started = true;
            m_console.setStage(slot, Console::Drawing);
        }
        m_console.setPercent(slot, value);
    };
    return progress;
}

bool FileRunner::skips(const FileJob &job) const
{
    return m_commandLine.skipExisting && !isStandardStream(job.output)
            && QFileInfo(job.output).isFile();
}
