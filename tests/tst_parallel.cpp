#include "parallel.h"

#include <QTest>
#include <QThread>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

// The pool behind every banded loop: which items run, where, how progress
// and exceptions come back, and what happens to calls made from inside a
// call.

namespace {

struct Band
{
    int first;
    int end;
    std::thread::id thread;
};

// Runs parallelBands and records every band and every progress value.
struct Recording
{
    std::mutex mutex;
    std::vector<Band> bands;
    std::vector<int> progress;
    std::set<std::thread::id> progressThreads;

    void run(int count, int grain, bool reporting)
    {
        parallelBands(
                count, grain,
                [this](int first, int end) {
                    const std::lock_guard<std::mutex> lock(mutex);
                    bands.push_back({first, end, std::this_thread::get_id()});
                },
                reporting ? std::function<void(int)>([this](int finished) {
                    progress.push_back(finished);
                    progressThreads.insert(std::this_thread::get_id());
                })
                          : std::function<void(int)>());
    }
    std::set<std::thread::id> threads() const
    {
        std::set<std::thread::id> ids;
        for (const Band &band : bands)
            ids.insert(band.thread);
        return ids;
    }
};

// Every item once, in bands of at least `grain` items when there are that
// many.
QString coverageProblem(std::vector<Band> bands, int count, int grain)
{
    std::sort(bands.begin(), bands.end(),
              [](const Band &a, const Band &b) { return a.first < b.first; });
    int next = 0;
    for (const Band &band : bands) {
        if (band.first != next || band.end <= band.first)
            return QString("band %1 .. %2 after %3").arg(band.first).arg(band.end).arg(next);
        if (count >= grain && band.end - band.first < grain)
            return QString("band %1 .. %2 is under %3 items")
                    .arg(band.first)
                    .arg(band.end)
                    .arg(grain);
        next = band.end;
    }
    return next == count ? QString() : QString("the bands end at %1").arg(next);
}

struct Stop
{
};

} // namespace

class TestParallel : public QObject
{
    Q_OBJECT

private slots:
    void budgets();
    void budgetsBelongToTheirThread();
    void bandsCoverEveryItemOnce_data();
    void bandsCoverEveryItemOnce();
    void progressRisesOnTheCallingThread();
    void oneThreadWithoutProgressIsOneBand();
    void threadsStayWithinTheBudget();
    void exceptionFromProgressWaitsForTheBandsUnderWay_data();
    void exceptionFromProgressWaitsForTheBandsUnderWay();
    void exceptionFromWorkReachesTheCaller();
    void callsFromInsideWorkRunOnTheirThread();
    void callsFromInsideProgressRunOnTheCallingThread();
    void callersOnSeveralThreads();
    void aForkedChildSharesOutBands();
};

void TestParallel::budgets()
{
    const int cores = qMax(1, QThread::idealThreadCount());
    QCOMPARE(threadBudget(), cores);
    {
        const ThreadBudget three(3);
        QCOMPARE(threadBudget(), 3);
        {
            const ThreadBudget one(1);
            QCOMPARE(threadBudget(), 1);
        }
        QCOMPARE(threadBudget(), 3);
        const ThreadBudget none(0);
        QCOMPARE(threadBudget(), 1);
    }
    QCOMPARE(threadBudget(), cores);
}

void TestParallel::budgetsBelongToTheirThread()
{
    const ThreadBudget mine(5);
    int seen = 0;
    std::thread other([&seen] { seen = threadBudget(); });
    other.join();
    QCOMPARE(seen, qMax(1, QThread::idealThreadCount()));
    QCOMPARE(threadBudget(), 5);
}

void TestParallel::bandsCoverEveryItemOnce_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("grain");
    for (const int count : {0, 1, 2, 5, 63, 64, 65, 1000, 4097, 100003}) {
        for (const int grain : {1, 3, 64, 1000})
            QTest::addRow("%d items, grain %d", count, grain) << count << grain;
    }
}

void TestParallel::bandsCoverEveryItemOnce()
{
    QFETCH(int, count);
    QFETCH(int, grain);
    for (const int threads : {1, 2, 3, 8}) {
        for (const bool reporting : {false, true}) {
            const ThreadBudget budget(threads);
            Recording recording;
            recording.run(count, grain, reporting);
            const QString problem = coverageProblem(recording.bands, count, grain);
            QVERIFY2(problem.isEmpty(),
                     qPrintable(QString("%1 threads: %2").arg(threads).arg(problem)));
        }
    }
}

