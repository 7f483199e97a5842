#pragma once

#include "drawingtrace.h"
#include "effect.h"
#include "filejob.h"

#include <QCommandLineParser>
#include <QStringList>

#include <vector>

// The options of SVG output: --svg-threshold, --svg-curves, --svg-tolerance
// and --svg-min-area.
void addSvgOptions(QCommandLineParser &parser);

// The SVG settings the command line asks for. When no job writes SVG, each
// one given adds a warning to `notes`; SVG for an effect that has no
// outlines is refused, saying why from the table of effects.
VectorSettings svgSettings(const QCommandLineParser &parser, const Effect &effect,
                           const std::vector<FileJob> &jobs, QStringList *notes);
