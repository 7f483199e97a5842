#pragma once

#include <QtGlobal>

#include <algorithm>
#include <climits>
#include <functional>

// The threads the per-pixel loops share: one pool for the whole process,
// grown on demand, whose workers help whichever thread asks. Results never
// depend on how many threads ran: work is split into bands whose outcome is
// fixed by the band's items alone, and progress is reported in order on the
// thread that asked.

// Threads the calling thread's work may use, itself included: the innermost
// ThreadBudget's on this thread, or else every processor core (at least 1).
int threadBudget();

// Sets the calling thread's budget while it exists. Budgets nest: the
// previous one comes back when this one ends.
class ThreadBudget
{
public:
    explicit ThreadBudget(int threads);
    ~ThreadBudget();

    ThreadBudget(const ThreadBudget &) = delete;
    ThreadBudget &operator=(const ThreadBudget &) = delete;

private:
    int m_previous;
};

// The grain of a loop over rows of `width` pixels whose cost goes by the
// pixel: enough rows for `pixels` pixels, at least one.
// The least pixels of a band, measured so that a band costs well more than
// handing it to another thread: for loops of a table look-up or a few
// operations a pixel (levels, multiply, the pen, the Sobel), and for loops
// of a conversion or a hash look-up a pixel (the pencil's tones and
// painting, the poster's colours and painting).
constexpr qint64 LightBandPixels = qint64(1) << 17;
constexpr qint64 HeavyBandPixels = qint64(1) << 15;

inline int rowsOf(qint64 pixels, int width)
{
    return int(std::clamp<qint64>(pixels / std::max(width, 1), 1, INT_MAX));
}

// Runs work(first, end) over consecutive bands that cover 0 .. count - 1, on
// up to threadBudget() threads: the pool's workers and the calling thread,
// which takes bands too. Every band holds at least `grain` items, so small
// jobs run on the calling thread alone; without a progress callback a
// single-thread budget runs the whole range as one band.
//
// progress(n) is called on the calling thread only, with n rising, each
// time the finished bands 0 .. n - 1 grow. It may throw: then no further
// band starts, the bands under way finish, and the exception leaves this
// call once no worker touches its state any more. The first exception that
// `work` throws is passed on the same way.
//
// A call made from a pool worker, or from the calling thread while one of
// its own calls is under way (a progress callback that lets events through,
// say), runs on that thread alone.
void parallelBands(int count, int grain, const std::function<void(int first, int end)> &work,
                   const std::function<void(int finished)> &progress = {});
