#include "standardio.h"

#include "stop.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

namespace {

// How often a wait on a pipe looks at the stop flag.
constexpr int PollInterval = 100; // ms

// Waits until `descriptor` is ready for `events`; false when the run is
// stopped first.
bool waitUntilReady(int descriptor, short events)
{
    pollfd entry {descriptor, events, 0};
    while (!stopRequested()) {
        const int ready = poll(&entry, 1, PollInterval);
        if (ready > 0 || (ready < 0 && errno != EINTR))
            return true; // the read or write that follows tells what happened
    }
    return false;
}

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

} // namespace

bool readStandardInput(QByteArray *bytes, QString *error, qint64 limit)
{
    char block[65536];
    for (;;) {
        if (!waitUntilReady(STDIN_FILENO, POLLIN)) {
            *error = stopText();
            return false;
        }
        const ssize_t count = read(STDIN_FILENO, block, sizeof block);
        if (count == 0)
            return true;
        if (count > 0) {
            if (bytes->size() + count > limit) {
                *error = QStringLiteral("more than %1 bytes came in; no picture that is drawn "
                                        "takes that many")
                                 .arg(limit);
                bytes->clear();
                return false;
            }
            bytes->append(block, count);
        } else if (errno != EINTR && errno != EAGAIN) {
            *error = systemError();
            return false;
        }
    }
}

bool writeStandardOutput(const QByteArray &bytes, QString *error)
{
    const char *next = bytes.constData();
    qint64 left = bytes.size();
    while (left > 0) {
        if (!waitUntilReady(STDOUT_FILENO, POLLOUT)) {
            *error = stopText();
            return false;
        }
        const ssize_t count = write(STDOUT_FILENO, next, size_t(left));
        if (count > 0) {
            next += count;
            left -= count;
        } else if (count < 0 && errno != EINTR && errno != EAGAIN) {
            *error = systemError();
            return false;
        }
    }
    return true;
}
