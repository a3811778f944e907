// SPDX-License-Identifier: MIT
#include <qz/ConcurrentPool.h>
#include <qz/ext/LibraryStart.h>
#include <qz/ext/Parallel.h>
#include <qz/qzLog.h>
#include <qz/qzProgressNotifier.h>
#include <qz/qzSystemUtils.h>

#include "pool.h"

namespace bench {

namespace {

class Solver : public qz::ConcurrentPool::SolverBase {
public:
    Solver(TwoJobs& jobs, std::size_t index) : mJobs(jobs), mIndex(index) {}
    void solve(qz::qzMutex& mutex, qz::qzWaitCondition& /*solverCondition*/) override
    {
        mutex.unlock();
        mJobs.run(mIndex);
        mutex.lock();
    }

private:
    TwoJobs& mJobs;
    std::size_t mIndex;
};

// The library's full start, and a pool of two workers on a machine of any size.
struct Library {
    Library() { qz::qzLog::msInstance->setEchoToConsole(false); }

    qz::ext::LibraryStart start{qz::FullInit};
    qz::ConcurrentPool two{2};
};

Library& useLibrary()
{
    static Library library;
    return library;
}

void handOver(TwoJobs& jobs)
{
    Solver first(jobs, 0);
    Solver second(jobs, 1);
    useLibrary().two.runSolvers({&first, &second});
}

template <typename Work>
void runLoop(Work& work)
{
    useLibrary();
    qz::ext::parallelFor(0, work.getCount(), [&](std::size_t i) { work.run(i); });
}

void measureProgress(benchmark::State& state)
{
    useLibrary();
    qz::qzProgressNotifierBase notifier;
    const double steps = 1e9;
    for (int group = 1; group < 4; ++group)  // and the root group
        notifier.beginStepGroupWeights({1, 2}, steps, nullptr);
    double progress = 0;
    for (auto _ : state)
        notifier.setCurrentStepProgress(++progress);
}

void measurePoll(benchmark::State& state)
{
    useLibrary();
    qz::qzProgressNotifierBase notifier;
    const qz::qzProgressNotifierThreadSafeProxy proxy(&notifier);
    const qz::qzProgressNotifierInterface* polled = &proxy;
    for (auto _ : state) {
        keep(polled);
        bool shouldCancel = polled->shouldCancel();
        keep(shouldCancel);
    }
}

void measureThreadCount(benchmark::State& state)
{
    useLibrary();
    for (auto _ : state) {
        unsigned int count = qz::qzSystemUtils::GetIdealThreadCount();
        keep(count);
    }
}

const PoolCase<TwoJobs, handOver> kHand(kHandOver, "qz");
const PoolCase<TinyJobs, runLoop<TinyJobs>> kTiny(kTinyJobs, "qz");
const PoolCase<TinyJobs, runLoop<TinyJobs>> kLoop(kTinyLoop, "qz");
const PoolCase<SquareRoots, runLoop<SquareRoots>> kRoots(kSquareRoots, "qz");
const Case kProgress("progress update in a stack of 4 groups", "qz", measureProgress);
const Case kPoll("shouldCancel through the thread-safe proxy", "qz", measurePoll);
const Case kThreadCount("number of threads to use", "qz", measureThreadCount);

}  // namespace

}  // namespace bench
