#pragma once

#include "options.h"

class QCommandLineParser;

// The options that choose the drawings' names, size and resolution, and the
// dry run.
void addOutputOptions(QCommandLineParser &parser);

// Reads --size, --dpi and --dry-run into `line`; --name is read with the
// batch's jobs.
void readOutputOptions(const QCommandLineParser &parser, CommandLine &line);
