#pragma once

#include <QIODevice>
#include <QString>

#include <functional>

// Passes writes on to `target` until `stopped` says so, then fails them with
// `stopReason()` as the error: a picture writer stops at its next block, and
// the caller discards the file. Without a `stopped`, it never stops.
class StoppableWriter : public QIODevice
{
public:
    StoppableWriter(QIODevice *target, std::function<bool()> stopped,
                    std::function<QString()> stopReason);

    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    QIODevice *m_target;
    std::function<bool()> m_stopped;
    std::function<QString()> m_stopReason;
};
