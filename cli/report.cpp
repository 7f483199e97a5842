#include "report.h"

#include "imagefiles.h"
#include "standarderror.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <utility>

namespace {

QByteArray jsonText(const QJsonValue &value)
{
    // QJsonDocument holds arrays and objects only: unwrap a one-value array.
    const QByteArray array = QJsonDocument(QJsonArray {value}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

// Tenths of a millisecond; null for a stage that did not run.
QJsonValue milliseconds(double value)
{
    return value < 0 ? QJsonValue() : QJsonValue(std::round(value * 10) / 10);
}

QJsonValue dimension(int value, const QSize &size)
{
    return size.isEmpty() ? QJsonValue() : QJsonValue(value);
}

QString statusName(FileOutcome::Status status)
{
    switch (status) {
    case FileOutcome::Written:
        return QStringLiteral("written");
    case FileOutcome::Skipped:
        return QStringLiteral("skipped");
    default:
        return QStringLiteral("failed");
    }
}

// The settings the file was drawn with: with --auto-levels, the levels
// chosen for it (null when it was not drawn), and "auto-levels": true; with
// --palette, the number of its colours.
QJsonObject settingsObject(const CommandLine &commandLine, const FileOutcome &outcome)
{
    const EffectValues &values = commandLine.values;
    const bool autoLevels = commandLine.effect->toneLevels && values.autoLevels;
    QJsonObject settings;
    for (const EffectSetting &setting : commandLine.effect->settings) {
        const QString name = QLatin1String(setting.name);
        const bool chosen
                = autoLevels && (name == QLatin1String("black") || name == QLatin1String("white"));
        settings.insert(name,
                        !chosen ? QJsonValue(values.value(setting.name))
                                : outcome.choices.numbers.contains(name)
                                ? QJsonValue(outcome.choices.numbers.value(name))
                                : QJsonValue());
    }
    if (commandLine.effect->contourLayer)
        settings.insert(QStringLiteral("contours"), values.contours);
    if (autoLevels)
        settings.insert(QStringLiteral("auto-levels"), true);
    if (commandLine.effect->paletteColours && !values.palette.isEmpty())
        settings.insert(QStringLiteral("palette-colours"), int(values.palette.size()));
    return settings;
}

} // namespace

Tally tallyOf(const std::vector<FileOutcome> &outcomes)
{
    Tally tally;
    for (const FileOutcome &outcome : outcomes) {
        if (outcome.status == FileOutcome::Written)
            ++tally.written;
        else if (outcome.status == FileOutcome::Skipped)
            ++tally.skipped;
        else if (outcome.status == FileOutcome::Failed && !outcome.stopped)
            ++tally.failed;
        else
            ++tally.notDone;
    }
    return tally;
}

QString summaryText(const Tally &tally, double seconds, const QString &stopText)
{
    QString text = QStringLiteral("%1 written, %2 skipped, %3 failed")
                           .arg(tally.written)
                           .arg(tally.skipped)
                           .arg(tally.failed);
    if (!stopText.isEmpty())
        text = stopText + QStringLiteral(": ") + text
                + QStringLiteral(", %1 not done").arg(tally.notDone);
    return text + QStringLiteral(" in %1 s").arg(seconds, 0, 'f', 1);
}

Report::Report(const CommandLine &commandLine, Console &console)
    : m_commandLine(commandLine)
    , m_console(console)
    , m_enabled(!commandLine.reportPath.isEmpty())
    , m_toConsole(isStandardStream(commandLine.reportPath))
    , m_file(commandLine.reportPath)
    , m_waiting(commandLine.jobs.size())
{
}

bool Report::open(QString *error)
{
    if (!m_enabled)
        return true;
    if (!m_toConsole && !m_file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        *error = m_file.errorString();
        return false;
    }
    // On standard error, one record a line and nothing else: a reader
    // of JSON lines takes each as it comes.
    if (m_toConsole) {
        m_console.setJsonLines();
        return true;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    writeLineLocked("[");
    return true;
}

void Report::add(size_t index, const FileOutcome &outcome)
{
    if (!m_enabled)
        return;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_waiting[index] = outcome;
    for (; m_next < m_waiting.size() && m_waiting[m_next]; ++m_next) {
        releaseLocked(record(m_next, *m_waiting[m_next]));
        m_waiting[m_next].reset();
    }
}

bool Report::finish(QString *error)
{
    if (!m_enabled)
        return true;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (; m_next < m_waiting.size(); ++m_next) {
        if (m_waiting[m_next])
            releaseLocked(record(m_next, *m_waiting[m_next]));
    }
    if (m_toConsole)
        return true;
    if (!m_held.isEmpty())
        writeLineLocked(m_held);
    writeLineLocked("]");
    if (!m_file.flush() || m_file.error() != QFileDevice::NoError) {
        *error = m_file.errorString();
        return false;
    }
    m_file.close();
    return true;
}

QByteArray Report::record(size_t index, const FileOutcome &outcome) const
{
    const FileJob &job = m_commandLine.jobs[index];
    const std::pair<const char *, QJsonValue> fields[] = {
            {"input", job.input},
            {"output", job.output},
            {"effect", QLatin1String(m_commandLine.effect->name)},
            {"settings", settingsObject(m_commandLine, outcome)},
            {"status", statusName(outcome.status)},
            {"error", outcome.error.isEmpty() ? QJsonValue() : QJsonValue(outcome.error)},
            {"width", dimension(outcome.size.width(), outcome.size)},
            {"height", dimension(outcome.size.height(), outcome.size)},
            {"read_ms", milliseconds(outcome.readMs)},
            {"effect_ms", milliseconds(outcome.effectMs)},
            {"write_ms", milliseconds(outcome.writeMs)},
    };
    // Written by hand to keep the fields in this order; QJsonObject sorts them.
    QByteArray text = "{";
    for (const auto &field : fields) {
        if (text.size() > 1)
            text += ',';
        text += '"' + QByteArray(field.first) + "\":" + jsonText(field.second);
    }
    return text + '}';
}

void Report::releaseLocked(const QByteArray &record)
{
    if (m_toConsole) {
        m_console.printRecord(QString::fromUtf8(record));
        return;
    }
    if (!m_held.isEmpty())
        writeLineLocked(m_held + ',');
    m_held = record;
}

void Report::writeLineLocked(const QByteArray &line)
{
    m_file.write(line + '\n');
    m_file.flush();
}
