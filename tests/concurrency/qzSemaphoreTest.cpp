// SPDX-License-Identifier: MIT
#include <qz/qzSemaphore.h>

#include <climits>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "Waiter.h"
#include "io/VirtualSlots.h"
#include "support/LibraryStart.h"

namespace qz {

using support::LibraryStart;
using support::waitUntil;

namespace {

static_assert(sizeof(qzSemaphore) == 40 && !std::is_polymorphic_v<qzSemaphore>);
static_assert(!std::is_copy_constructible_v<qzSemaphore>);
static_assert(!std::is_convertible_v<unsigned, qzSemaphore>);

// The mutex is the first field.
qzMutex& editMutex(qzSemaphore& semaphore)
{
    return reinterpret_cast<qzMutex&>(semaphore);
}

}  // namespace

class qzSemaphoreTest : public ::testing::Test {
protected:
    LibraryStart mLibrary{FullInit};
};

TEST_F(qzSemaphoreTest, StartsWithItsCount)
{
    EXPECT_EQ(qzSemaphore(0).getNoResources(), 0U);
    EXPECT_EQ(qzSemaphore(7).getNoResources(), 7U);
    EXPECT_EQ(qzSemaphore(UINT_MAX).getNoResources(), UINT_MAX);
}

TEST_F(qzSemaphoreTest, CountsWhatIsTakenAndGiven)
{
    qzSemaphore semaphore(5);
    semaphore.acquire(2);
    EXPECT_EQ(semaphore.getNoResources(), 3U);
    semaphore.acquire(3);
    EXPECT_EQ(semaphore.getNoResources(), 0U);
    semaphore.release(10);
    EXPECT_EQ(semaphore.getNoResources(), 10U);
}

TEST_F(qzSemaphoreTest, GivesAllThatFitsIntoItsCount)
{
    qzSemaphore semaphore(UINT_MAX);
    semaphore.acquire(UINT_MAX);
    EXPECT_EQ(semaphore.getNoResources(), 0U);
    semaphore.release(UINT_MAX);
    EXPECT_EQ(semaphore.getNoResources(), UINT_MAX);
}

TEST_F(qzSemaphoreTest, PassesARequestForNothing)
{
    qzSemaphore semaphore(0);
    semaphore.acquire(0);
    EXPECT_EQ(semaphore.getNoResources(), 0U);
}

TEST_F(qzSemaphoreTest, WaitsUntilAllThatIsWantedIsThere)
{
    qzSemaphore semaphore(1);
    const Waiter waiter([&] { semaphore.acquire(3); });
    EXPECT_TRUE(waiter.awaitSleep());
    EXPECT_EQ(semaphore.getNoResources(), 1U) << "it takes nothing in part";
    semaphore.release(1);
    EXPECT_TRUE(waiter.awaitSleep());
    EXPECT_FALSE(waiter.isDone());
    EXPECT_EQ(semaphore.getNoResources(), 2U);
    semaphore.release(1);
    EXPECT_TRUE(waiter.awaitDone());
    EXPECT_EQ(semaphore.getNoResources(), 0U);
}

TEST_F(qzSemaphoreTest, LetsTheOnePassThatRequestsLess)
{
    qzSemaphore semaphore(0);
    const Waiter large([&] { semaphore.acquire(3); });
    EXPECT_TRUE(large.awaitSleep());
    const Waiter small([&] { semaphore.acquire(1); });
    EXPECT_TRUE(small.awaitSleep());
    semaphore.release(1);
    EXPECT_TRUE(small.awaitDone());
    EXPECT_FALSE(large.isDone());
    semaphore.release(3);
    EXPECT_TRUE(large.awaitDone());
}

TEST_F(qzSemaphoreTest, LetsAllPassForWhomThereIsEnough)
{
    qzSemaphore semaphore(0);
    const Waiter first([&] { semaphore.acquire(1); });
    const Waiter second([&] { semaphore.acquire(1); });
    const Waiter third([&] { semaphore.acquire(1); });
    EXPECT_TRUE(first.awaitSleep() && second.awaitSleep() && third.awaitSleep());
    semaphore.release(3);
    EXPECT_TRUE(first.awaitDone() && second.awaitDone() && third.awaitDone());
    EXPECT_EQ(semaphore.getNoResources(), 0U);
}

TEST_F(qzSemaphoreTest, TakesNoLockToGiveNothing)
{
    qzSemaphore semaphore(0);
    editMutex(semaphore).lock();
    const Waiter waiter([&] { semaphore.release(0); });
    EXPECT_TRUE(waiter.awaitDone());
    editMutex(semaphore).unlock();
}

TEST_F(qzSemaphoreTest, TakesNoLockToReportItsCount)
{
    qzSemaphore semaphore(4);
    editMutex(semaphore).lock();
    const Waiter waiter([&] { EXPECT_EQ(semaphore.getNoResources(), 4U); });
    EXPECT_TRUE(waiter.awaitDone());
    editMutex(semaphore).unlock();
}

TEST_F(qzSemaphoreTest, GivesItsMutexBackAfterEachCall)
{
    qzSemaphore semaphore(1);
    semaphore.acquire(1);
    semaphore.release(1);
    std::thread([&] {
        EXPECT_TRUE(editMutex(semaphore).tryLock());
        editMutex(semaphore).unlock();
    }).join();
}

TEST_F(qzSemaphoreTest, HoldsAMutexAConditionAndTheCount)
{
    const qzSemaphore semaphore(0x12345678);
    const qzMutex mutex;
    const qzWaitCondition condition;
    EXPECT_EQ(readField<void*>(&semaphore, 0), readField<void*>(&mutex, 0)) << "virtual table";
    EXPECT_EQ(readField<void*>(&semaphore, 16), readField<void*>(&condition, 0));
    EXPECT_EQ(readField<unsigned>(&semaphore, 32), 0x12345678U);
}

TEST_F(qzSemaphoreTest, NeverGivesMoreThanThereIs)
{
    constexpr unsigned kThreads = 4;
    constexpr int kRounds = 1000;
    constexpr unsigned kResources = 3;
    qzSemaphore semaphore(kResources);
    std::atomic<unsigned> taken = 0;
    std::atomic<unsigned> most = 0;
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, wanted = i % 3 + 1] {
            for (int round = 0; round < kRounds; ++round) {
                semaphore.acquire(wanted);
                const unsigned now = taken += wanted;
                if (now > most) most = now;
                taken -= wanted;
                semaphore.release(wanted);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_LE(most, kResources);
    EXPECT_EQ(semaphore.getNoResources(), kResources);
}

}  // namespace qz
