#pragma once

#include "pngfilter.h"
#include "rowpacking.h"

#include <QIODevice>
#include <QImage>
#include <QString>

#include <functional>

class TaskRunner;

// How hard the compressor works: Fast for drawings written as fast as they
// are drawn, Small for smaller files at several times the time.
enum class PngLevel { Fast, Small };

struct PngWriteOptions
{
    PngLevel level = PngLevel::Fast;
    // Threads the compression may use, when no runner is given.
    int threads = 1;
    // Runs the bands instead of threads made for this write.
    TaskRunner *runner = nullptr;
    // Asked between bands; once it says yes the write gives up.
    std::function<bool()> stopped;
};

// What the writer chose for a picture.
struct PngLayout
{
    PngColourType colourType = PngColourType::Rgba;
    PngFilter filter = PngFilter::None;
    int bands = 0;
};

// Writes `image` to `device` as a PNG file that decodes to exactly the
// pixels Qt's own PNG writer would have stored: one grey channel when every
// pixel is an opaque grey, grey and alpha when every pixel is grey, RGB when
// every pixel is opaque and RGBA otherwise, 8 bits a channel (a picture of
// more bits is rounded to 8, of premultiplied alpha unpremultiplied). The
// bytes written are the same whatever the number of threads. On failure
// returns false with the reason in `error`; the device may then hold part of
// a file.
bool writePng(const QImage &image, QIODevice *device, const PngWriteOptions &options,
              QString *error, PngLayout *layout = nullptr);

// What writePng() would choose for `image`, without compressing anything.
PngLayout choosePngLayout(const QImage &image, PngLevel level, int threads = 1);
