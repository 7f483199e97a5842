#pragma once

#include <pybind11/numpy.h>

#include <string>

// kestrova.read() and kestrova.write(): picture files as the command line
// reads and writes them (files/picturefiles.h), for NumPy arrays.

// The picture in `path` as the effects see it: H x W x 3 when it has no
// alpha channel, H x W x 4 when it has one, H x W when it is grey and
// opaque. `threads` as for kestrova.draw(): the conversion's. Raises OSError (FileNotFoundError for
// a missing file) with the command line's message; Qt's warnings become Python warnings.
pybind11::array readPicture(const std::string &path, bool autoOrient,
                            const pybind11::object &threads);

// Writes `drawing` to `path` through a temporary file, in the format its
// suffix names, on up to `threads` threads. Raises ValueError for settings the command line refuses
// and OSError when the file cannot be written.
void writePicture(const std::string &path, const pybind11::handle &drawing,
                  const std::string &pngLevel, bool transparent, const pybind11::object &quality,
                  const pybind11::object &threads);

// Hands Qt's warnings to the thread's WarningCapture when there is one and
// leaves out its debug and info lines, as the command line's message
// handler does; other messages go where they went before.
void installMessageHandler();
