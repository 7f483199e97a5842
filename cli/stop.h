#pragma once

#include <QString>

// Ctrl-C (SIGINT) and SIGTERM end a run cleanly: the handlers only record the
// signal, and the workers notice it between stages and in the effects'
// progress reports, abandon their files and let the batch end as usual.

// Records SIGINT and SIGTERM instead of ending the process.
void installStopHandlers();

// The signal that stopped the run, 0 while it goes on.
int stopSignal();

inline bool stopRequested()
{
    return stopSignal() != 0;
}

// "stopped by SIGINT" or "stopped by SIGTERM".
QString stopText();

// Thrown out of a file's work once the run is stopped.
struct Stopped
{
};

// Throws Stopped once the run is stopped. Cheap: one atomic load.
void throwIfStopped();
