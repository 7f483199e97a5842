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

// What the libraries print on stderr themselves.

namespace {

// At most this much of what was printed is looked at, and this many lines
// told: a hostile file can make a library print for ever.
constexpr qint64 MostLibraryBytes = 4096;
constexpr int MostLibraryLines = 4;

// The buffer stderr points at, or -1 when there is none.
int libraryBuffer = -1;
// Guards `listeners` and the emptying of the buffer.
std::mutex libraryMutex;
int listeners = 0;

qint64 libraryBufferSize()
{
    struct stat status;
    return libraryBuffer >= 0 && fstat(libraryBuffer, &status) == 0 ? qint64(status.st_size) : 0;
}

} // namespace

void captureLibraryOutput()
{
    // The tool's own copy of stderr, before stderr goes elsewhere.
    messageStream();
    static std::once_flag once;
    std::call_once(once, [] {
        const int memory = memfd_create("kestrova-cli-library-output", MFD_CLOEXEC);
        if (memory < 0)
            return;
        // Appending: every write lands at the end, also once the buffer has
        // been emptied.
        if (fcntl(memory, F_SETFL, O_APPEND) < 0 || dup2(memory, STDERR_FILENO) < 0) {
            close(memory);
            return;
        }
        libraryBuffer = memory;
    });
}

LibraryOutput::LibraryOutput()
{
    std::lock_guard<std::mutex> lock(libraryMutex);
    ++listeners;
    m_start = libraryBufferSize();
}

LibraryOutput::~LibraryOutput()
{
    std::lock_guard<std::mutex> lock(libraryMutex);
    // Nobody is listening: what was printed can go. Should emptying fail,
    // the buffer merely grows.
    if (--listeners == 0 && libraryBuffer >= 0)
        static_cast<void>(ftruncate(libraryBuffer, 0) == 0);
}

QStringList LibraryOutput::take()
{
    std::lock_guard<std::mutex> lock(libraryMutex);
    const qint64 end = libraryBufferSize();
    const qint64 start = qMax(m_start, end - MostLibraryBytes);
    m_start = end;
    if (end <= start)
        return {};
    QByteArray bytes(end - start, Qt::Uninitialized);
    const ssize_t count = pread(libraryBuffer, bytes.data(), size_t(bytes.size()), off_t(start));
    if (count <= 0)
        return {};
    bytes.truncate(count);
    QStringList lines;
    for (const QByteArray &line : bytes.split('\n')) {
        const QString text = QString::fromLocal8Bit(line).trimmed();
        if (!text.isEmpty() && !lines.contains(text))
            lines << text;
    }
    return lines.mid(qMax(0, lines.size() - MostLibraryLines));
}

// Qt's warnings taken to explain a failure.

namespace {

thread_local QStringList *capturedMessages = nullptr;

} // namespace

WarningCapture::WarningCapture()
    : m_previous(capturedMessages)
{
    capturedMessages = &m_messages;
}

WarningCapture::~WarningCapture()
{
    capturedMessages = m_previous;
}

bool WarningCapture::take(const QString &message)
{
    if (!capturedMessages)
        return false;
    capturedMessages->append(message);
    return true;
}

QString withWarnings(const QString &reason, const QStringList &warnings)
{
    if (warnings.isEmpty())
        return reason;
    return reason + QStringLiteral(" (") + warnings.join(QStringLiteral("; ")) + QLatin1Char(')');
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
