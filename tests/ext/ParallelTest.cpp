// SPDX-License-Identifier: MIT
#include <qz/ext/Parallel.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <forward_list>
#include <functional>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <numeric>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>

#include "ParallelFixture.h"
#include "support/Allocations.h"

namespace qz::ext {

using ::testing::Each;
using ::testing::IsEmpty;

namespace {

class ParallelTest : public ParallelFixture {};

// Rules that hold on a pool of any size.
class ParallelPoolTest : public ParallelPoolFixture {};

INSTANTIATE_TEST_SUITE_P(Workers, ParallelPoolTest, ::testing::Values(1U, 2U, 8U));

}  // namespace

// --- Ranges ----------------------------------------------------------------------------------

TEST_P(ParallelPoolTest, CallsTheBodyOnceForEachNumber)
{
    for (const std::size_t count : {0U, 1U, 2U, 3U, 1023U, 1024U, 1025U, 2049U, 10000U}) {
        for (const std::size_t leastPiece : {0U, 1U, 2U, 7U, 1000U, 20000U}) {
            mOptions.leastPiece = leastPiece;
            EXPECT_EQ(listInParallel<std::size_t>(0, count, mOptions), countTo(count))
                << count << " by " << leastPiece;
        }
    }
}

TEST_P(ParallelPoolTest, CallsNothingForARangeThatEndsBeforeItsBegin)
{
    EXPECT_THAT(listInParallel(3, -5, mOptions), IsEmpty());
    EXPECT_THAT(listInParallel(3U, 2U, mOptions), IsEmpty());
    EXPECT_THAT(listInParallel<std::int64_t>(INT64_MAX, INT64_MIN, mOptions), IsEmpty());
}

template <typename Index>
class ParallelIndexTest : public ParallelFixture {
};

using IndexTypes = ::testing::Types<signed char, unsigned char, short, unsigned short, int,
                                    unsigned int, long, unsigned long, long long>;
TYPED_TEST_SUITE(ParallelIndexTest, IndexTypes);

TYPED_TEST(ParallelIndexTest, ReachesTheLimitsOfTheType)
{
    using Limits = std::numeric_limits<TypeParam>;
    ConcurrentPool pool(2);
    const ParallelOptions options = withPool(pool);
    const auto afterLowest = static_cast<TypeParam>(Limits::min() + 100);
    const auto beforeHighest = static_cast<TypeParam>(Limits::max() - 100);
    EXPECT_EQ(listInParallel(Limits::min(), afterLowest, options),
              listInALoop(Limits::min(), afterLowest));
    EXPECT_EQ(listInParallel(beforeHighest, Limits::max(), options),
              listInALoop(beforeHighest, Limits::max()));
}

TYPED_TEST(ParallelIndexTest, BeginsTheWholeRangeOfTheTypeAtItsBegin)
{
    using Limits = std::numeric_limits<TypeParam>;
    ConcurrentPool pool(2);
    const auto stopAtOnce = [](TypeParam i) {
        if (i == Limits::min()) throw i;
        throw 'x';
    };
    EXPECT_THROW(parallelFor(Limits::min(), Limits::max(), stopAtOnce, withPool(pool)), TypeParam);
}

TEST_F(ParallelTest, CrossesZero)
{
    ConcurrentPool pool(2);
    EXPECT_EQ(listInParallel(-3000, 3000, withPool(pool)), listInALoop(-3000, 3000));
}

TEST_F(ParallelTest, TakesTheTypeOfTheRangesEnd)
{
    const std::vector<int> values(10);
    std::atomic<std::size_t> sum = 0;
    parallelFor(0, values.size(), [&](auto i) {
        static_assert(std::is_same_v<decltype(i), std::size_t>);
        sum += i;
    });
    EXPECT_EQ(sum, 45U);
}

TEST_F(ParallelTest, GoesThroughAPieceInItsOrder)
{
    ConcurrentPool pool(2);
    ParallelOptions options = withPool(pool);
    options.leastPiece = 100;
    std::vector<std::vector<int>> pieces(50);
    parallelFor(
        0, 5000, [&](int i) { pieces[static_cast<std::size_t>(i / 100)].push_back(i % 100); },
        options);
    EXPECT_THAT(pieces, Each(listInALoop(0, 100)));
}

TEST_F(ParallelTest, AllocatesNothingForAnElement)
{
    ConcurrentPool pool(2);
    const auto countAllocations = [&](int elements) {
        const support::AllocationCounter counter;
        parallelFor(
            0, elements, [](int) {}, withPool(pool));
        return counter.getCount();
    };
    EXPECT_EQ(countAllocations(100'000), countAllocations(10));
}

// --- The division ----------------------------------------------------------------------------

TEST(ParallelDivisionTest, CoversTheRangeWithoutAGap)
{
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
    for (const std::size_t count :
         {std::size_t{0}, std::size_t{1}, std::size_t{1025}, kMost / 2 + 1, kMost - 1, kMost}) {
        for (const std::size_t leastPiece :
             {std::size_t{0}, std::size_t{1}, std::size_t{1000}, kMost / 2 + 1, kMost - 1, kMost}) {
            const impl::PieceDivision division(count, leastPiece);
            SCOPED_TRACE(std::to_string(count) + " by " + std::to_string(leastPiece));
            EXPECT_LE(division.pieceCount, 1024U);
            EXPECT_EQ(division.getBegin(0), 0U);
            EXPECT_EQ(division.getBegin(division.pieceCount), count);
            for (std::size_t piece = 0; piece < division.pieceCount; ++piece) {
                const std::size_t size = division.getBegin(piece + 1) - division.getBegin(piece);
                const bool isLast = piece + 1 == division.pieceCount;
                EXPECT_TRUE(isLast ? 0 < size && size <= division.pieceSize
                                   : size == division.pieceSize && size >= leastPiece);
            }
        }
    }
}

TEST(ParallelDivisionTest, MakesPiecesOfOneElementIfThereAreFew)
{
    EXPECT_EQ(impl::PieceDivision(1024, 1).pieceCount, 1024U);
    EXPECT_EQ(impl::PieceDivision(1025, 1).pieceCount, 513U);
    EXPECT_EQ(impl::PieceDivision(1000, 300).pieceCount, 4U);
}

TEST_F(ParallelTest, HandsThePiecesToAFunction)
{
    std::vector<std::array<std::size_t, 3>> pieces;
    const impl::PieceFunction keep = [](void* work, std::size_t piece, std::size_t begin,
                                        std::size_t end) {
        static_cast<decltype(pieces)*>(work)->push_back({piece, begin, end});
    };
    ConcurrentPool pool(1);
    EXPECT_TRUE(impl::runPieces({10, 4}, withPool(pool), keep, &pieces));
    EXPECT_EQ(pieces, (std::vector<std::array<std::size_t, 3>>{{0, 0, 4}, {1, 4, 8}, {2, 8, 10}}));
}

// --- Containers ------------------------------------------------------------------------------

namespace {

template <typename Container>
Container makeNumbers(int count)
{
    const std::vector<int> numbers = listInALoop(0, count);
    return Container(numbers.begin(), numbers.end());
}

template <typename Container>
class ParallelContainerTest : public ParallelFixture {
};

using Containers = ::testing::Types<std::vector<int>, std::list<int>, std::forward_list<int>,
                                    std::set<int>, const std::list<int>, const std::vector<int>>;
TYPED_TEST_SUITE(ParallelContainerTest, Containers);

}  // namespace

TYPED_TEST(ParallelContainerTest, HasItsBodyCalledOnceForEachElement)
{
    ConcurrentPool pool(2);
    for (const int count : {0, 1, 2, 1023, 1024, 1025, 5000}) {
        TypeParam container = makeNumbers<std::remove_const_t<TypeParam>>(count);
        Calls<int> calls;
        const ParallelResult result = parallelForEach(
            container, SlowStart([&](int element) { calls.add(element); }), withPool(pool));
        EXPECT_EQ(calls.take(), listInALoop(0, count));
        EXPECT_TRUE(result);
        EXPECT_EQ(result.doneCount, static_cast<std::size_t>(count));
    }
}

TEST_F(ParallelTest, ChangesTheElementsOfAContainer)
{
    std::list<int> numbers = makeNumbers<std::list<int>>(3000);
    std::map<int, int> squares;
    for (const int i : numbers)
        squares[i] = 0;
    parallelForEach(numbers, [](int& element) { element = -element; });
    parallelForEach(squares, [](auto& entry) { entry.second = entry.first * entry.first; });
    EXPECT_EQ(numbers.back(), -2999);
    EXPECT_EQ(std::accumulate(numbers.begin(), numbers.end(), 0), -2999 * 3000 / 2);
    for (const auto& [number, square] : squares)
        ASSERT_EQ(square, number * number);
}

TEST_F(ParallelTest, GoesThroughArraysViewsAndTemporaryObjects)
{
    std::atomic<int> sum = 0;
    const int array[] = {1, 2, 3};
    const auto add = [&](int element) { sum += element; };
    parallelForEach(array, add);
    parallelForEach(std::string_view("\1\2"), add);
    parallelForEach(std::vector<int>{10, 20}, add);
    parallelForEach(std::vector<bool>{true, true}, add);
    EXPECT_EQ(sum, 6 + 3 + 30 + 2);
}

// --- Reduction -------------------------------------------------------------------------------

TEST_P(ParallelPoolTest, CombinesInTheOrderOfTheRange)
{
    const auto toText = [](int i) { return std::to_string(i) + ' '; };
    const auto join = [](std::string left, const std::string& right) { return left += right; };
    std::string expected = "begin ";
    for (int i = -2000; i < 3000; ++i)
        expected += toText(i);
    const auto text =
        parallelReduce(-2000, 3000, std::string("begin "), SlowStart(toText), join, mOptions);
    EXPECT_TRUE(text);
    EXPECT_EQ(text.doneCount, 5000U);
    EXPECT_EQ(text.value, expected);
}

TEST_F(ParallelTest, SumsFloatingPointNumbersTheSameOnEachPool)
{
    const auto sumOn = [](unsigned int workers) {
        ConcurrentPool pool(workers);
        return parallelReduce(
                   1, 100'000, 0.0, [](int i) { return 1.0 / i; }, std::plus<>(), withPool(pool))
            .value;
    };
    const double sum = sumOn(1);
    EXPECT_NEAR(sum, 12.0901, 0.0001);
    for (int repetition = 0; repetition < 20; ++repetition) {
        EXPECT_EQ(sumOn(2), sum);
        EXPECT_EQ(sumOn(8), sum);
    }
}

TEST_F(ParallelTest, UsesTheInitialValueOnce)
{
    const auto one = [](int) { return 1; };
    EXPECT_EQ(parallelReduce(0, 0, 1000, one, std::plus<>()).value, 1000);
    EXPECT_EQ(parallelReduce(0, 1, 1000, one, std::plus<>()).value, 1001);
    EXPECT_EQ(parallelReduce(0, 5000, 1000, one, std::plus<>()).value, 6000);
}

TEST_F(ParallelTest, ReducesValuesThatCanOnlyBeMoved)
{
    using Number = std::unique_ptr<int>;
    const auto sum = parallelReduce(
        0, 3000, std::make_unique<int>(0), [](int i) { return std::make_unique<int>(i); },
        [](const Number& left, const Number& right) {
            return std::make_unique<int>(*left + *right);
        });
    EXPECT_EQ(*sum.value, 2999 * 3000 / 2);
}

TEST_F(ParallelTest, ReducesValuesWithoutADefault)
{
    struct Least {
        explicit Least(int least) : number(least) {}
        int number;
    };
    const auto least = parallelReduce(
        -700, 3000, Least(5), [](int i) { return Least(i * i - 40 * i); },
        [](Least left, Least right) { return left.number < right.number ? left : right; });
    EXPECT_EQ(least.value.number, -400);
}

}  // namespace qz::ext
