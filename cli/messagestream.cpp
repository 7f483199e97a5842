#include "messagestream.h"

#include <fcntl.h>
#include <mutex>
#include <unistd.h>

FILE *messageStream()
{
    static FILE *const stream = [] {
        const int copy = dup(STDERR_FILENO);
        FILE *opened = copy >= 0 ? fdopen(copy, "w") : nullptr;
        return opened ? opened : stderr;
    }();
    return stream;
}

namespace {

// A stopped run is stopped for good: stderr is silenced once.
std::once_flag silenced;

} // namespace

void silenceLibraries()
{
    std::call_once(silenced, [] {
        const int null = open("/dev/null", O_WRONLY);
        if (null >= 0) {
            dup2(null, STDERR_FILENO);
            close(null);
        }
    });
}

void restoreLibraries()
{
    FILE *stream = messageStream();
    if (stream != stderr)
        dup2(fileno(stream), STDERR_FILENO);
}
