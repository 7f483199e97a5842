#pragma once

#include <cstdio>

// stderr as the tool found it. The tool writes its own messages there
// through a copy of the descriptor, so that what the libraries print on
// their own can be captured (libraryoutput.h) or silenced without them.
FILE *messageStream();

// Points stderr at /dev/null until restoreLibraries(). libpng reports a
// failed write on stderr itself; once the run is stopped, the writes that
// fail on purpose must not litter the terminal. The tool's own messages,
// Qt's included, still go out.
void silenceLibraries();
// Points stderr back where it was, for whatever is said at exit.
void restoreLibraries();
