#pragma once

#include <QImage>

// A new, uninitialised picture for an effect's result. Large pictures get
// memory the kernel may back with huge pages, which saves most of the page
// faults of filling tens of megabytes; the picture behaves as any QImage.
// It takes the size and the resolution and text of `like`, as a copy would.
// Throws std::bad_alloc when there is no memory for it.
QImage newImage(const QImage &like, QImage::Format format);
