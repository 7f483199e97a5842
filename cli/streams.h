#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QString>

// Reads all of standard input. Gives up, with the reason in `error`, when the
// run is stopped while it waits for more, or when more than `limit` bytes
// come in.
bool readStandardInput(QByteArray *bytes, QString *error, qint64 limit);

// Writes all of `bytes` to standard output, as readStandardInput() reads.
bool writeStandardOutput(const QByteArray &bytes, QString *error);

// Passes writes on to `target` until the run is stopped, then fails them: a
// picture writer stops at its next block, and the caller discards the file.
class StoppableWriter : public QIODevice
{
public:
    explicit StoppableWriter(QIODevice *target);

    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    QIODevice *m_target;
};
