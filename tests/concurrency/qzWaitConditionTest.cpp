// SPDX-License-Identifier: MIT
#include <qz/qzWaitCondition.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

#include <time.h>

#include <gtest/gtest.h>

#include <qz/qzMutex.h>

#include "PlatformCalls.h"
#include "Waiter.h"
#include "io/VirtualSlots.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/OutputCapture.h"

namespace qz {

using support::LibraryStart;
using support::waitUntil;

namespace {

static_assert(sizeof(qzWaitCondition) == 16 && std::has_virtual_destructor_v<qzWaitCondition>);
static_assert(!std::is_copy_constructible_v<qzWaitCondition>);
static_assert(std::is_nothrow_destructible_v<qzWaitCondition>);
static_assert(qzWaitCondition::msNoLimit == static_cast<unsigned long>(-1));

constexpr int kDeletingDestructor = 1;

std::chrono::nanoseconds readWallClock()
{
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace

class qzWaitConditionTest : public ::testing::Test {
protected:
    // Waits, as everybody should, until what is waited for has come.
    void awaitChange()
    {
        const qzMutexLocker locker(mMutex);
        ++mWaiting;
        while (mChanges == 0)
            EXPECT_TRUE(mCondition.wait(&mMutex, qzWaitCondition::msNoLimit));
        --mChanges;
        --mWaiting;
    }
    // A thread that has counted itself gives the mutex back only when it waits.
    bool awaitWaiting(int count)
    {
        return waitUntil([&] {
            const qzMutexLocker locker(mMutex);
            return mWaiting == count;
        });
    }
    void change(int count)
    {
        const qzMutexLocker locker(mMutex);
        mChanges += count;
    }

    LibraryStart mLibrary{FullInit};
    qzMutex mMutex;
    qzWaitCondition mCondition;
    int mWaiting = 0;  // guarded by mMutex
    int mChanges = 0;  // guarded by mMutex
};

TEST_F(qzWaitConditionTest, WakesAll)
{
    const Waiter first([this] { awaitChange(); });
    const Waiter second([this] { awaitChange(); });
    const Waiter third([this] { awaitChange(); });
    ASSERT_TRUE(awaitWaiting(3));
    change(3);
    mCondition.wakeAll();
    EXPECT_TRUE(awaitWaiting(0));
}

TEST_F(qzWaitConditionTest, WakesOneEachTime)
{
    const Waiter first([this] { awaitChange(); });
    const Waiter second([this] { awaitChange(); });
    ASSERT_TRUE(awaitWaiting(2));
    change(1);
    mCondition.wakeOne();
    EXPECT_TRUE(awaitWaiting(1));
    change(1);
    mCondition.wakeOne();
    EXPECT_TRUE(awaitWaiting(0));
}

TEST_F(qzWaitConditionTest, GivesTheMutexBackWhileItWaitsAndTakesItAgain)
{
    const Waiter waiter([this] {
        const qzMutexLocker locker(mMutex);
        ++mWaiting;
        while (mChanges == 0)
            mCondition.wait(&mMutex, qzWaitCondition::msNoLimit);
        // Only the holder can give it back.
        mMutex.unlock();
        mMutex.lock();
        --mWaiting;
    });
    ASSERT_TRUE(awaitWaiting(1));
    {
        const qzMutexLocker locker(mMutex);
        mChanges = 1;
        mCondition.wakeAll();
        EXPECT_EQ(mWaiting, 1) << "the mutex is held here";
    }
    EXPECT_TRUE(waiter.awaitDone());
}

TEST_F(qzWaitConditionTest, GivesOneOfSeveralLevelsBack)
{
    const qzMutexLocker locker(mMutex);
    mMutex.lock();
    EXPECT_FALSE(mCondition.wait(&mMutex, 1));
    mMutex.unlock();
    std::thread([this] { EXPECT_FALSE(mMutex.tryLock()); }).join();
}

TEST_F(qzWaitConditionTest, EndsAtOnceWithATimeOfNothing)
{
    const qzMutexLocker locker(mMutex);
    EXPECT_FALSE(mCondition.wait(&mMutex, 0));
    std::thread([this] { EXPECT_FALSE(mMutex.tryLock()) << "the wait took it again"; }).join();
}

TEST_F(qzWaitConditionTest, WaitsUntilTheTimeIsOver)
{
    const qzMutexLocker locker(mMutex);
    const auto begin = readWallClock();
    while (mCondition.wait(&mMutex, 30)) {
        // without a reason; then the time begins anew
    }
    EXPECT_GE(readWallClock() - begin, std::chrono::milliseconds(30));
}

TEST_F(qzWaitConditionTest, AnswersWithTrueWhenWokenBeforeItsTime)
{
    const Waiter waiter([this] {
        const qzMutexLocker locker(mMutex);
        ++mWaiting;
        while (mChanges == 0)
            EXPECT_TRUE(mCondition.wait(&mMutex, 3'600'000));
    });
    ASSERT_TRUE(awaitWaiting(1));
    change(1);
    mCondition.wakeOne();
    EXPECT_TRUE(waiter.awaitDone());
}

TEST_F(qzWaitConditionTest, LosesAWakeThatNobodyWaitsFor)
{
    mCondition.wakeAll();
    mCondition.wakeOne();
    const qzMutexLocker locker(mMutex);
    EXPECT_FALSE(mCondition.wait(&mMutex, 1));
}

TEST_F(qzWaitConditionTest, HasNothingToChoose)
{
    qzWaitCondition::FindBestImplementation();
    const qzMutexLocker locker(mMutex);
    EXPECT_FALSE(mCondition.wait(&mMutex, 0));
}

TEST_F(qzWaitConditionTest, BeginsItsVirtualFunctionsWithTheDestructor)
{
    EXPECT_TRUE(isEndedBySlot<qzWaitCondition>(kDeletingDestructor));
}

// --- In a forked child

struct ForkRow {
    const char* name;
    std::optional<InitType> start;  // of the parent
    bool restarts;                  // in the child
};

class qzWaitConditionFork : public ::testing::TestWithParam<ForkRow> {};

// The C library waits for the threads of the parent otherwise, which don't exist in the child.
TEST_P(qzWaitConditionFork, IsDestroyedInAChildThoughAThreadOfTheParentWaits)
{
    const support::StdoutCapture reports;
    const support::StderrCapture copies;  // of these reports
    std::optional<LibraryStart> library;
    if (GetParam().start) library.emplace(*GetParam().start);
    qzMutex mutex;
    auto condition = std::make_unique<qzWaitCondition>();
    bool isWaiting = false;  // guarded by the mutex
    bool mayEnd = false;     // guarded by the mutex
    const Waiter waiter([&] {
        const qzMutexLocker locker(mutex);
        isWaiting = true;
        while (!mayEnd)
            condition->wait(&mutex, qzWaitCondition::msNoLimit);
    });
    EXPECT_TRUE(waitUntil([&] {
        const qzMutexLocker locker(mutex);
        return isWaiting;
    }));
    const support::ChildResult result = support::runInChild(
        [&] {
            if (GetParam().restarts) {
                terminateQzSystem();
                initializeQzSystem(FullInit);
            }
            condition.reset();
            return 42;
        },
        {}, /*timeoutSec=*/60);
    EXPECT_EQ(result.getEnd(), "exit 42");
    const qzMutexLocker locker(mutex);
    mayEnd = true;
    condition->wakeAll();
}

INSTANTIATE_TEST_SUITE_P(Rows, qzWaitConditionFork,
                         ::testing::Values(ForkRow{"OfAnUnstartedProcess", std::nullopt, false},
                                           ForkRow{"OfALightlyStartedProcess", LightInit, false},
                                           ForkRow{"OfAFullyStartedProcess", FullInit, false},
                                           ForkRow{"ThatStartsAnew", FullInit, true}),
                         [](const auto& row) { return std::string(row.param.name); });

// --- What it asks of the system

class qzWaitConditionCalls : public ::testing::TestWithParam<PlatformCallsRow> {};

TEST_P(qzWaitConditionCalls, AreThoseOfItsRow)
{
    EXPECT_EQ(getPlatformCalls(GetParam().step), GetParam().calls);
}

const std::string kTimeout = std::to_string(ETIMEDOUT);
const std::string kNotPermitted = std::to_string(EPERM);

const PlatformCallsRow kWaits[] = {
    {"Nothing", {"wait", "100", "5", "0", kTimeout}, "wait until 100 5\nfalse\n"},
    {"OneMillisecond", {"wait", "100", "5", "1", kTimeout}, "wait until 100 1000005\nfalse\n"},
    {"Seconds", {"wait", "100", "5", "2000", kTimeout}, "wait until 102 5\nfalse\n"},
    {"Both", {"wait", "100", "5", "2999", kTimeout}, "wait until 102 999000005\nfalse\n"},
    {"JustNoCarry",
     {"wait", "100", "998999999", "1001", kTimeout},
     "wait until 101 999999999\nfalse\n"},
    {"JustACarry", {"wait", "100", "999000000", "1001", kTimeout}, "wait until 102 0\nfalse\n"},
    {"LargestCarry",
     {"wait", "100", "999999999", "999", kTimeout},
     "wait until 101 998999999\nfalse\n"},
    // The seconds are held in 32 bits with a sign.
    {"LargestSeconds",
     {"wait", "100", "0", "2147483647999", kTimeout},
     "wait until 2147483747 999000000\nfalse\n"},
    {"SecondsBeyond",
     {"wait", "100", "0", "2147483648000", kTimeout},
     "wait until -2147483548 0\nfalse\n"},
    {"LargestLimit",
     {"wait", "100", "0", "18446744073709551614", kTimeout},
     "wait until 1271310419 614000000\nfalse\n"},
    {"NoLimit", {"wait", "100", "0", "18446744073709551615", "0"}, "wait without limit\ntrue\n"},
    {"NoLimitAndAnError",
     {"wait", "100", "0", "18446744073709551615", kNotPermitted},
     "wait without limit\ntrue\n"},
    {"Woken", {"wait", "100", "0", "1", "0"}, "wait until 100 1000000\ntrue\n"},
    {"AnyOtherError", {"wait", "100", "0", "1", kNotPermitted}, "wait until 100 1000000\ntrue\n"},
    {"NoClock", {"wait-without-clock", "1"}, "false\n"},
    {"NoClockAndNoLimit",
     {"wait-without-clock", "18446744073709551615"},
     "wait without limit\ntrue\n"},
    {"Wakes", {"wake"}, "broadcast\nsignal\n"},
};

INSTANTIATE_TEST_SUITE_P(Rows, qzWaitConditionCalls, ::testing::ValuesIn(kWaits),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace qz
