#include "taskrunner.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

ThreadsPerRun::ThreadsPerRun(int threads)
    : m_threads(std::max(1, threads))
{
}

void ThreadsPerRun::run(int count, const std::function<void(int)> &task)
{
    std::atomic<int> next {0};
    auto work = [&] {
        for (int i = next++; i < count; i = next++)
            task(i);
    };
    std::vector<std::thread> helpers;
    const int threads = std::min(m_threads, count);
    try {
        for (int i = 1; i < threads; ++i)
            helpers.emplace_back(work);
    } catch (const std::system_error &) {
        // No more threads to be had: the ones there are do the work.
    }
    work();
    for (std::thread &helper : helpers)
        helper.join();
}
