#include "taskrunner.h"

#include "sidebyside.h"

#include <algorithm>
#include <atomic>

ThreadsPerRun::ThreadsPerRun(int threads)
    : m_threads(std::max(1, threads))
{
}

void ThreadsPerRun::run(int count, const std::function<void(int)> &task)
{
    std::atomic<int> next {0};
    runSideBySide(std::min(m_threads, count), [&](int) {
        for (int i = next++; i < count; i = next++)
            task(i);
    });
}