void TestParallel::progressRisesOnTheCallingThread()
{
    for (const int threads : {1, 2, 3, 8}) {
        const ThreadBudget budget(threads);
        Recording recording;
        recording.run(100000, 16, true);
        QVERIFY(!recording.progress.empty());
        QCOMPARE(recording.progress.back(), 100000);
        for (size_t i = 1; i < recording.progress.size(); ++i)
            QVERIFY(recording.progress[i] > recording.progress[i - 1]);
        QCOMPARE(recording.progressThreads, std::set<std::thread::id> {std::this_thread::get_id()});
        // Each value ends a band.
        std::set<int> ends;
        for (const Band &band : recording.bands)
            ends.insert(band.end);
        for (const int value : recording.progress)
            QVERIFY(ends.count(value));
    }
}

void TestParallel::oneThreadWithoutProgressIsOneBand()
{
    const ThreadBudget budget(1);
    Recording recording;
    recording.run(100000, 16, false);
    QCOMPARE(int(recording.bands.size()), 1);
    QCOMPARE(recording.threads(), std::set<std::thread::id> {std::this_thread::get_id()});
}

void TestParallel::threadsStayWithinTheBudget()
{
    for (const int threads : {1, 2, 3}) {
        const ThreadBudget budget(threads);
        for (int run = 0; run < 20; ++run) {
            Recording recording;
            recording.run(1000, 1, true);
            QVERIFY(int(recording.threads().size()) <= threads);
        }
    }
}

void TestParallel::exceptionFromProgressWaitsForTheBandsUnderWay_data()
{
    QTest::addColumn<int>("threads");
    QTest::addColumn<int>("stopAt");
    for (const int threads : {1, 2, 3, 8}) {
        for (const int stopAt : {1, 3})
            QTest::addRow("%d threads, call %d", threads, stopAt) << threads << stopAt;
    }
}

// No band starts after the exception, and none is still running when it
// reaches the caller.
void TestParallel::exceptionFromProgressWaitsForTheBandsUnderWay()
{
    QFETCH(int, threads);
    QFETCH(int, stopAt);
    const ThreadBudget budget(threads);
    std::atomic<int> started {0}, finished {0};
    int calls = 0;
    bool stopped = false;
    // On a busy machine the workers may finish every band while the caller
    // waits for a core, and the finished prefix then grows in fewer calls
    // than `stopAt`: such a run says nothing about stopping, so run again.
    for (int attempt = 0; attempt < 50 && !stopped; ++attempt) {
        started = 0;
        finished = 0;
        calls = 0;
        try {
            parallelBands(
                    640, 1,
                    [&](int, int) {
                        ++started;
                        std::this_thread::sleep_for(std::chrono::microseconds(200));
                        ++finished;
                    },
                    [&](int) {
                        if (++calls == stopAt)
                            throw Stop {};
                    });
        } catch (const Stop &) {
            stopped = true;
        }
    }
    QVERIFY(stopped);
    QCOMPARE(calls, stopAt);
    const int atReturn = finished;
    QCOMPARE(started.load(), atReturn);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    QCOMPARE(started.load(), atReturn);
    if (threads == 1)
        QCOMPARE(atReturn, stopAt);

    Recording recording;
    recording.run(5000, 1, true);
    QVERIFY(coverageProblem(recording.bands, 5000, 1).isEmpty());
    QCOMPARE(recording.progress.back(), 5000);
}

void TestParallel::exceptionFromWorkReachesTheCaller()
{
    for (const int threads : {1, 2, 8}) {
        const ThreadBudget budget(threads);
        std::atomic<int> running {0};
        bool caught = false;
        try {
            parallelBands(1000, 1, [&](int, int end) {
                ++running;
                if (end > 500)
                    throw std::runtime_error("band failed");
                --running;
            });
        } catch (const std::runtime_error &error) {
            caught = QByteArray(error.what()) == "band failed";
        }
        QVERIFY(caught);
        QCOMPARE(running.load() > 0, true);
        const int atReturn = running;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        QCOMPARE(running.load(), atReturn);
    }
}

