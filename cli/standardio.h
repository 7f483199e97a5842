#pragma once

// Standard input and output, where a picture comes from and its drawing
// goes with "-", and the device every drawing is written through. A pipe
// may stall and a write may take long: each of them gives up once the run
// is stopped. Messages go to standard error, which is standarderror.h's.

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
