#pragma once

#include "filejob.h"
#include "outputnames.h"

#include <QStringList>

#include <vector>

// Where the drawings of a batch go: DIR (empty: beside each input), their
// names, and the suffix and writer format of every drawing.
struct BatchTarget
{
    QString folder;
    QString suffix;
    QByteArray format;
    NamePattern name = {};
    QString effect = {};
};

// The same file however it is spelled: symbolic links and relative parts
// resolved as far as the path exists.
QString fileIdentity(const QString &path);

// One job per INPUT of batch mode, written to DIR/<name from the pattern>.
// With `recursive`, a folder INPUT gives one job per picture in it and its
// subfolders, written under the same relative path in DIR; folders without
// any picture are named in `notes`. Without it, a folder is a file that
// cannot be read.
std::vector<FileJob> batchJobs(const QStringList &inputs, const BatchTarget &target, bool recursive,
                               QStringList *notes);

// Refuses outputs whose folder cannot be there when the drawing is written:
// beside a file of the same name, or missing in single mode (batch mode
// makes the folders it needs, once a drawing is ready).
void checkOutputFolders(const std::vector<FileJob> &jobs, bool batch);

// Refuses outputs that would overwrite an input, two inputs that would write
// the same file, and a report that would overwrite an input or a drawing.
void checkOutputs(const std::vector<FileJob> &jobs, const QString &reportPath);
