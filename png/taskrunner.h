#pragma once

#include <functional>

// Runs numbered tasks side by side. The PNG writer reaches its threads only
// through this, so that a process-wide pool can take the place of the
// threads made here.
class TaskRunner
{
public:
    virtual ~TaskRunner() = default;

    // Runs task(0) .. task(count - 1), each once, in any order and possibly
    // at the same time, and returns when every one has returned. The tasks
    // must not throw.
    virtual void run(int count, const std::function<void(int)> &task) = 0;
};

// Makes up to `threads` - 1 threads for each run() and works on the calling
// thread too; the tasks are handed out in order, one at a time.
class ThreadsPerRun : public TaskRunner
{
public:
    explicit ThreadsPerRun(int threads);

    void run(int count, const std::function<void(int)> &task) override;

private:
    int m_threads;
};
