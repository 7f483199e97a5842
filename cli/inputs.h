#pragma once

#include "filejob.h"

#include <QStringList>

#include <vector>

// Where the drawings of a batch go: DIR, and the suffix and writer format of
// every drawing.
struct BatchTarget
{
    QString folder;
    QString suffix;
    QByteArray format;
};

// One job per INPUT of batch mode, written to DIR/<name without suffix>.<suffix>.
// With `recursive`, a folder INPUT gives one job per picture in it and its
// subfolders, written under the same relative path in DIR; folders without
// any picture are named in `notes`. Without it, a folder is a file that
// cannot be read.
std::vector<FileJob> batchJobs(const QStringList &inputs, const BatchTarget &target, bool recursive,
                               QStringList *notes);

// Refuses outputs that would overwrite an input, two inputs that would write
// the same file, and a report that would overwrite an input or a drawing.
void checkOutputs(const std::vector<FileJob> &jobs, const QString &reportPath);
