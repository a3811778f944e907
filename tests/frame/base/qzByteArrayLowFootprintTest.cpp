// SPDX-License-Identifier: MIT
#include <qz/qzByteArrayLowFootprint.h>

#include <climits>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/Allocations.h"

namespace qz {

using ByteArray = qzByteArrayLowFootprint;

namespace {

static_assert(sizeof(ByteArray) == sizeof(void*));
static_assert(!std::is_polymorphic_v<ByteArray>);

const std::string kBytes("a\0b\xFF", 4);

ByteArray makeNull()
{
    ByteArray array;
    array.setToNull();
    return array;
}

std::uintptr_t getWord(const ByteArray& array)
{
    std::uintptr_t word = 0;
    std::memcpy(&word, &array, sizeof word);
    return word;
}

void expectEmpty(const ByteArray& array)
{
    EXPECT_FALSE(array.isNull());
    EXPECT_TRUE(array.empty());
    EXPECT_TRUE(array.isEmpty());
    EXPECT_EQ(array.size(), 0U);
    EXPECT_EQ(getWord(array), 0U);
}

void expectNull(const ByteArray& array)
{
    EXPECT_TRUE(array.isNull());
    EXPECT_TRUE(array.empty());
    EXPECT_TRUE(array.isEmpty());
    EXPECT_EQ(array.size(), 0U);
    EXPECT_EQ(getWord(array), UINTPTR_MAX);
}

void expectFilled(const ByteArray& array, const std::string& bytes)
{
    EXPECT_FALSE(array.isNull());
    EXPECT_FALSE(array.empty());
    EXPECT_FALSE(array.isEmpty());
    EXPECT_EQ(array.size(), bytes.size());
    EXPECT_EQ(array.toStringView(), bytes);
    EXPECT_EQ(array.rawData()[array.size()], '\0');
}

}  // namespace

// --- The three conditions

TEST(qzByteArrayLowFootprintTest, IsEmptyAtFirst)
{
    ByteArray array;
    expectEmpty(array);
    ASSERT_NE(array.rawData(), nullptr);
    EXPECT_EQ(*array.rawData(), '\0');
    EXPECT_EQ(array.constRawData(), array.rawData());
    EXPECT_EQ(array.editRawData(), nullptr);
    EXPECT_EQ(array.toStringView(), "");
}

TEST(qzByteArrayLowFootprintTest, CanBeNull)
{
    ByteArray array = makeNull();
    expectNull(array);
    ASSERT_NE(array.rawData(), nullptr);
    EXPECT_EQ(*array.rawData(), '\0');
    EXPECT_EQ(array.constRawData(), array.rawData());
    EXPECT_EQ(array.editRawData(), nullptr);
    EXPECT_EQ(array.toStringView(), "");
}

TEST(qzByteArrayLowFootprintTest, HoldsBytes)
{
    ByteArray array(kBytes);
    expectFilled(array, kBytes);
    EXPECT_EQ(array.constRawData(), array.rawData());
    EXPECT_EQ(array.editRawData(), array.rawData());
    *array.editRawData() = 'z';
    EXPECT_EQ(array.toStringView()[0], 'z');
}

TEST(qzByteArrayLowFootprintTest, HasOneOfEachWithoutBytes)
{
    expectNull(ByteArray::sNull);
    expectEmpty(ByteArray::sEmpty);
}

TEST(qzByteArrayLowFootprintTest, KeepsSizeBytesAndAZeroInItsBlock)
{
    const ByteArray array(kBytes);
    const char* const block = array.rawData() - 4;
    EXPECT_EQ(std::string(block, 9), std::string("\x04\0\0\0", 4) + kBytes + '\0');
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block), getWord(array));
}

// Memory that held other bytes before, as fresh memory is mostly zero anyway.
TEST(qzByteArrayLowFootprintTest, EndsWithAZeroInUsedMemory)
{
    for (std::size_t size = 1; size < 200; ++size) {
        const std::string bytes(size, 'y');
        ByteArray array;
        array.resizeAndClear(size + 3, 'x');
        array.clear();
        array.setData(bytes.data(), size);
        expectFilled(array, bytes);
        array.resizeAndClear(size + 3, 'x');
        array.clear();
        array.resizeAndClear(size, 'y');
        expectFilled(array, bytes);
    }
}

TEST(qzByteArrayLowFootprintTest, AllocatesOnceForBytesAndElseNever)
{
    support::AllocationCounter counter;
    {
        ByteArray array;
        const ByteArray copy(array);
        array.setToNull();
        array.clear();
        array.resizeAndClear(0, 'x');
        array = makeNull();
    }
    EXPECT_EQ(counter.getCount(), 0U);
    const ByteArray array(kBytes);
    EXPECT_EQ(counter.getCount(), 1U);
    EXPECT_EQ(counter.getBytes(), kBytes.size() + 5);
}

// --- Copies

TEST(qzByteArrayLowFootprintTest, IsEmptyOfAnEmptyText)
{
    expectEmpty(ByteArray(std::string()));
}

