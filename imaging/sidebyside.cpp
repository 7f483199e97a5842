#include "sidebyside.h"

#include <system_error>
#include <thread>
#include <vector>

void runSideBySide(int slots, const std::function<void(int slot)> &work)
{
    // std::thread rather than QThread: its start and join are visible to
    // ThreadSanitizer, while Qt's waits are hidden inside the library.
    std::vector<std::thread> threads;
    try {
        for (int slot = 1; slot < slots; ++slot)
            threads.emplace_back(work, slot);
    } catch (const std::system_error &) {
        // No more threads to be had: the slots started take every task.
    }
    work(0);
    for (std::thread &thread : threads)
        thread.join();
}
