#pragma once

// Standard input and output, where a picture comes from and its drawing
// goes with "-". A pipe may stall: each of them gives up once the run is
// stopped. Messages go to standard error, which is standarderror.h's.

#include <QByteArray>
#include <QString>

// Reads all of standard input. Gives up, with the reason in `error`, when the
// run is stopped while it waits for more, or when more than `limit` bytes
// come in.
bool readStandardInput(QByteArray *bytes, QString *error, qint64 limit);

// Writes all of `bytes` to standard output, as readStandardInput() reads.
bool writeStandardOutput(const QByteArray &bytes, QString *error);
