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
    return m_target->write(data, size);
}