TEST(qzByteArrayLowFootprintTest, CopiesIntoABlockOfItsOwn)
{
    const ByteArray array(kBytes);
    const ByteArray copy(array);  // NOLINT(performance-unnecessary-copy-initialization)
    expectFilled(copy, kBytes);
    EXPECT_NE(copy.rawData(), array.rawData());
    expectNull(ByteArray(ByteArray::sNull));
    expectEmpty(ByteArray(ByteArray::sEmpty));
}

TEST(qzByteArrayLowFootprintTest, AssignsEachConditionToEach)
{
    const ByteArray sources[] = {ByteArray::sNull, ByteArray::sEmpty, ByteArray(kBytes)};
    for (const ByteArray& source : sources) {
        for (const ByteArray& before : sources) {
            ByteArray array = before;
            array = source;
            EXPECT_EQ(array.isNull(), source.isNull());
            EXPECT_EQ(array.toStringView(), source.toStringView());
            EXPECT_EQ(array.rawData() == source.rawData(), source.empty());
        }
    }
}

TEST(qzByteArrayLowFootprintTest, StaysAsItIsWhenAssignedToItself)
{
    for (ByteArray array : {ByteArray::sNull, ByteArray::sEmpty, ByteArray(kBytes)}) {
        const std::uintptr_t word = getWord(array);
        const ByteArray& same = array;
        array = same;
        EXPECT_EQ(getWord(array), word);
    }
}

TEST(qzByteArrayLowFootprintTest, MovesItsBlock)
{
    ByteArray array(kBytes);
    const char* const data = array.rawData();
    ByteArray moved(std::move(array));
    EXPECT_EQ(moved.rawData(), data);
    expectEmpty(array);  // NOLINT(bugprone-use-after-move)
    ByteArray assigned(std::string("old"));
    assigned = std::move(moved);
    EXPECT_EQ(assigned.rawData(), data);
    expectEmpty(moved);  // NOLINT(bugprone-use-after-move)
    ByteArray& same = assigned;
    assigned = std::move(same);
    EXPECT_EQ(assigned.rawData(), data);
    assigned = makeNull();
    expectNull(assigned);
}

TEST(qzByteArrayLowFootprintTest, ExchangesWords)
{
    ByteArray array(kBytes);
    ByteArray null = makeNull();
    const char* const data = array.rawData();
    array.swap(null);
    expectNull(array);
    EXPECT_EQ(null.rawData(), data);
    null.swap(null);
    EXPECT_EQ(null.rawData(), data);
}

// --- Changes

class qzByteArrayLowFootprintChange : public ::testing::TestWithParam<int> {
protected:
    // Each of the conditions, and two blocks.
    static ByteArray makeBefore()
    {
        switch (GetParam()) {
            case 0:
                return makeNull();
            case 1:
                return {};
            case 2:
                return std::string("x");
            default:
                return std::string(100, 'y');
        }
    }

    ByteArray mArray = makeBefore();
};

TEST_P(qzByteArrayLowFootprintChange, SetsData)
{
    mArray.setData(kBytes.data(), kBytes.size());
    expectFilled(mArray, kBytes);
}

TEST_P(qzByteArrayLowFootprintChange, IsEmptyOfNoData)
{
    mArray.setData(kBytes.data(), 0);
    expectEmpty(mArray);
}

TEST_P(qzByteArrayLowFootprintChange, IsEmptyOfNullData)
{
    mArray.setData(nullptr, 5);
    expectEmpty(mArray);
}

TEST_P(qzByteArrayLowFootprintChange, Clears)
{
    mArray.clear();
    expectEmpty(mArray);
}

TEST_P(qzByteArrayLowFootprintChange, BecomesNull)
{
    mArray.setToNull();
    expectNull(mArray);
}

TEST_P(qzByteArrayLowFootprintChange, FillsANewSize)
{
    mArray.resizeAndClear(7, '\xFE');
    expectFilled(mArray, std::string(7, '\xFE'));
}

TEST_P(qzByteArrayLowFootprintChange, FillsTheSameSizeInPlace)
{
    const std::uintptr_t word = getWord(mArray);
    const unsigned long size = mArray.size();
    mArray.resizeAndClear(size, '\0');
    EXPECT_EQ(getWord(mArray), word) << "null stays null, too";
    EXPECT_EQ(mArray.toStringView(), std::string(size, '\0'));
}

TEST_P(qzByteArrayLowFootprintChange, HasNoBytesOfSizeZero)
{
    const bool wasNull = mArray.isNull();
    mArray.resizeAndClear(0, 'x');
    if (wasNull) {
        expectNull(mArray);
    } else {
        expectEmpty(mArray);
    }
}

TEST_P(qzByteArrayLowFootprintChange, StaysAsItIsWhenACopyFindsNoMemory)
{
    const std::uintptr_t word = getWord(mArray);
    const ByteArray other(kBytes);
    const std::size_t failures =
        support::failEachAllocation([&] { mArray = other; },
                                    [&](const support::AllocationFailure& failure) {
                                        EXPECT_TRUE(failure.threwBadAlloc);
                                        EXPECT_EQ(getWord(mArray), word);
                                    });
    EXPECT_EQ(failures, 1U);
    expectFilled(mArray, kBytes);
}

