#pragma once

#include "tracing.h"

#include <QByteArray>

// Appends the path data of region `region`: one subpath per loop, the first
// placed with "M", the others with a relative "m" from the start of the one
// before; then relative "h", "v", "l" and "q" commands, a command letter
// left out when it repeats, and "z". Coordinates are whole or half pixels,
// written with only the decimals they need.
void appendRegionPath(QByteArray &out, const Tracing &tracing, int region);

// Appends `halves` / 2 as SVG writes a number: "3", "-2", ".5", "-1.5".
void appendHalves(QByteArray &out, qint64 halves);
