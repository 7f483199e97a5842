#pragma once

#include <QImage>

// The banded stages on one and two threads, taking turns; prints the
// fastest of `repeat` runs of each and their ratio.
int timeThreads(const QImage &image, int repeat);