TEST_P(qzByteArrayLowFootprintChange, KeepsItsDataWhenNewDataFindNoMemory)
{
    const std::uintptr_t word = getWord(mArray);
    support::failEachAllocation([&] { mArray.setData("abc", 3); },
                                [&](const support::AllocationFailure& failure) {
                                    EXPECT_TRUE(failure.threwBadAlloc);
                                    EXPECT_EQ(getWord(mArray), word);
                                });
    expectFilled(mArray, "abc");
    support::failEachAllocation(
        [&] { mArray.resizeAndClear(9, 'n'); },
        [&](const support::AllocationFailure&) { expectFilled(mArray, "abc"); });
    expectFilled(mArray, "nnnnnnnnn");
}

TEST_P(qzByteArrayLowFootprintChange, GivesItsBytesAsAVector)
{
    std::vector<char> bytes = {'o', 'l', 'd'};
    mArray.toByteVector(bytes);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), mArray.toStringView());
}

INSTANTIATE_TEST_SUITE_P(From, qzByteArrayLowFootprintChange, ::testing::Range(0, 4));

TEST(qzByteArrayLowFootprintTest, FindsNoMemoryForSizesWithoutABlockSize)
{
    ByteArray array(kBytes);
    for (unsigned long less = 0; less < 5; ++less)
        EXPECT_THROW(array.resizeAndClear(ULONG_MAX - less, 'x'), std::bad_alloc) << less;
    expectFilled(array, kBytes);
}

// The size is held in 32 bits; the block has room for all bytes nevertheless.
TEST(qzByteArrayLowFootprintTest, RequestsTheWholeBlockOfMoreThan4GiB)
{
    constexpr unsigned long kSize = (1UL << 32) + 3;
    ByteArray array(kBytes);
    const support::AllocationCounter counter;
    const support::AllocationFault fault(1);
    EXPECT_THROW(array.resizeAndClear(kSize, 'x'), std::bad_alloc);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_GE(counter.getBytes(), kSize + 5);
    expectFilled(array, kBytes);
}

TEST(qzByteArrayLowFootprintTest, TakesSomeOfItsOwnBytes)
{
    ByteArray array(std::string("abcdef"));
    array.setData(array.rawData() + 2, 3);
    expectFilled(array, "cde");
}

// --- Order

// Each is less than all that follow.
TEST(qzByteArrayLowFootprintTest, HasATotalOrder)
{
    const std::vector<ByteArray> sorted = {
        ByteArray::sNull,       ByteArray::sEmpty,  std::string(1, '\0'),
        std::string("a"),       std::string("b"),   std::string("\xFF"),
        std::string("a\0", 2),  std::string("aa"),  std::string("a\0b", 3),
        std::string("a\0c", 3), std::string("aaa"), std::string(4, '\0')};
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        for (std::size_t j = 0; j < sorted.size(); ++j) {
            SCOPED_TRACE(std::to_string(i) + " and " + std::to_string(j));
            EXPECT_EQ(sorted[i] < sorted[j], i < j);
            EXPECT_EQ(sorted[i] <= sorted[j], i <= j);
            EXPECT_EQ(sorted[i] > sorted[j], i > j);
            EXPECT_EQ(sorted[i] >= sorted[j], i >= j);
            EXPECT_EQ(sorted[i] == sorted[j], i == j);
            EXPECT_EQ(sorted[i] != sorted[j], i != j);
        }
    }
}

// Just 4 GiB leave a block whose size has no bits but the lost ones.
TEST(qzByteArrayLowFootprintTest, OrdersABlockOfSizeZeroAfterTheEmptyArray)
{
    ByteArray block(std::string("a"));
    std::memset(block.editRawData() - 4, 0, 4);
    EXPECT_FALSE(block.empty());
    EXPECT_EQ(block.size(), 0U);
    EXPECT_FALSE(ByteArray::sEmpty == block);
    EXPECT_FALSE(ByteArray::sNull == block);
    EXPECT_TRUE(ByteArray::sEmpty < block);
    EXPECT_TRUE(ByteArray::sNull < block);
    EXPECT_FALSE(block < ByteArray::sEmpty);
    EXPECT_FALSE(block < ByteArray::sNull);
    EXPECT_TRUE(block < ByteArray(std::string(1, '\0')));
}

TEST(qzByteArrayLowFootprintTest, ComparesBytesAsUnsigned)
{
    EXPECT_TRUE(ByteArray(std::string("a")) < ByteArray(std::string("\x80")));
}

TEST(qzByteArrayLowFootprintTest, IsEqualToAnotherBlockOfTheSameBytes)
{
    EXPECT_TRUE(ByteArray(kBytes) == ByteArray(kBytes));
    EXPECT_TRUE(ByteArray(kBytes) <= ByteArray(kBytes));
    EXPECT_TRUE(ByteArray(kBytes) >= ByteArray(kBytes));
    EXPECT_FALSE(ByteArray(kBytes) < ByteArray(kBytes));
}

}  // namespace qz
