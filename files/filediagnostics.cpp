#include "filediagnostics.h"

#include <QByteArray>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <mutex>

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
    static std::once_flag once;
    std::call_once(once, [] {
        const int memory = memfd_create("kestrova-library-output", MFD_CLOEXEC);
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
