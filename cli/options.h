#pragma once

#include "effects.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

// One picture to make: where it comes from, where it goes and in which format.
struct FileJob
{
    QString input;
    QString output;
    QByteArray format;
};

struct CommandLine
{
    const Effect *effect = nullptr;
    EffectSettings settings;
    std::vector<FileJob> jobs;
    // Batch mode only: the folder that receives every result.
    QString outputDir;
    int quality = 100;
    int threads = 1;
    bool quiet = false;
    bool timings = false;
};

struct ParseOutcome
{
    enum Kind { Run, Help, Version, UsageError };

    Kind kind = UsageError;
    // The help text for Help, the message for UsageError.
    QString text;
    CommandLine commandLine;
};

// Parses and checks the arguments (program name first). Nothing on disk is
// changed; input files are not opened.
ParseOutcome parseCommandLine(const QStringList &arguments);
