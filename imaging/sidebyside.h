#pragma once

#include <functional>

// Runs work(0) .. work(slots - 1) at the same time: work(0) on the calling
// thread, every other slot on a thread of its own made for this call, and
// returns once every one has returned. When the system has no more threads
// to give, the slots already started run alone, so `work` should take its
// tasks from a shared counter rather than own a fixed share. `work` must
// not throw.
//
// For work that blocks or holds memory per slot (a file in flight, a
// compressor), where the process-wide pool of parallel.h, which is for
// short bands of a picture, does not fit.
void runSideBySide(int slots, const std::function<void(int slot)> &work);
