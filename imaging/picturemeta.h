#pragma once

#include <QImage>

// Gives `picture` the resolution and the text of `from`, as QImage::copy()
// would: what a drawing keeps of its photograph when it is made anew.
void copyResolutionAndText(const QImage &from, QImage &picture);
