// SPDX-License-Identifier: MIT
#include <qz/ext/Parallel.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

#include <pthread.h>

#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzProgressNotifier.h>

#include "ParallelFixture.h"
#include "support/Allocations.h"
#include "support/CancelledThread.h"
#include "support/ChildProcess.h"
#include "support/Waiting.h"

namespace qz::ext {

using support::waitUntil;

namespace {

class ParallelStopTest : public ParallelFixture {};

// Rules that hold on a pool of any size.
class ParallelStopPoolTest : public ParallelPoolFixture {};

class CountedObject {
public:
    explicit CountedObject(std::atomic<int>& count) : mCount(count) { ++mCount; }
    ~CountedObject() { --mCount; }
    CountedObject(const CountedObject&) = delete;
    CountedObject& operator=(const CountedObject&) = delete;

private:
    std::atomic<int>& mCount;
};

// Runs 1024 pieces on one thread. Returns how many are done when the body has made the request.
template <typename Body>
std::size_t countUntilStop(const Body& body)
{
    ConcurrentPool pool(1);
    Request request;
    ParallelOptions options = withPool(pool);
    options.cancel = &request;
    const auto call = [&](std::size_t i) { body(i, request); };
    return parallelFor(0, std::size_t{1024}, call, options).doneCount;
}

INSTANTIATE_TEST_SUITE_P(Workers, ParallelStopPoolTest, ::testing::Values(1U, 2U, 8U));

}  // namespace

// --- Exceptions ------------------------------------------------------------------------------

TEST_P(ParallelStopPoolTest, PassesAnExceptionOnAndStaysUsable)
{
    const auto failAt2000 = [](int i) {
        if (i == 2000) throw std::runtime_error("number 2000");
    };
    for (int repetition = 0; repetition < 50; ++repetition) {
        try {
            parallelFor(0, 5000, SlowStart(failAt2000), mOptions);
            FAIL() << "no exception";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "number 2000");
        }
    }
    EXPECT_EQ(listInParallel(0, 5000, mOptions), listInALoop(0, 5000));
}

TEST_P(ParallelStopPoolTest, PassesTheExceptionOfTheFirstElementThatThrew)
{
    const auto failOften = [](int i) {
        if (i > 100 && i % 3 == 0) throw i;
    };
    for (int repetition = 0; repetition < 50; ++repetition) {
        try {
            parallelFor(0, 1000, SlowStart(failOften), mOptions);
            FAIL() << "no exception";
        } catch (const int number) {
            EXPECT_EQ(number, 102);
        }
    }
}

TEST_F(ParallelStopTest, PassesOneOfTheExceptionsThatSeveralWorkersThrowAtOnce)
{
    ConcurrentPool pool(8);
    Meeting meeting(8);
    const auto failTogether = [&](int i) {
        meeting.attend();
        throw i;
    };
    try {
        parallelFor(0, 200, failTogether, withPool(pool));
        FAIL() << "no exception";
    } catch (const int number) {
        EXPECT_EQ(number, 0);
    }
    EXPECT_EQ(listInParallel(0, 1000, withPool(pool)), listInALoop(0, 1000));
}

TEST_F(ParallelStopTest, PassesTheExceptionOfTheFirstElementAlsoIfALaterOneThrowsLast)
{
    ConcurrentPool pool(2);
    for (int repetition = 0; repetition < 5; ++repetition) {
        Meeting meeting(2);
        const auto failInOrder = [&](int i) {
            meeting.attend();
            if (i == 1) std::this_thread::sleep_for(std::chrono::milliseconds(20));
            throw i;
        };
        try {
            parallelFor(0, 2, failInOrder, withPool(pool));
            FAIL() << "no exception";
        } catch (const int number) {
            EXPECT_EQ(number, 0);
        }
    }
}

TEST_F(ParallelStopTest, TakesNoFurtherPieceAfterAnException)
{
    // The other worker would need half a minute for all of its pieces.
    ConcurrentPool pool(2);
    std::atomic<bool> hasFailed = false;
    std::atomic<int> calls = 0;
    const auto failAtOne = [&](int i) {
        ++calls;
        if (i == 0) return;
        if (i == 1) {
            hasFailed = true;
            throw std::runtime_error("number 1");
        }
        EXPECT_TRUE(waitUntil([&] { return hasFailed.load(); }));
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    };
    EXPECT_THROW(parallelFor(0, 1024, SlowStart(failAtOne), withPool(pool)), std::runtime_error);
    EXPECT_LT(calls, 1024);

    ConcurrentPool single(1);
    calls = 0;
    EXPECT_THROW(parallelFor(0, 1024, failAtOne, withPool(single)), std::runtime_error);
    EXPECT_EQ(calls, 2);
}

