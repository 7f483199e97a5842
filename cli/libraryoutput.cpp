#include "libraryoutput.h"

#include "messagestream.h"

#include <fcntl.h>
#include <mutex>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// At most this much of what was printed is looked at, and this many lines
// told: a hostile file can make a library print for ever.
constexpr qint64 MostBytes = 4096;
constexpr int MostLines = 4;

// The buffer stderr points at, or -1 when there is none.
int buffer = -1;
// Guards `active` and the emptying of the buffer.
std::mutex mutex;
int active = 0;

qint64 bufferSize()
{
    struct stat status;
    return buffer >= 0 && fstat(buffer, &status) == 0 ? qint64(status.st_size) : 0;
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
        buffer = memory;
    });
}

LibraryOutput::LibraryOutput()
{
    std::lock_guard<std::mutex> lock(mutex);
    ++active;
    m_start = bufferSize();
}

LibraryOutput::~LibraryOutput()
{
    std::lock_guard<std::mutex> lock(mutex);
    // Nobody is listening: what was printed can go. Should emptying fail,
    // the buffer merely grows.
    if (--active == 0 && buffer >= 0)
        static_cast<void>(ftruncate(buffer, 0) == 0);
}

QStringList LibraryOutput::take()
{
    std::lock_guard<std::mutex> lock(mutex);
    const qint64 end = bufferSize();
    const qint64 start = qMax(m_start, end - MostBytes);
    m_start = end;
    if (end <= start)
        return {};
    QByteArray bytes(end - start, Qt::Uninitialized);
    const ssize_t count = pread(buffer, bytes.data(), size_t(bytes.size()), off_t(start));
    if (count <= 0)
        return {};
    bytes.truncate(count);
    QStringList lines;
    for (const QByteArray &line : bytes.split('\n')) {
        const QString text = QString::fromLocal8Bit(line).trimmed();
        if (!text.isEmpty() && !lines.contains(text))
            lines << text;
    }
    return lines.mid(qMax(0, lines.size() - MostLines));
}
