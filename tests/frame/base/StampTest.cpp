// SPDX-License-Identifier: MIT
#include <qz/Stamp.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <set>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "io/VirtualSlots.h"

namespace qz {

namespace {

static_assert(sizeof(Stamp) == 8 && !std::is_polymorphic_v<Stamp>);
static_assert(std::is_trivially_copyable_v<Stamp>);
static_assert(sizeof(StampGenerator) == 16 && std::has_virtual_destructor_v<StampGenerator>);
static_assert(!std::is_copy_constructible_v<StampGenerator>);

constexpr int kDeletingDestructor = 1;

}  // namespace

TEST(StampTest, HoldsItsNumber)
{
    EXPECT_EQ(Stamp(0).getValue(), 0UL);
    EXPECT_EQ(Stamp(ULONG_MAX).getValue(), ULONG_MAX);
    EXPECT_EQ(readField<unsigned long>(std::make_unique<Stamp>(4711).get(), 0), 4711UL);
}

TEST(StampTest, ComparesItsNumber)
{
    const unsigned long rising[] = {0, 1, 0x8000000000000000, ULONG_MAX};
    for (const unsigned long left : rising) {
        for (const unsigned long right : rising) {
            EXPECT_EQ(Stamp(left) == Stamp(right), left == right);
            EXPECT_EQ(Stamp(left) != Stamp(right), left != right);
            EXPECT_EQ(Stamp(left) < Stamp(right), left < right);
            EXPECT_EQ(Stamp(left) <= Stamp(right), left <= right);
            EXPECT_EQ(Stamp(left) > Stamp(right), left > right);
            EXPECT_EQ(Stamp(left) >= Stamp(right), left >= right);
        }
    }
}

TEST(StampGeneratorTest, BeginsWithOneAndRisesByOne)
{
    StampGenerator generator;
    for (unsigned long expected = 1; expected <= 100; ++expected) {
        EXPECT_EQ(generator.generateStamp().getValue(), expected);
    }
}

TEST(StampGeneratorTest, CountsForItself)
{
    StampGenerator first;
    StampGenerator second;
    first.generateStamp();
    EXPECT_EQ(second.generateStamp().getValue(), 1UL);
    EXPECT_EQ(first.generateStamp().getValue(), 2UL);
}

TEST(StampGeneratorTest, GivesEachStampOnceWhicheverThreadsAsk)
{
    constexpr unsigned long kThreads = 4;
    constexpr unsigned long kStamps = 5000;
    StampGenerator generator;
    std::vector<std::vector<unsigned long>> values(kThreads);
    std::vector<std::thread> threads;
    for (std::vector<unsigned long>& own : values) {
        threads.emplace_back([&] {
            for (unsigned long i = 0; i < kStamps; ++i)
                own.push_back(generator.generateStamp().getValue());
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::set<unsigned long> all;
    for (const std::vector<unsigned long>& own : values) {
        EXPECT_TRUE(std::is_sorted(own.begin(), own.end()));
        all.insert(own.begin(), own.end());
    }
    EXPECT_EQ(all.size(), kThreads * kStamps);
    EXPECT_EQ(*all.begin(), 1UL);
    EXPECT_EQ(*all.rbegin(), kThreads * kStamps);
}

TEST(StampGeneratorTest, OwnsItsCounterThroughAPointer)
{
    StampGenerator generator;
    const auto* const counter = readField<unsigned long*>(&generator, 8);
    EXPECT_EQ(*counter, 1UL);
    generator.generateStamp();
    EXPECT_EQ(*counter, 2UL);
}

TEST(StampGeneratorTest, HasTheDestructorForItsVirtualFunction)
{
    EXPECT_TRUE(isEndedBySlot<StampGenerator>(kDeletingDestructor));
}

}  // namespace qz
