#pragma once

#include "options.h"

// Draws every file of `commandLine`, up to commandLine.threads at once. One
// file's failure does not stop the others. Returns the exit status: 0 when
// every drawing was written or skipped, 1 otherwise, 128 + the signal's
// number when SIGINT or SIGTERM stopped the run.
int runBatch(const CommandLine &commandLine);
