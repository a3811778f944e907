// SPDX-License-Identifier: MIT
#include <qz/qzMutex.h>

#include <cerrno>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <pthread.h>

#include <gtest/gtest.h>

#include "PlatformCalls.h"
#include "Waiter.h"
#include "io/VirtualSlots.h"
#include "support/LibraryStart.h"

namespace qz {

using support::LibraryStart;

namespace {

// Programs that were built against an earlier release hold these objects by value.
static_assert(sizeof(qzMutex) == 16 && sizeof(qzMutex2) == 16);
static_assert(std::has_virtual_destructor_v<qzMutex> && std::has_virtual_destructor_v<qzMutex2>);
static_assert(!std::is_base_of_v<qzMutex, qzMutex2> && !std::is_base_of_v<qzMutex2, qzMutex>);
static_assert(!std::is_convertible_v<qzMutex2&, qzMutex&>);
static_assert(!std::is_constructible_v<qzMutexLocker, qzMutex2&, bool>);
static_assert(!std::is_copy_constructible_v<qzMutex> && !std::is_copy_constructible_v<qzMutex2>);
static_assert(sizeof(qzMutexLocker) == 16 && !std::is_polymorphic_v<qzMutexLocker>);
static_assert(std::is_nothrow_destructible_v<qzMutex> && std::is_nothrow_destructible_v<qzMutex2> &&
              std::is_nothrow_destructible_v<qzMutexLocker>);

constexpr int kDeletingDestructor = 1;

bool tryLock(qzMutex& mutex)
{
    return mutex.tryLock();
}

bool tryLock(qzMutex2& mutex)
{
    return mutex.tryLock(0);
}

// Whether another thread gets the mutex; it gives it back.
template <typename Mutex>
bool isFree(Mutex& mutex)
{
    bool result = false;
    std::thread([&] {
        result = tryLock(mutex);
        if (result) mutex.unlock();
    }).join();
    return result;
}

}  // namespace

template <typename Mutex>
class BothMutexes : public ::testing::Test {
protected:
    LibraryStart mLibrary{FullInit};
};

using MutexTypes = ::testing::Types<qzMutex, qzMutex2>;
TYPED_TEST_SUITE(BothMutexes, MutexTypes);

TYPED_TEST(BothMutexes, AreFreeAtFirst)
{
    TypeParam mutex;
    EXPECT_TRUE(isFree(mutex));
}

TYPED_TEST(BothMutexes, KeepOtherThreadsOutWhileLocked)
{
    TypeParam mutex;
    mutex.lock();
    EXPECT_FALSE(isFree(mutex));
    mutex.unlock();
    EXPECT_TRUE(isFree(mutex));
}

TYPED_TEST(BothMutexes, AreReleasedAsOftenAsTheyWereTaken)
{
    TypeParam mutex;
    mutex.lock();
    mutex.lock();
    EXPECT_TRUE(tryLock(mutex));
    mutex.unlock();
    mutex.unlock();
    EXPECT_FALSE(isFree(mutex));
    mutex.unlock();
    EXPECT_TRUE(isFree(mutex));
}

TYPED_TEST(BothMutexes, AreHeldAfterATryThatSucceeded)
{
    TypeParam mutex;
    ASSERT_TRUE(tryLock(mutex));
    EXPECT_FALSE(isFree(mutex));
    mutex.unlock();
}

TYPED_TEST(BothMutexes, LetAWaitingThreadInAtTheUnlock)
{
    TypeParam mutex;
    mutex.lock();
    const Waiter waiter([&] {
        mutex.lock();
        mutex.unlock();
    });
    EXPECT_TRUE(waiter.awaitSleep());
    EXPECT_FALSE(waiter.isDone());
    mutex.unlock();
    EXPECT_TRUE(waiter.awaitDone());
}

TYPED_TEST(BothMutexes, GuardPlainData)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 5000;
    TypeParam mutex;
    long count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                mutex.lock();
                ++count;
                mutex.unlock();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(count, kThreads * kRounds);
}

TYPED_TEST(BothMutexes, BeginTheirVirtualFunctionsWithTheDestructor)
{
    EXPECT_TRUE(isEndedBySlot<TypeParam>(kDeletingDestructor));
}

class qzMutexTest : public ::testing::Test {
protected:
    LibraryStart mLibrary{FullInit};
};

TEST_F(qzMutexTest, ShowsThePlatformsMutex)
{
    qzMutex mutex;
    auto* const platformMutex = static_cast<pthread_mutex_t*>(mutex.getMutexData());
    mutex.lock();
    std::thread([&] { EXPECT_EQ(::pthread_mutex_trylock(platformMutex), EBUSY); }).join();
    mutex.unlock();
    ASSERT_EQ(::pthread_mutex_lock(platformMutex), 0);
    EXPECT_FALSE(isFree(mutex));
    EXPECT_EQ(::pthread_mutex_unlock(platformMutex), 0);
}

TEST_F(qzMutexTest, HoldsItsRecordByItsOneField)
{
    const qzMutex mutex;
    EXPECT_EQ(readField<void*>(&mutex, 8), mutex.getMutexData()) << "the mutex begins the record";
    const auto* const attributes = reinterpret_cast<const pthread_mutexattr_t*>(
        static_cast<const pthread_mutex_t*>(mutex.getMutexData()) + 1);
    int type = -1;
    EXPECT_EQ(::pthread_mutexattr_gettype(attributes, &type), 0);
    EXPECT_EQ(type, PTHREAD_MUTEX_RECURSIVE);
}

