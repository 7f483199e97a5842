#pragma once

// What the fuzz targets do with one input, shared with the test that replays
// the inputs fuzzing found (tests/data/fuzz), so that both run the very same
// code. Any bytes are a valid input; a failure aborts (or is a sanitizer's
// report).

#include <cstddef>
#include <cstdint>

// The bytes as a picture file, read as the window and kestrova-cli read it,
// then the edge map and every effect. Pictures larger than 256 x 256 are
// left alone, so that every run is quick.
void fuzzReadAndDraw(const uint8_t *data, size_t size);

// The bytes as a small picture (up to 64 x 64, in any pixel format the
// readers give) and slider values, through every effect and every redraw
// the window makes. The colour sketch must end on the same picture whether
// every level is shown (the window) or only the last is made (the tool).
void fuzzEffects(const uint8_t *data, size_t size);

// The bytes as a settings file and as a GIMP palette: what the readers
// accept, the writers give back to the same values and bytes, and the
// palette paints a small picture in its own colours only.
void fuzzSettingsFiles(const uint8_t *data, size_t size);
