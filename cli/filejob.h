#pragma once

#include <QByteArray>
#include <QString>

// One picture to make: where it comes from, where it goes and in which format.
// "-" stands for standard input or output.
struct FileJob
{
    QString input;
    QString output;
    QByteArray format;
    // Batch mode: the input's path inside the FOLDER given with -r, or its
    // file name; the same on every machine that shares the batch.
    QString relativePath = {};
};

// Thrown by the checks of the command line and turned into a usage error.
struct Refusal
{
    QString message;
};

[[noreturn]] inline void refuse(const QString &message)
{
    throw Refusal {message};
}
