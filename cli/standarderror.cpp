#include "standarderror.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

// The descriptor the tool's own messages go through.

FILE *messageStream()
{
    static FILE *const stream = [] {
        const int copy = dup(STDERR_FILENO);
        FILE *opened = copy >= 0 ? fdopen(copy, "w") : nullptr;
        return opened ? opened : stderr;
    }();
    return stream;
}

namespace {

// A stopped run is stopped for good: stderr is silenced once.
std::once_flag silenced;

} // namespace

void silenceLibraries()
{
    std::call_once(silenced, [] {
        const int null = open("/dev/null", O_WRONLY);
        if (null >= 0) {
            dup2(null, STDERR_FILENO);
            close(null);
        }
    });
}

void restoreLibraries()
{
    FILE *stream = messageStream();
    if (stream != stderr)
        dup2(fileno(stream), STDERR_FILENO);
}

// The tool's own messages and the progress line.

namespace {

// A progress line is drawn at most this often.
constexpr qint64 RedrawInterval = 100; // ms
// Files running at once beyond this many are summed up as "+N".
constexpr int ShownSlots = 4;

std::atomic<Console *> messageConsole {nullptr};

void messageHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    // Debug trace lines are for developers running the window, not for users.
    if (type == QtDebugMsg || type == QtInfoMsg)
        return;
    if (WarningCapture::take(message))
        return;
    const QString text = qFormatLogMessage(type, context, message);
    if (Console *console = messageConsole.load())
        console->print(text);
    else
        std::fprintf(messageStream(), "%s\n", qPrintable(text));
}

} // namespace

Console::Console(bool progressLine, int total, int slotCount, const QString &effectName)
    : m_progressLine(progressLine)
    , m_total(total)
    , m_effectName(effectName)
{
    for (int i = 0; i < slotCount; ++i)
        m_slots.push_back(std::make_unique<Slot>());
    m_clock.start();
    messageStream();
}

Console::~Console()
{
    finish();
    Console *self = this;
    messageConsole.compare_exchange_strong(self, nullptr);
}

void Console::installMessageHandler(Console *console)
{
    messageConsole.store(console);
    qInstallMessageHandler(messageHandler);
}

void Console::error(const QString &text)
{
    print(QStringLiteral("kestrova-cli: ") + text);
}

void Console::print(const QString &text)
{
    if (m_jsonLines) {
        const QJsonObject record {{QStringLiteral("message"), text}};
        printRecord(QString::fromUtf8(QJsonDocument(record).toJson(QJsonDocument::Compact)));
        return;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    writeLocked(text + QLatin1Char('\n'));
}

void Console::printRecord(const QString &json)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    writeLocked(json + QLatin1Char('\n'));
}

void Console::setJsonLines()
{
    m_jsonLines = true;
}

void Console::setStage(int slot, Stage stage)
{
    m_slots[slot]->stage.store(stage);
    m_slots[slot]->percent.store(0);
    redrawIfDue();
}

void Console::setPercent(int slot, int percent)
{
    m_slots[slot]->percent.store(percent);
    redrawIfDue();
}

void Console::fileFinished(int slot)
{
    m_slots[slot]->stage.store(Idle);
    ++m_done;
    redrawIfDue();
}

void Console::finish()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_lineShown)
        std::fputs("\r\033[K", messageStream());
    std::fflush(messageStream());
    m_lineShown = false;
    m_finished = true;
}

void Console::redrawIfDue()
{
    if (!m_progressLine)
        return;
    qint64 last = m_lastDraw.load(std::memory_order_relaxed);
    const qint64 now = m_clock.elapsed();
    if (now - last < RedrawInterval || !m_lastDraw.compare_exchange_strong(last, now))
        return;
    std::lock_guard<std::mutex> lock(m_mutex);
    writeLocked(QString());
}

// Clears the progress line, prints `text` and draws the line again.
void Console::writeLocked(const QString &text)
{
    FILE *stream = messageStream();
    if (m_lineShown)
        std::fputs("\r\033[K", stream);
    std::fputs(text.toLocal8Bit().constData(), stream);
    m_lineShown = m_progressLine && !m_finished;
    if (m_lineShown)
        std::fputs(progressText().toLocal8Bit().constData(), stream);
    std::fflush(stream);
}

QString Console::progressText() const
{
    QStringList parts;
    int hidden = 0;
    for (const auto &slot : m_slots) {
        const int stage = slot->stage.load();
        if (stage == Idle)
            continue;
        if (parts.size() == ShownSlots) {
            ++hidden;
            continue;
        }
        const QString percent = QStringLiteral(" %1%").arg(slot->percent.load());
        switch (stage) {
        case Reading:
            parts << QStringLiteral("reading");
            break;
        case Edges:
            parts << QStringLiteral("edges") + percent;
            break;
        case Drawing:
            parts << m_effectName + percent;
            break;
        default:
            parts << QStringLiteral("writing");
            break;
        }
    }
    if (hidden > 0)
        parts << QStringLiteral("+%1").arg(hidden);
    QString line = QStringLiteral("kestrova-cli: %1/%2 files").arg(m_done.load()).arg(m_total);
    if (!parts.isEmpty())
        line += QStringLiteral(", ") + parts.join(QStringLiteral(", "));
    return line;
}
