#include "parallel.h"

#include <QThread>

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

// std::thread, std::mutex and std::condition_variable rather than Qt's: the
// hand-overs between the threads are then visible to ThreadSanitizer.

namespace {

// 0: no ThreadBudget on this thread.
thread_local int t_budget = 0;
// True on the pool's workers, and on a thread while it shares out bands.
thread_local bool t_sharing = false;

// Enough bands that a thread held up elsewhere delays the others little and
// progress moves often, few enough that a band's fixed cost stays small.
constexpr int BandsPerThread = 4;
constexpr int FewestBandsAimedAt = 64;

// `count` bands of nearly equal size over `items` items: band i covers
// begin(i) .. begin(i + 1) - 1.
struct BandLayout
{
    int items;
    int count;

    int begin(int band) const { return int(qint64(band) * items / count); }
};

BandLayout layoutOf(int items, int grain, int threads, bool reporting)
{
    const int most = std::max(1, items / std::max(1, grain));
    int bands = 1;
    if (threads > 1 || reporting)
        bands = std::min(most, std::max(FewestBandsAimedAt, BandsPerThread * threads));
    return {items, bands};
}

// One call's bands. They are handed out in order through an atomic
// counter; everything else is guarded by the pool's mutex.
class BandJob
{
public:
    BandJob(BandLayout layout, int helpers, const std::function<void(int, int)> &work)
        : helpersWanted(helpers)
        , m_layout(layout)
        , m_work(work)
        , m_finished(size_t(layout.count), 0)
    {
    }

    // The next band to run, or -1 when there is none or the job stopped.
    int claim()
    {
        if (m_stopped.load(std::memory_order_relaxed))
            return -1;
        const int band = m_next.fetch_add(1, std::memory_order_relaxed);
        return band < m_layout.count ? band : -1;
    }
    bool open() const
    {
        return !m_stopped.load(std::memory_order_relaxed)
                && m_next.load(std::memory_order_relaxed) < m_layout.count;
    }

    // Runs one band, then files it as finished under `lock`, the pool's
    // mutex, which is not held on entry or exit.
    void run(int band, std::unique_lock<std::mutex> &lock)
    {
        std::exception_ptr error;
        try {
            m_work(m_layout.begin(band), m_layout.begin(band + 1));
        } catch (...) {
            error = std::current_exception();
        }
        lock.lock();
        if (error)
            fail(error);
        m_finished[size_t(band)] = 1;
        while (m_prefix < m_layout.count && m_finished[size_t(m_prefix)])
            ++m_prefix;
        changed.notify_all();
        lock.unlock();
    }

    // The rest with the pool's mutex held.

    // Keeps the first failure; no band starts after it.
    void fail(std::exception_ptr error)
    {
        if (!m_failure)
            m_failure = error;
        m_stopped.store(true, std::memory_order_relaxed);
    }
    bool failed() const { return bool(m_failure); }
    std::exception_ptr failure() const { return m_failure; }
    // The items of the finished bands 0 .. n - 1.
    int finishedItems() const { return m_layout.begin(m_prefix); }
    bool allFinished() const { return m_prefix == m_layout.count; }

    const int helpersWanted;
    int helpers = 0;
    // A band finished, or a worker left.
    std::condition_variable changed;

private:
    const BandLayout m_layout;
    const std::function<void(int, int)> &m_work;
    std::atomic<int> m_next {0};
    std::atomic<bool> m_stopped {false};
    std::vector<char> m_finished;
    int m_prefix = 0;
    std::exception_ptr m_failure;
};

class Pool
{
public:
    ~Pool()
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_stopping = true;
        }
        m_wake.notify_all();
        for (std::thread &worker : m_workers)
            worker.join();
    }

    // The workers that may help a job that wants `helpers` of them; the
    // pool grows to that many when it can.
    int reserve(int helpers)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        try {
            while (int(m_workers.size()) < helpers)
                m_workers.emplace_back([this] { serve(); });
        } catch (const std::system_error &) {
            // No more threads to be had: the ones there are do the work.
        }
        return std::min(helpers, int(m_workers.size()));
    }

    void run(BandJob &job, const std::function<void(int)> &progress);

private:
    void serve();
    BandJob *openJob() const
    {
        for (BandJob *job : m_jobs) {
            if (job->helpers < job->helpersWanted && job->open())
                return job;
        }
        return nullptr;
    }
    bool report(BandJob &job, int &reported, const std::function<void(int)> &progress,
                std::unique_lock<std::mutex> &lock);

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<std::thread> m_workers;
    std::vector<BandJob *> m_jobs;
    bool m_stopping = false;
};

