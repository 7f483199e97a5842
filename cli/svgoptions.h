#pragma once

#include "drawingtrace.h"
#include "effect.h"
#include "filejob.h"

#include <QCommandLineParser>

#include <vector>

// The options of SVG output: --svg-threshold, --svg-curves, --svg-tolerance
// and --svg-min-area.
void addSvgOptions(QCommandLineParser &parser);

// The SVG settings the command line asks for. Refuses them when no job
// writes SVG, and refuses SVG for an effect that has no outlines, saying
// why from the table of effects.
VectorSettings svgSettings(const QCommandLineParser &parser, const Effect &effect,
                           const std::vector<FileJob> &jobs);