TEST_P(ParallelStopPoolTest, PassesTheExceptionsOfEachFunctionOfAReduction)
{
    const auto one = [](int) { return 1; };
    const auto failingMap = [](int i) { return i < 4000 ? 1 : throw std::out_of_range("map"); };
    const auto failingCombine = [](int left, int right) {
        return left + right < 4000 ? left + right : throw std::overflow_error("combine");
    };
    EXPECT_THROW(parallelReduce(0, 5000, 0, SlowStart(failingMap), std::plus<>(), mOptions),
                 std::out_of_range);
    EXPECT_THROW(parallelReduce(0, 5000, 0, SlowStart(one), failingCombine, mOptions),
                 std::overflow_error);
    EXPECT_EQ(parallelReduce(0, 5000, 0, one, std::plus<>(), mOptions).value, 5000);
}

TEST_P(ParallelStopPoolTest, SurvivesEachFailedAllocationOfALoopInsideALoop)
{
    std::atomic<int> objects = 0;  // that exist
    std::size_t failures = 0;
    const auto useMemory = [&](int i) {
        const CountedObject object(objects);
        EXPECT_EQ(std::vector<int>(100, i).back(), i);
    };
    const auto walkAllocations = [&] {
        qzProgressNotifierBase progress;
        ParallelOptions options = mOptions;
        options.notifier = &progress;
        parallelFor(0, 50, useMemory, options);
    };
    const auto checkFailure = [&](const support::AllocationFailure& failure) {
        EXPECT_TRUE(failure.threwBadAlloc);
        EXPECT_EQ(objects, 0);
    };
    parallelFor(
        0, 60,
        [&](int i) {
            if (i == 0) failures = support::failEachAllocation(walkAllocations, checkFailure);
        },
        mOptions);
    EXPECT_GE(failures, 50U);
    EXPECT_EQ(listInParallel(0, 5000, mOptions), listInALoop(0, 5000));
}

TEST_P(ParallelStopPoolTest, StaysUsableWhenAllWorkersAreOutOfMemory)
{
    const auto failToAllocate = [](int i) {
        const support::AllocationFault fault(1);
        EXPECT_EQ(std::vector<int>(100, i).back(), i);
    };
    for (int repetition = 0; repetition < 20; ++repetition)
        EXPECT_THROW(parallelFor(0, 60, failToAllocate, mOptions), std::bad_alloc);
    EXPECT_EQ(listInParallel(0, 5000, mOptions), listInALoop(0, 5000));
}

TEST_F(ParallelStopTest, PassesAnExceptionOfTheRequestToStop)
{
    class FailingRequest : public qzCancelInterfaceReadOnly {
    public:
        bool shouldCancel() const override { throw std::runtime_error("no connection"); }
    };
    const FailingRequest request;
    ConcurrentPool pool(2);
    ParallelOptions options = withPool(pool);
    options.cancel = &request;
    for (const int count : {10, 100}) {  // on the workers, and on the caller
        EXPECT_THROW(parallelFor(
                         0, count, [](int) {}, options),
                     std::runtime_error);
    }
}

// --- Requests to stop ------------------------------------------------------------------------

TEST_P(ParallelStopPoolTest, DoesNothingAfterARequestToStop)
{
    Request request;
    request.cancel();
    mOptions.cancel = &request;
    std::atomic<int> calls = 0;
    const ParallelResult result = parallelFor(
        0, 5000, [&](int) { ++calls; }, mOptions);
    EXPECT_FALSE(result);
    EXPECT_EQ(result.doneCount, 0U);
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(parallelFor(
        0, 0, [](int) {}, mOptions))
        << "there was nothing to do";
}

TEST_P(ParallelStopPoolTest, ReportsHowFarItCameWhenItWasStopped)
{
    for (const std::size_t last : {0U, 1U, 700U, 4998U}) {
        Request request;
        mOptions.cancel = &request;
        Calls<std::size_t> calls;
        const ParallelResult result =
            parallelFor(0, std::size_t{5000}, SlowStart([&](std::size_t i) {
                            calls.add(i);
                            if (i == last) request.cancel();
                        }),
                        mOptions);
        EXPECT_EQ(result.isComplete, result.doneCount == 5000);
        EXPECT_GT(result.doneCount, last);
        EXPECT_EQ(calls.take(), countTo(result.doneCount)) << "no gap, and nothing after it";
    }
    mOptions.cancel = nullptr;
    EXPECT_EQ(listInParallel(0, 5000, mOptions), listInALoop(0, 5000));
}