// The pool of this process. A forked child has only the thread that forked:
// the parent's workers are not there, and the mutex may have been held by
// one of them, so the child leaves the parent's pool untouched and starts
// one of its own.
class PoolHolder
{
public:
    PoolHolder()
        : m_current(new Pool)
    {
        pthread_atfork(nullptr, nullptr, [] { holder().replaceInChild(); });
    }
    ~PoolHolder() { delete m_current; }

    static PoolHolder &holder()
    {
        static PoolHolder instance;
        return instance;
    }
    Pool &current() { return *m_current; }

private:
    // Its workers' std::thread objects name threads the child does not have:
    // it is never destroyed, only kept where leak checkers can see it.
    void replaceInChild()
    {
        m_abandoned.push_back(m_current);
        m_current = new Pool;
    }

    Pool *m_current;
    std::vector<Pool *> m_abandoned;
};

Pool &pool()
{
    return PoolHolder::holder().current();
}

void Pool::serve()
{
    t_sharing = true;
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        BandJob *job = nullptr;
        m_wake.wait(lock, [&] { return m_stopping || (job = openJob()) != nullptr; });
        if (!job)
            return;
        ++job->helpers;
        lock.unlock();
        for (int band = job->claim(); band >= 0; band = job->claim())
            job->run(band, lock);
        lock.lock();
        --job->helpers;
        job->changed.notify_all();
    }
}

// With the mutex held: reports the finished prefix when it grew, and says
// whether it did (the mutex was let go meanwhile). A callback that throws
// stops the job.
bool Pool::report(BandJob &job, int &reported, const std::function<void(int)> &progress,
                  std::unique_lock<std::mutex> &lock)
{
    const int finished = job.finishedItems();
    if (!progress || job.failed() || finished <= reported)
        return false;
    reported = finished;
    lock.unlock();
    std::exception_ptr error;
    try {
        progress(finished);
    } catch (...) {
        error = std::current_exception();
    }
    lock.lock();
    if (error)
        job.fail(error);
    return true;
}

void Pool::run(BandJob &job, const std::function<void(int)> &progress)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_jobs.push_back(&job);
    lock.unlock();
    m_wake.notify_all();

    int reported = 0;
    for (int band = job.claim(); band >= 0; band = job.claim()) {
        job.run(band, lock);
        lock.lock();
        report(job, reported, progress, lock);
        lock.unlock();
    }
    lock.lock();
    // Every band is taken: no worker joins any more. Those that hold the job
    // finish their bands, and then it is ours alone again.
    m_jobs.erase(std::find(m_jobs.begin(), m_jobs.end(), &job));
    for (;;) {
        while (report(job, reported, progress, lock)) { }
        if (job.helpers == 0)
            break;
        job.changed.wait(lock);
    }
    Q_ASSERT(job.allFinished() || job.failed());
    const std::exception_ptr failure = job.failure();
    lock.unlock();
    if (failure)
        std::rethrow_exception(failure);
}

void runHere(BandLayout layout, const std::function<void(int, int)> &work,
             const std::function<void(int)> &progress)
{
    for (int band = 0; band < layout.count; ++band) {
        work(layout.begin(band), layout.begin(band + 1));
        if (progress)
            progress(layout.begin(band + 1));
    }
}

int defaultBudget()
{
    static const int cores = std::max(1, QThread::idealThreadCount());
    return cores;
}

} // namespace

int threadBudget()
{
    return t_budget > 0 ? t_budget : defaultBudget();
}

ThreadBudget::ThreadBudget(int threads)
    : m_previous(t_budget)
{
    t_budget = std::max(1, threads);
}

ThreadBudget::~ThreadBudget()
{
    t_budget = m_previous;
}

void parallelBands(int count, int grain, const std::function<void(int first, int end)> &work,
                   const std::function<void(int finished)> &progress)
{
    if (count <= 0)
        return;
    const int threads = t_sharing ? 1 : threadBudget();
    const BandLayout layout = layoutOf(count, grain, threads, bool(progress));
    const int helpers = threads > 1 && layout.count > 1
            ? pool().reserve(std::min(threads, layout.count) - 1)
            : 0;
    if (helpers == 0) {
        runHere(layout, work, progress);
        return;
    }
    // Calls made while this one shares out its bands run on their thread.
    struct Sharing
    {
        Sharing() { t_sharing = true; }
        ~Sharing() { t_sharing = false; }
    } sharing;
    BandJob job(layout, helpers, work);
    pool().run(job, progress);
}
