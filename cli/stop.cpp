#include "stop.h"

#include <atomic>
#include <csignal>

namespace {

// Lock-free, so the handler may set it.
std::atomic<int> receivedSignal {0};
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void recordSignal(int signal)
{
    int none = 0;
    receivedSignal.compare_exchange_strong(none, signal);
}

void handle(int signal)
{
    struct sigaction action = {};
    action.sa_handler = recordSignal;
    sigemptyset(&action.sa_mask);
    // Blocking calls carry on after the handler; the loops that wait on a
    // pipe poll with a timeout and look at the flag themselves.
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

} // namespace

void installStopHandlers()
{
    handle(SIGINT);
    handle(SIGTERM);
}

int stopSignal()
{
    return receivedSignal.load(std::memory_order_relaxed);
}

QString stopText()
{
    return stopSignal() == SIGTERM ? QStringLiteral("stopped by SIGTERM")
                                   : QStringLiteral("stopped by SIGINT");
}

void throwIfStopped()
{
    if (stopRequested())
        throw Stopped {};
}
