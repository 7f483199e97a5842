#pragma once

#include "effect.h"
#include "filejob.h"
#include "picturesize.h"
#include "pngwriter.h"
#include "settingsfiles.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

struct CommandLine
{
    const Effect *effect = nullptr;
    EffectValues values;
    std::vector<FileJob> jobs;
    // Batch mode only: the folder that receives every result; empty with
    // --name alone, which writes each drawing beside its photo.
    QString outputDir;
    // INPUT... with -o or --name, rather than INPUT OUTPUT.
    bool batch = false;
    // Where the JSON report goes, "-" for stderr; empty for none.
    QString reportPath;
    // Said on stderr before the work starts (folders without pictures).
    QStringList notes;
    // The size each photo is drawn at (--size).
    PictureSize size;
    // The resolution every drawing carries, in dots per inch; 0 keeps the
    // photo's (--dpi).
    int dpi = 0;
    // Say what would be written, and write nothing (--dry-run).
    bool dryRun = false;
    int quality = 100;
    PngLevel pngLevel = PngLevel::Fast;
    // Files drawn at once (-j).
    int threads = 1;
    // Threads the work on one file may use (--threads).
    int coreThreads = 1;
    // Black lines on a transparent layer instead of the grey drawing.
    bool transparent = false;
    bool quiet = false;
    bool timings = false;
    bool skipExisting = false;
    bool autoOrient = false;
    SettingsFiles settingsFiles;
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
// changed; input files are not opened, folders given with -r are listed.
ParseOutcome parseCommandLine(const QStringList &arguments);