TEST_F(ParallelStopTest, StopsAfterThePieceThatRuns)
{
    ConcurrentPool pool(1);
    Request request;
    ParallelOptions options = withPool(pool);
    options.cancel = &request;
    options.leastPiece = 10;
    const ParallelResult result = parallelFor(
        0, 100,
        [&](int i) {
            if (i == 23) request.cancel();
        },
        options);
    EXPECT_FALSE(result);
    EXPECT_EQ(result.doneCount, 30U);
}

TEST_F(ParallelStopTest, TakesFewPiecesAtOnce)
{
    const std::size_t count = countUntilStop([](std::size_t i, Request& request) {
        if (i == 300) request.cancel();
    });
    EXPECT_GT(count, 300U);
    EXPECT_LE(count, 316U);
}

TEST_F(ParallelStopTest, TakesLongPiecesOneByOne)
{
    const std::size_t count = countUntilStop([](std::size_t i, Request& request) {
        if (i >= 500) std::this_thread::sleep_for(std::chrono::microseconds(200));
        if (i == 600) request.cancel();
    });
    EXPECT_EQ(count, 601U);
}

TEST_F(ParallelStopTest, StopsBeforeItsEndOnSeveralWorkers)
{
    // All would take half a minute.
    ConcurrentPool pool(2);
    Request request;
    ParallelOptions options = withPool(pool);
    options.cancel = &request;
    const ParallelResult result = parallelFor(
        0, 1024,
        [&](int i) {
            if (i != 0) request.cancel();
            std::this_thread::sleep_for(std::chrono::milliseconds(60));
        },
        options);
    EXPECT_FALSE(result);
    EXPECT_LT(result.doneCount, 1024U);
}

TEST_P(ParallelStopPoolTest, IsCompleteWhenTheRequestComesWithTheLastElement)
{
    Request request;
    mOptions.cancel = &request;
    mOptions.leastPiece = 1000;
    const ParallelResult result = parallelFor(
        0, 1000,
        [&](int i) {
            if (i == 999) request.cancel();
        },
        mOptions);
    EXPECT_TRUE(result);
    EXPECT_EQ(result.doneCount, 1000U);
}

TEST_F(ParallelStopTest, KeepsToARequestThatWasWithdrawn)
{
    // True once. All elements would take half a minute.
    class ShortRequest : public qzCancelInterfaceReadOnly {
    public:
        bool shouldCancel() const override { return ++mPolls == 3; }

    private:
        mutable std::atomic<int> mPolls = 0;
    };
    const ShortRequest request;
    ConcurrentPool pool(2);
    ParallelOptions options = withPool(pool);
    options.cancel = &request;
    const ParallelResult result = parallelFor(
        0, 1024, [](int) { std::this_thread::sleep_for(std::chrono::milliseconds(30)); }, options);
    EXPECT_FALSE(result);
    EXPECT_LT(result.doneCount, 1024U);
}

TEST_P(ParallelStopPoolTest, ReducesWhatWasDoneBeforeTheRequestToStop)
{
    Request request;
    mOptions.cancel = &request;
    const auto sum = parallelReduce(0, 5000, 1000L, SlowStart([&](int i) {
                                        if (i == 700) request.cancel();
                                        return long{i};
                                    }),
                                    std::plus<>(), mOptions);
    const auto done = static_cast<long>(sum.doneCount);
    EXPECT_GT(done, 700);
    EXPECT_EQ(sum.value, 1000 + done * (done - 1) / 2);
}

TEST_P(ParallelStopPoolTest, DefersACancellationOfTheCallersThread)
{
    const support::ChildResult child = support::runInChild([] {
        ConcurrentPool pool(GetParam());
        std::atomic<int> calls = 0;
        const bool isCancelled = support::endsByCancellation([&] {
            parallelFor(0, 2000, SlowStart([&](int) {
                            ::pthread_testcancel();
                            ++calls;
                        }),
                        withPool(pool));
            ::pthread_testcancel();
        });
        return isCancelled && calls == 2000 ? 42 : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 42") << child.err;
}

}  // namespace qz::ext
