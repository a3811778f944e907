// SPDX-License-Identifier: MIT
#include "support/Allocations.h"

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace qz::support {

namespace {

// Compilers may leave out an allocation whose block nobody sees.
void* volatile gSink = nullptr;

void allocate(std::size_t sizeBytes)
{
    const std::unique_ptr<char[]> block(new char[sizeBytes]);
    gSink = block.get();
}

}  // namespace

TEST(AllocationCounterTest, CountsCallsAndBytesOfNew)
{
    const AllocationCounter counter;
    allocate(100);
    allocate(23);
    EXPECT_EQ(counter.getCount(), 2U);
    EXPECT_EQ(counter.getBytes(), 123U);
}

TEST(AllocationCounterTest, CountsWhatTheSharedLibrariesAllocate)
{
    const std::string text(1000, 'x');
    const AllocationCounter counter;
    const std::string copy(text);
    gSink = const_cast<char*>(copy.data());
    EXPECT_EQ(counter.getCount(), 1U);
}

TEST(AllocationCounterTest, CountsMallocWhereItCan)
{
    const AllocationCounter counter;
    gSink = std::malloc(10);
    std::free(gSink);
    gSink = std::calloc(2, 10);
    gSink = std::realloc(gSink, 40);
    std::free(gSink);
    EXPECT_EQ(counter.getCount(), kSeesMalloc ? 3U : 0U);
    EXPECT_EQ(counter.getBytes(), kSeesMalloc ? 70U : 0U);
}

TEST(AllocationCounterTest, CountsItsOwnThreadOnly)
{
    const AllocationCounter counter;
    std::size_t countOfThread = 0;
    std::thread other([&countOfThread] {
        const AllocationCounter own;
        for (int i = 0; i < 100; ++i)
            allocate(10);
        countOfThread = own.getCount();
    });
    other.join();
    EXPECT_EQ(countOfThread, 100U);
    EXPECT_LT(counter.getCount(), 20U) << "more than the thread object itself";
}

TEST(AllocationFaultTest, StrikesOnce)
{
    const AllocationFault second(2);
    EXPECT_NO_THROW(allocate(1));
    EXPECT_FALSE(second.hasStruck());
    EXPECT_THROW(allocate(1), std::bad_alloc);
    EXPECT_TRUE(second.hasStruck());
    EXPECT_NO_THROW(allocate(1));
}

TEST(AllocationFaultTest, SparesOtherThreads)
{
    std::atomic<bool> isArmed = false;
    std::thread other([&isArmed] {
        while (!isArmed)
            std::this_thread::yield();
        allocate(1);
    });
    const AllocationFault first(1);
    isArmed = true;
    other.join();
    EXPECT_FALSE(first.hasStruck());
    EXPECT_THROW(allocate(1), std::bad_alloc);
}

TEST(AllocationFaultTest, EndsWithItsScope)
{
    {
        const AllocationFault first(1);
    }
    EXPECT_NO_THROW(allocate(1));
}

TEST(AllocationFaultTest, GivesNullToThoseWhoDoNotThrow)
{
    const AllocationFault first(1);
    gSink = new (std::nothrow) char[10];
    EXPECT_EQ(gSink, nullptr);
}

TEST(AllocationPauseTest, HidesAllocationsFromCountsAndFailures)
{
    const AllocationCounter counter;
    const AllocationFault first(1);
    {
        const AllocationPause outer;
        {
            const AllocationPause inner;
        }
        EXPECT_NO_THROW(allocate(1));
    }
    EXPECT_EQ(counter.getCount(), 0U);
    EXPECT_THROW(allocate(1), std::bad_alloc);
}

TEST(FailEachAllocationTest, WalksThroughAllOfThem)
{
    std::vector<std::size_t> completed(4, 0);
    std::vector<std::size_t> failed;
    const std::size_t count = failEachAllocation(
        [&completed] {
            ++completed[0];
            allocate(10);
            ++completed[1];
            allocate(10);
            ++completed[2];
            allocate(10);
            ++completed[3];
        },
        [&failed](const AllocationFailure& failure) {
            EXPECT_TRUE(failure.threwBadAlloc);
            failed.push_back(failure.number);
        });
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(completed, (std::vector<std::size_t>{4, 3, 2, 1}));
    EXPECT_EQ(failed, (std::vector<std::size_t>{1, 2, 3}));
}

TEST(FailEachAllocationTest, TellsAWorkThatCopesFromOneThatThrows)
{
    std::vector<bool> threw;
    threw.reserve(2);
    const auto work = [] {
        gSink = new (std::nothrow) char;
        delete static_cast<char*>(gSink);
        allocate(1);
    };
    failEachAllocation(work, [&threw](const AllocationFailure& failure) {
        threw.push_back(failure.threwBadAlloc);
    });
    EXPECT_EQ(threw, (std::vector<bool>{false, true}));
}

TEST(FailEachAllocationTest, PassesOtherExceptionsOn)
{
    const auto work = [] {
        allocate(1);
        throw std::runtime_error("its own");
    };
    EXPECT_THROW(failEachAllocation(work), std::runtime_error);
    EXPECT_THROW(failEachAllocation([] { throw std::bad_alloc(); }), std::logic_error);
}

TEST(FailEachAllocationTest, NeedsNoFailureForAWorkWithoutAllocations)
{
    EXPECT_EQ(failEachAllocation([] {}), 0U);
}

}  // namespace qz::support
