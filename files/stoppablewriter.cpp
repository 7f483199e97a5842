#include "stoppablewriter.h"

#include <utility>

StoppableWriter::StoppableWriter(QIODevice *target, std::function<bool()> stopped,
                                 std::function<QString()> stopReason)
    : m_target(target)
    , m_stopped(std::move(stopped))
    , m_stopReason(std::move(stopReason))
{
    open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

qint64 StoppableWriter::readData(char *, qint64)
{
    return -1;
}

qint64 StoppableWriter::writeData(const char *data, qint64 size)
{
    if (m_stopped && m_stopped()) {
        setErrorString(m_stopReason ? m_stopReason() : QStringLiteral("stopped"));
        return -1;
    }
    // A short write (a disk that fills up) is tried again for the rest: the
    // second attempt fails with the system's reason, "No space left on
    // device", where the first gave none.
    qint64 written = 0;
    while (written < size) {
        const qint64 part = m_target->write(data + written, size - written);
        if (part <= 0) {
            setErrorString(m_target->errorString());
            return written > 0 ? written : -1;
        }
        written += part;
    }
    return written;
}
