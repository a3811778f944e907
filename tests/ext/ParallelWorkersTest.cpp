// SPDX-License-Identifier: MIT
#include <qz/ext/Parallel.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>
#include <qz/qzProgressNotifier.h>
#include <qz/qzThread.h>

#include "ParallelFixture.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"

namespace qz::ext {

using support::ChildResult;
using support::LibraryStart;
using support::runInChild;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;

namespace {

class ParallelWorkersTest : public ParallelFixture {};

// Rules that hold on a pool of any size.
class ParallelWorkersPoolTest : public ParallelPoolFixture {};

INSTANTIATE_TEST_SUITE_P(Workers, ParallelWorkersPoolTest, ::testing::Values(1U, 2U, 8U));

}  // namespace

// --- Where it runs ---------------------------------------------------------------------------

namespace {

// The threads that the bodies ran on.
std::set<std::string> findThreads(int elements, const ParallelOptions& options)
{
    std::mutex mutex;
    std::set<std::string> threads;
    parallelFor(
        0, elements,
        [&](int) {
            const std::lock_guard lock(mutex);
            threads.insert(qzThread::CurrentThreadId());
        },
        options);
    return threads;
}

}  // namespace

TEST_F(ParallelWorkersTest, RunsOnAllWorkersAtOnceAndNotOnTheCaller)
{
    ConcurrentPool pool(3);
    Meeting meeting(3);
    std::mutex mutex;
    std::set<std::string> threads;
    parallelFor(
        0, 3,
        [&](int) {
            meeting.attend();
            const std::lock_guard lock(mutex);
            threads.insert(qzThread::CurrentThreadId());
        },
        withPool(pool));
    EXPECT_THAT(threads, SizeIs(3));
    EXPECT_EQ(threads.count(qzThread::CurrentThreadId()), 0U);
}

// No worker takes several of the last pieces while the other one has nothing to do.
TEST_F(ParallelWorkersTest, SharesTheLastPieces)
{
    constexpr std::size_t lastPairs = 7;
    ConcurrentPool pool(2);
    std::vector<std::unique_ptr<Meeting>> meetings;
    for (std::size_t i = 0; i != lastPairs; ++i)
        meetings.push_back(std::make_unique<Meeting>(2));
    parallelFor(0, 1000 + 2 * lastPairs, SlowStart([&](std::size_t i) {
                    if (i >= 1000) meetings[(i - 1000) / 2]->attend();
                }),
                withPool(pool));
}

TEST_F(ParallelWorkersTest, RunsOnTheCallersThreadIfThePoolHasOneWorker)
{
    ConcurrentPool pool(1);
    EXPECT_THAT(findThreads(5000, withPool(pool)), ElementsAre(qzThread::CurrentThreadId()));
}

TEST_F(ParallelWorkersTest, RunsASinglePieceOnTheCallersThread)
{
    ConcurrentPool pool(2);
    ParallelOptions options = withPool(pool);
    options.leastPiece = 5000;
    EXPECT_THAT(findThreads(5000, options), ElementsAre(qzThread::CurrentThreadId()));
}

TEST_F(ParallelWorkersTest, ASmallLoopWakesNoWorker)
{
    ConcurrentPool pool(2);
    Meeting meeting(2);
    std::vector<clockid_t> workers(2);  // their clocks, which stand still while they sleep
    parallelFor(
        std::size_t{0}, workers.size(),
        [&](std::size_t i) {
            ASSERT_EQ(::pthread_getcpuclockid(::pthread_self(), &workers[i]), 0);
            meeting.attend();
        },
        withPool(pool));
    const auto readClocks = [&] {
        std::vector<long> nanoseconds;
        for (const clockid_t clock : workers) {
            timespec time = {};
            EXPECT_EQ(::clock_gettime(clock, &time), 0);
            nanoseconds.push_back(time.tv_sec * 1'000'000'000 + time.tv_nsec);
        }
        return nanoseconds;
    };
    // They fall asleep only now, and another process may run in the middle of the loop.
    EXPECT_TRUE(support::waitUntil([&] {
        const std::vector<long> before = readClocks();
        parallelFor(
            0, 64, [](int) {}, withPool(pool));
        return readClocks() == before;
    }));
}

namespace {

// How many of the elements, which take long, the caller does itself.
int countByTheCaller(int elements, const ParallelOptions& options)
{
    const std::string caller = qzThread::CurrentThreadId();
    std::atomic<int> count = 0;
    parallelFor(
        0, elements,
        [&](int) {
            if (qzThread::CurrentThreadId() == caller) ++count;
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        },
        options);
    return count;
}

}  // namespace

TEST_F(ParallelWorkersTest, TheCallerBeginsALoopOfManyPieces)
{
    ConcurrentPool pool(2);
    const ParallelOptions options = withPool(pool);
    EXPECT_EQ(countByTheCaller(64, options), 1);
    EXPECT_EQ(countByTheCaller(63, options), 0) << "the workers would wait for one of few";
}

TEST_F(ParallelWorkersTest, TheCallerBeginsNoLoopOfManyElements)
{
    ConcurrentPool pool(2);
    const pid_t caller = ::gettid();
    for (const auto& [elements, isBegun] : {std::pair(100'000, true), {100'001, false}}) {
        std::atomic<bool> isOnCaller = false;
        parallelFor(
            0, elements,
            [&](int) {
                if (::gettid() == caller) isOnCaller = true;
            },
            withPool(pool));
        EXPECT_EQ(isOnCaller, isBegun) << elements;
    }
}

TEST_F(ParallelWorkersTest, TheCallerBeginsNoLoopThatShowsItsProgress)
{
    ConcurrentPool pool(2);
    qzProgressNotifierBase progress;
    ParallelOptions options = withPool(pool);
    options.notifier = &progress;
    EXPECT_EQ(countByTheCaller(100, options), 0);
}

TEST_F(ParallelWorkersTest, UsesThePoolOfTheProcessUnlessOneIsGiven)
{
    ASSERT_NE(concurrent::GetConcurrentPool(), nullptr);
    const bool hasWorkers = concurrent::GetConcurrentPool()->getWorkerCount() > 1;
    const auto threads = findThreads(2, {});
    EXPECT_EQ(threads.count(qzThread::CurrentThreadId()), hasWorkers ? 0U : 1U);
}

namespace {

// The exit code of a child in which the caller does all.
int expectCallerDoesAll(const ParallelOptions& options)
{
    const std::string ownThread = std::to_string(::gettid());
    std::atomic<int> elsewhere = 0;
    std::vector<int> calls(5000);
    const ParallelResult result = parallelFor(
        std::size_t{0}, calls.size(),
        [&](std::size_t i) {
            ++calls[i];
            if (std::to_string(::gettid()) != ownThread) ++elsewhere;
        },
        options);
    if (!result || result.doneCount != calls.size()) return 1;
    if (calls != std::vector<int>(5000, 1)) return 2;
    return elsewhere == 0 ? 42 : 3;
}

}  // namespace

TEST(ParallelStartTest, RunsOnTheCallersThreadBeforeTheStart)
{
    const ChildResult result = runInChild([] {
        qzProgressNotifierBase progress;
        ParallelOptions options;
        options.notifier = &progress;
        return expectCallerDoesAll(options);
    });
    EXPECT_EQ(result.getEnd(), "exit 42");
    EXPECT_EQ(result.out + result.err, "") << "nothing was made too early";
}

TEST(ParallelStartTest, RunsOnTheCallersThreadAfterALightStart)
{
    const ChildResult result = runInChild([] {
        const LibraryStart library(LightInit);
        return expectCallerDoesAll({});
    });
    EXPECT_EQ(result.getEnd(), "exit 42");
    EXPECT_EQ(result.out + result.err, "");
}

TEST(ParallelStartTest, RunsOnTheCallersThreadAfterTheStop)
{
    const ChildResult result = runInChild([] {
        {
            const LibraryStart library(FullInit);
        }
        return expectCallerDoesAll({});
    });
    EXPECT_EQ(result.getEnd(), "exit 42");
}

TEST_F(ParallelWorkersTest, RunsOnTheCallersThreadInAForkedChild)
{
    ConcurrentPool pool(4);
    parallelFor(
        0, 5000, [](int) {}, withPool(pool));
    const ChildResult result = runInChild([&] { return expectCallerDoesAll(withPool(pool)); });
    EXPECT_EQ(result.getEnd(), "exit 42");
}

TEST_F(ParallelWorkersTest, RunsOnTheOnlyThreadOfAChildThatAWorkerForked)
{
    ConcurrentPool pool(4);
    ChildResult result;
    parallelFor(
        0, 2,
        [&](int i) {
            if (i == 1) return;
            result = runInChild([&] { return expectCallerDoesAll(withPool(pool)); });
        },
        withPool(pool));
    EXPECT_EQ(result.getEnd(), "exit 42");
}

// --- Calls inside one another, and callers at once -------------------------------------------

TEST_P(ParallelWorkersPoolTest, RunsANestedLoopOnTheWorkerThatCallsIt)
{
    std::atomic<int> calls = 0;
    std::atomic<int> elsewhere = 0;
    parallelFor(
        0, 20,
        [&](int) {
            const std::string worker = qzThread::CurrentThreadId();
            parallelFor(
                0, 20,
                [&](int) {
                    parallelFor(
                        0, 20,
                        [&](int) {
                            ++calls;
                            if (qzThread::CurrentThreadId() != worker) ++elsewhere;
                        },
                        mOptions);
                },
                mOptions);
        },
        mOptions);
    EXPECT_EQ(calls, 20 * 20 * 20);
    EXPECT_EQ(elsewhere, 0);
}

TEST_P(ParallelWorkersPoolTest, PassesTheExceptionOfANestedLoopOn)
{
    const auto nested = [&](int i) {
        parallelFor(
            0, 100,
            [&](int k) {
                if (i * 100 + k == 777) throw i * 100 + k;
            },
            mOptions);
    };
    try {
        parallelFor(0, 100, nested, mOptions);
        FAIL() << "no exception";
    } catch (const int number) {
        EXPECT_EQ(number, 777);
    }
}

TEST_F(ParallelWorkersTest, LetsALoopUseAnotherPoolInsideAWorker)
{
    ConcurrentPool pool(2);
    ConcurrentPool inner(2);
    std::atomic<int> calls = 0;
    parallelFor(
        0, 50,
        [&](int) {
            parallelFor(
                0, 50, [&](int) { ++calls; }, withPool(inner));
        },
        withPool(pool));
    EXPECT_EQ(calls, 2500);
}

TEST_P(ParallelWorkersPoolTest, ServesSeveralCallersAtOnce)
{
    constexpr int kLoops = 30;
    std::vector<long> sums(4);
    std::vector<std::thread> callers;
    for (long& sum : sums) {
        callers.emplace_back([&] {
            for (int loop = 0; loop < kLoops; ++loop) {
                const auto one = [](int) { return 1L; };
                sum += parallelReduce(0, 3000, 0L, SlowStart(one), std::plus<>(), mOptions).value;
            }
        });
    }
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_THAT(sums, Each(kLoops * 3000));
}

}  // namespace qz::ext
