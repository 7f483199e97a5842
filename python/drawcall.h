#pragma once

#include <pybind11/numpy.h>

#include <string>

// kestrova.draw(): the drawing of a NumPy picture by the effect `effectName`
// with `settings` (keyword -> value, underscores for the names' hyphens),
// made without the GIL. `threads` is None or the drawing's thread budget;
// `progress` None or a callable that receives every progress value on the
// calling thread, with the GIL held.
pybind11::array drawPicture(const std::string &effectName, const pybind11::handle &picture,
                            bool contours, const pybind11::object &threads,
                            const pybind11::object &progress, const pybind11::dict &settings);

// For the benchmarks: the milliseconds that makeDrawing() takes to draw
// `picture` by `effectName` at its defaults, as kestrova-cli draws it,
// given the picture already as a file of it reads (converted before the
// clock starts) and nothing to report to. Against kestrova.draw() in the
// same process, this is what the module adds to the core.
double coreDrawMilliseconds(const std::string &effectName, const pybind11::handle &picture);

// The thread budget `threads` (None or a whole number from 1 to 1024, as
// kestrova-cli's --threads) asks for: every core for None. Raises TypeError or ValueError
// otherwise.
int threadsOf(const pybind11::object &threads);