void TestParallel::callsFromInsideWorkRunOnTheirThread()
{
    const ThreadBudget budget(4);
    std::atomic<int> strays {0};
    std::atomic<int> items {0};
    parallelBands(256, 1, [&](int first, int end) {
        const std::thread::id outer = std::this_thread::get_id();
        for (int i = first; i < end; ++i) {
            parallelBands(100, 1, [&](int innerFirst, int innerEnd) {
                if (std::this_thread::get_id() != outer)
                    ++strays;
                items += innerEnd - innerFirst;
            });
        }
    });
    QCOMPARE(strays.load(), 0);
    QCOMPARE(items.load(), 256 * 100);
}

// As the window's event loop may run another operation inside a progress
// callback.
void TestParallel::callsFromInsideProgressRunOnTheCallingThread()
{
    const ThreadBudget budget(3);
    const std::thread::id caller = std::this_thread::get_id();
    int innerItems = 0;
    bool innerStrayed = false;
    std::vector<int> innerProgress;
    std::atomic<int> outerItems {0};
    parallelBands(
            2000, 1, [&](int first, int end) { outerItems += end - first; },
            [&](int) {
                parallelBands(
                        300, 1,
                        [&](int first, int end) {
                            innerStrayed |= std::this_thread::get_id() != caller;
                            innerItems += end - first;
                        },
                        [&](int finished) { innerProgress.push_back(finished); });
            });
    QCOMPARE(outerItems.load(), 2000);
    QVERIFY(!innerStrayed);
    QVERIFY(innerItems > 0);
    QCOMPARE(innerItems % 300, 0);
    QCOMPARE(innerProgress.back(), 300);
}

void TestParallel::callersOnSeveralThreads()
{
    std::atomic<int> problems {0};
    std::vector<std::thread> callers;
    for (int caller = 0; caller < 4; ++caller) {
        callers.emplace_back([caller, &problems] {
            const ThreadBudget budget(caller % 2 ? 2 : 3);
            for (int run = 0; run < 50; ++run) {
                const int count = 1000 + 37 * run + caller;
                std::vector<int> hits(size_t(count), 0);
                int last = 0;
                parallelBands(
                        count, 3,
                        [&](int first, int end) {
                            for (int i = first; i < end; ++i)
                                ++hits[size_t(i)];
                        },
                        [&](int finished) { last = finished; });
                if (last != count || std::count(hits.begin(), hits.end(), 1) != count)
                    ++problems;
            }
        });
    }
    for (std::thread &caller : callers)
        caller.join();
    QCOMPARE(problems.load(), 0);
}

// A child forked while the pool's workers exist, and while another thread
// of the parent is sharing out bands, runs its own calls on threads of its
// own: every item once, helpers taking bands, and no hang.
void TestParallel::aForkedChildSharesOutBands()
{
    const auto slowBands = [](Recording &recording) {
        parallelBands(64, 1, [&recording](int first, int end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            const std::lock_guard<std::mutex> lock(recording.mutex);
            recording.bands.push_back({first, end, std::this_thread::get_id()});
        });
    };
    const ThreadBudget budget(3);
    Recording before;
    slowBands(before);
    QVERIFY(before.threads().size() > 1);

    std::atomic<bool> stop {false};
    std::thread busy([&stop] {
        const ThreadBudget busyBudget(2);
        while (!stop.load())
            parallelBands(256, 1, [](int, int) {});
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const pid_t child = fork();
    if (child == 0) {
        // A hang ends the child rather than the test.
        alarm(120);
        Recording after;
        slowBands(after);
        const bool fine
                = coverageProblem(after.bands, 64, 1).isEmpty() && after.threads().size() > 1;
        _exit(fine ? 0 : 1);
    }
    stop.store(true);
    busy.join();
    QVERIFY(child > 0);
    int status = 0;
    QCOMPARE(waitpid(child, &status, 0), child);
    QVERIFY(WIFEXITED(status));
    QCOMPARE(WEXITSTATUS(status), 0);
}

QTEST_GUILESS_MAIN(TestParallel)
#include "tst_parallel.moc"