// --- A try with a timeout

TEST_F(qzMutexTest, GivesAHeldMutexUpAtOnceWhateverTheTimeout)
{
    qzMutex2 mutex;
    mutex.lock();
    for (const unsigned timeoutMs : {0U, 1U, 5000U, 0xFFFFFFFFU}) {
        const Waiter waiter(
            [&, timeoutMs] { EXPECT_FALSE(mutex.tryLock(timeoutMs)) << timeoutMs; });
        EXPECT_TRUE(waiter.awaitDone());
    }
    mutex.unlock();
}

TEST_F(qzMutexTest, TakesAFreeMutexWhateverTheTimeout)
{
    qzMutex2 mutex;
    for (const unsigned timeoutMs : {0U, 1U, 5000U, 0xFFFFFFFFU}) {
        EXPECT_TRUE(mutex.tryLock(timeoutMs)) << timeoutMs;
        EXPECT_TRUE(mutex.tryLock(timeoutMs)) << "by the thread that has it: " << timeoutMs;
        EXPECT_FALSE(isFree(mutex));
        mutex.unlock();
        mutex.unlock();
        EXPECT_TRUE(isFree(mutex));
    }
}

class qzMutex2Calls : public ::testing::TestWithParam<PlatformCallsRow> {};

TEST_P(qzMutex2Calls, AreThoseOfItsRow)
{
    EXPECT_EQ(getPlatformCalls(GetParam().step), GetParam().calls);
}

const PlatformCallsRow kTries[] = {
    {"WithoutATime", {"try-lock", "0", "0"}, "trylock\ntrue\n"},
    {"WithoutATimeInVain", {"try-lock", "0", std::to_string(EBUSY)}, "trylock\nfalse\n"},
    {"OneMillisecond", {"try-lock", "1", "0"}, "timedlock 0 1000000\ntrue\n"},
    {"InVain", {"try-lock", "999", std::to_string(ETIMEDOUT)}, "timedlock 0 999000000\nfalse\n"},
    {"AnyOtherError", {"try-lock", "1000", std::to_string(EINVAL)}, "timedlock 1 0\nfalse\n"},
    {"FiveSeconds", {"try-lock", "5001", "0"}, "timedlock 5 1000000\ntrue\n"},
    {"Longest", {"try-lock", "4294967295", "0"}, "timedlock 4294967 295000000\ntrue\n"},
};

INSTANTIATE_TEST_SUITE_P(Rows, qzMutex2Calls, ::testing::ValuesIn(kTries),
                         [](const auto& row) { return std::string(row.param.name); });

// --- The locker

class qzMutexLockerTest : public ::testing::Test {
protected:
    LibraryStart mLibrary{FullInit};
    qzMutex mMutex;
};

TEST_F(qzMutexLockerTest, LocksForItsScope)
{
    {
        qzMutexLocker locker(mMutex, true);
        EXPECT_TRUE(locker.isLocked());
        EXPECT_FALSE(isFree(mMutex));
    }
    EXPECT_TRUE(isFree(mMutex));
}

TEST_F(qzMutexLockerTest, LocksAtOnceUnlessToldOtherwise)
{
    qzMutexLocker locker(mMutex);
    EXPECT_TRUE(locker.isLocked());
    EXPECT_FALSE(isFree(mMutex));
}

TEST_F(qzMutexLockerTest, LeavesTheMutexAloneUntilToldToLock)
{
    qzMutexLocker locker(mMutex, false);
    EXPECT_FALSE(locker.isLocked());
    EXPECT_TRUE(isFree(mMutex));
    locker.lock();
    EXPECT_TRUE(locker.isLocked());
    EXPECT_FALSE(isFree(mMutex));
}

TEST_F(qzMutexLockerTest, UnlocksNothingThatItHasNotLocked)
{
    mMutex.lock();
    {
        qzMutexLocker locker(mMutex, false);
        locker.unlock();
        EXPECT_FALSE(locker.isLocked());
        EXPECT_FALSE(isFree(mMutex));
    }
    EXPECT_FALSE(isFree(mMutex));
    mMutex.unlock();
}

TEST_F(qzMutexLockerTest, LocksOnceHoweverOftenItIsTold)
{
    qzMutexLocker locker(mMutex, false);
    locker.lock();
    locker.lock();
    locker.unlock();
    EXPECT_FALSE(locker.isLocked());
    EXPECT_TRUE(isFree(mMutex));
}

TEST_F(qzMutexLockerTest, UnlocksOnceHoweverOftenItIsTold)
{
    mMutex.lock();
    qzMutexLocker locker(mMutex, true);
    locker.unlock();
    locker.unlock();
    EXPECT_FALSE(isFree(mMutex)) << "the lock outside of the locker";
    locker.lock();
    mMutex.unlock();
    EXPECT_FALSE(isFree(mMutex));
}

TEST_F(qzMutexLockerTest, HoldsTheMutexAndWhetherItIsLocked)
{
    qzMutexLocker locker(mMutex, false);
    EXPECT_EQ(readField<qzMutex*>(&locker, 0), &mMutex);
    EXPECT_FALSE(readField<bool>(&locker, 8));
    locker.lock();
    EXPECT_TRUE(readField<bool>(&locker, 8));
}

}  // namespace qz
