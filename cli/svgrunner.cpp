// The SVG path of FileRunner: the effect makes its layers instead of a
// picture, and writing traces them and writes the text through the same
// temporary file as a picture. The effect's time is the layers'; the
// write's is the tracing's and the text's, so that --timings compares it
// with writing a PNG of the same drawing.

#include "filerunner.h"

#include "imagefiles.h"
#include "standarderror.h"
#include "stop.h"
#include "svgdocument.h"

#include <QElapsedTimer>
#include <QFileInfo>

#include <new>

void FileRunner::processSvg(QImage &picture, const FileJob &job, int slot, FileOutcome &outcome)
{
    // --dpi gives the file's resolution as it gives a picture's.
    const int dotsPerMetre = qRound(m_commandLine.dpi / 0.0254);
    const SvgResolution resolution = m_commandLine.dpi > 0
            ? SvgResolution {dotsPerMetre, dotsPerMetre}
            : SvgResolution {picture.dotsPerMeterX(), picture.dotsPerMeterY()};
    QElapsedTimer clock;
    clock.start();
    m_console.setStage(slot, Console::Edges);
    WarningCapture capture;
    VectorLayers layers;
    QString problem;
    try {
        EffectValues values = m_commandLine.values;
        values.choices = &outcome.choices;
        layers = makeVectorLayers(*m_commandLine.effect, picture, values,
                                  stageProgress(slot, false), stageProgress(slot, true), &problem);
    } catch (const std::bad_alloc &) {
        outcome.error
                = QStringLiteral("cannot draw %1: not enough memory").arg(inputName(job.input));
        return;
    }
    if (layers.fills.isNull() && layers.ink.isNull()) {
        if (problem.isEmpty())
            problem = QStringLiteral("the %1 effect made no picture")
                              .arg(QLatin1String(m_commandLine.effect->name));
        outcome.error
                = QStringLiteral("cannot draw %1: %2")
                          .arg(inputName(job.input), withWarnings(problem, capture.messages()));
        return;
    }
    outcome.effectMs = double(clock.nsecsElapsed()) / 1e6;
    picture = QImage();
    if (!savePalette(m_commandLine, outcome.choices.palette,
                     QFileInfo(job.input).completeBaseName(), &outcome.error))
        return;
    clock.restart();
    throwIfStopped();
    m_console.setStage(slot, Console::Writing);
    QString error;
    QByteArray text;
    try {
        const Progress stop {[](int) { throwIfStopped(); }, throwIfStopped};
        const VectorDrawing drawing = traceDrawing(layers, m_commandLine.vector, stop);
        layers = VectorLayers();
        text = svgDocument(drawing, resolution);
    } catch (const std::bad_alloc &) {
        outcome.error
                = QStringLiteral("cannot write %1: not enough memory").arg(outputName(job.output));
        return;
    }
    if (!makeFolderFor(job, &error) || !writeDocument(text, job.output, Encoding(), &error)) {
        throwIfStopped();
        outcome.error = QStringLiteral("cannot write %1: %2").arg(outputName(job.output), error);
        return;
    }
    outcome.writeMs = double(clock.nsecsElapsed()) / 1e6;
    outcome.status = FileOutcome::Written;
    printTimings(job, outcome);
}
