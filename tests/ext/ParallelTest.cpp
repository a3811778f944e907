#include <qz/ext/Parallel.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <forward_list>
#include <functional>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzThread.h>

#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/Waiting.h"

namespace qz::ext {

using support::ChildResult;
using support::LibraryStart;
using support::runInChild;
using support::waitUntil;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

ParallelOptions withPool(ConcurrentPool& pool)
{
    ParallelOptions options;
    options.pool = &pool;
    return options;
}

// What the bodies of a loop were called with, in ascending order.
template <typename Element>
class Calls {
public:
    void add(Element element)
    {
        const std::lock_guard lock(mMutex);
        mElements.push_back(element);
    }
    std::vector<Element> take()
    {
        std::sort(mElements.begin(), mElements.end());
        return std::move(mElements);
    }

private:
    std::mutex mMutex;
    std::vector<Element> mElements;
};

std::vector<std::size_t> countTo(std::size_t count)
{
    std::vector<std::size_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), std::size_t{0});
    return numbers;
}

template <typename Index>
std::vector<Index> listInParallel(Index begin, Index end, const ParallelOptions& options)
{
    Calls<Index> calls;
    const ParallelResult result = parallelFor(
        begin, end, [&](Index i) { calls.add(i); }, options);
    std::vector<Index> elements = calls.take();
    EXPECT_TRUE(result);
    EXPECT_EQ(result.doneCount, elements.size());
    return elements;
}

template <typename Index>
std::vector<Index> listInALoop(Index begin, Index end)
{
    std::vector<Index> elements;
    for (Index i = begin; i < end; ++i)
        elements.push_back(i);
    return elements;
}

// Threads that meet: each waits until all are there.
class Meeting {
public:
    explicit Meeting(int count) : mMissing(count) {}
    void attend()
    {
        --mMissing;
        EXPECT_TRUE(waitUntil([this] { return mMissing <= 0; }));
    }

private:
    std::atomic<int> mMissing;
};

class Request : public qzCancelInterface {
public:
    bool shouldCancel() const override { return mIsMade; }
    void cancel() override { mIsMade = true; }

private:
    std::atomic<bool> mIsMade = false;
};

class ParallelTest : public ::testing::Test {
protected:
    LibraryStart mLibrary{FullInit};
};

// Rules that hold on a pool of any size.
class ParallelPoolTest : public ::testing::TestWithParam<unsigned int> {
protected:
    LibraryStart mLibrary{FullInit};
    ConcurrentPool mPool{GetParam()};
    ParallelOptions mOptions = withPool(mPool);
};

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
class ParallelIndexTest : public ParallelTest {
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
class ParallelContainerTest : public ParallelTest {
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
            container, [&](int element) { calls.add(element); }, withPool(pool));
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
    const auto text = parallelReduce(-2000, 3000, std::string("begin "), toText, join, mOptions);
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

// --- Exceptions ------------------------------------------------------------------------------

TEST_P(ParallelPoolTest, PassesAnExceptionOnAndStaysUsable)
{
    const auto failAt2000 = [](int i) {
        if (i == 2000) throw std::runtime_error("number 2000");
    };
    for (int repetition = 0; repetition < 50; ++repetition) {
        try {
            parallelFor(0, 5000, failAt2000, mOptions);
            FAIL() << "no exception";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "number 2000");
        }
    }
    EXPECT_EQ(listInParallel(0, 5000, mOptions), listInALoop(0, 5000));
}

TEST_P(ParallelPoolTest, PassesTheExceptionOfTheFirstElementThatThrew)
{
    const auto failOften = [](int i) {
        if (i > 100 && i % 3 == 0) throw i;
    };
    for (int repetition = 0; repetition < 50; ++repetition) {
        try {
            parallelFor(0, 1000, failOften, mOptions);
            FAIL() << "no exception";
        } catch (const int number) {
            EXPECT_EQ(number, 102);
        }
    }
}

TEST_F(ParallelTest, PassesOneOfTheExceptionsThatSeveralWorkersThrowAtOnce)
{
    ConcurrentPool pool(8);
    Meeting meeting(8);
    const auto failTogether = [&](int i) {
        meeting.attend();
        throw i;
    };
    try {
        parallelFor(0, 1000, failTogether, withPool(pool));
        FAIL() << "no exception";
    } catch (const int number) {
        EXPECT_EQ(number, 0);
    }
    EXPECT_EQ(listInParallel(0, 1000, withPool(pool)), listInALoop(0, 1000));
}

TEST_F(ParallelTest, TakesNoFurtherPieceAfterAnException)
{
    // The other worker would need half a minute for all of its pieces.
    ConcurrentPool pool(2);
    std::atomic<bool> hasFailed = false;
    std::atomic<int> calls = 0;
    const auto failAtZero = [&](int i) {
        ++calls;
        if (i == 0) {
            hasFailed = true;
            throw std::runtime_error("number 0");
        }
        EXPECT_TRUE(waitUntil([&] { return hasFailed.load(); }));
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    };
    EXPECT_THROW(parallelFor(0, 1024, failAtZero, withPool(pool)), std::runtime_error);
    EXPECT_LT(calls, 1024);

    ConcurrentPool single(1);
    calls = 0;
    EXPECT_THROW(parallelFor(0, 1024, failAtZero, withPool(single)), std::runtime_error);
    EXPECT_EQ(calls, 1);
}

TEST_P(ParallelPoolTest, PassesTheExceptionsOfEachFunctionOfAReduction)
{
    const auto one = [](int) { return 1; };
    const auto failingMap = [](int i) { return i < 4000 ? 1 : throw std::out_of_range("map"); };
    const auto failingCombine = [](int left, int right) {
        return left + right < 4000 ? left + right : throw std::overflow_error("combine");
    };
    EXPECT_THROW(parallelReduce(0, 5000, 0, failingMap, std::plus<>(), mOptions),
                 std::out_of_range);
    EXPECT_THROW(parallelReduce(0, 5000, 0, one, failingCombine, mOptions), std::overflow_error);
    EXPECT_EQ(parallelReduce(0, 5000, 0, one, std::plus<>(), mOptions).value, 5000);
}

TEST_F(ParallelTest, PassesAnExceptionOfTheRequestToStop)
{
    class FailingRequest : public qzCancelInterfaceReadOnly {
    public:
        bool shouldCancel() const override { throw std::runtime_error("no connection"); }
    };
    const FailingRequest request;
    ConcurrentPool pool(2);
    ParallelOptions options = withPool(pool);
    options.cancel = &request;
    EXPECT_THROW(parallelFor(
                     0, 100, [](int) {}, options),
                 std::runtime_error);
}

// --- Requests to stop ------------------------------------------------------------------------

TEST_P(ParallelPoolTest, DoesNothingAfterARequestToStop)
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

TEST_P(ParallelPoolTest, ReportsHowFarItCameWhenItWasStopped)
{
    for (const std::size_t last : {0U, 1U, 700U, 4998U}) {
        Request request;
        mOptions.cancel = &request;
        Calls<std::size_t> calls;
        const ParallelResult result = parallelFor(
            0, std::size_t{5000},
            [&](std::size_t i) {
                calls.add(i);
                if (i == last) request.cancel();
            },
            mOptions);
        EXPECT_EQ(result.isComplete, result.doneCount == 5000);
        EXPECT_GT(result.doneCount, last);
        EXPECT_EQ(calls.take(), countTo(result.doneCount)) << "no gap, and nothing after it";
    }
    mOptions.cancel = nullptr;
    EXPECT_EQ(listInParallel(0, 5000, mOptions), listInALoop(0, 5000));
}

TEST_F(ParallelTest, StopsAfterThePieceThatRuns)
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

TEST_F(ParallelTest, StopsBeforeItsEndOnSeveralWorkers)
{
    // All would take half a minute.
    ConcurrentPool pool(2);
    Request request;
    ParallelOptions options = withPool(pool);
    options.cancel = &request;
    const ParallelResult result = parallelFor(
        0, 1024,
        [&](int) {
            request.cancel();
            std::this_thread::sleep_for(std::chrono::milliseconds(60));
        },
        options);
    EXPECT_FALSE(result);
    EXPECT_LT(result.doneCount, 1024U);
}

TEST_P(ParallelPoolTest, IsCompleteWhenTheRequestComesWithTheLastElement)
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

TEST_P(ParallelPoolTest, KeepsToARequestThatWasWithdrawn)
{
    // True once.
    class ShortRequest : public qzCancelInterfaceReadOnly {
    public:
        bool shouldCancel() const override { return ++mPolls == 3; }

    private:
        mutable std::atomic<int> mPolls = 0;
    };
    const ShortRequest request;
    mOptions.cancel = &request;
    Calls<std::size_t> calls;
    const ParallelResult result = parallelFor(
        0, std::size_t{1000}, [&](std::size_t i) { calls.add(i); }, mOptions);
    EXPECT_EQ(calls.take(), countTo(result.doneCount));
}

TEST_P(ParallelPoolTest, ReducesWhatWasDoneBeforeTheRequestToStop)
{
    Request request;
    mOptions.cancel = &request;
    const auto sum = parallelReduce(
        0, 5000, 1000L,
        [&](int i) {
            if (i == 700) request.cancel();
            return long{i};
        },
        std::plus<>(), mOptions);
    const auto done = static_cast<long>(sum.doneCount);
    EXPECT_GT(done, 700);
    EXPECT_EQ(sum.value, 1000 + done * (done - 1) / 2);
}

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

TEST_F(ParallelTest, RunsOnAllWorkersAtOnceAndNotOnTheCaller)
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

TEST_F(ParallelTest, RunsOnTheCallersThreadIfThePoolHasOneWorker)
{
    ConcurrentPool pool(1);
    EXPECT_THAT(findThreads(5000, withPool(pool)), ElementsAre(qzThread::CurrentThreadId()));
}

TEST_F(ParallelTest, RunsASinglePieceOnTheCallersThread)
{
    ConcurrentPool pool(2);
    ParallelOptions options = withPool(pool);
    options.leastPiece = 5000;
    EXPECT_THAT(findThreads(5000, options), ElementsAre(qzThread::CurrentThreadId()));
}

TEST_F(ParallelTest, UsesThePoolOfTheProcessUnlessOneIsGiven)
{
    ASSERT_NE(concurrent::GetConcurrentPool(), nullptr);
    const bool hasWorkers = concurrent::GetConcurrentPool()->getWorkerCount() > 1;
    const auto threads = findThreads(5000, {});
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

TEST_F(ParallelTest, RunsOnTheCallersThreadInAForkedChild)
{
    ConcurrentPool pool(4);
    parallelFor(
        0, 5000, [](int) {}, withPool(pool));
    const ChildResult result = runInChild([&] { return expectCallerDoesAll(withPool(pool)); });
    EXPECT_EQ(result.getEnd(), "exit 42");
}

TEST_F(ParallelTest, RunsOnTheOnlyThreadOfAChildThatAWorkerForked)
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

TEST_P(ParallelPoolTest, RunsANestedLoopOnTheWorkerThatCallsIt)
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

TEST_P(ParallelPoolTest, PassesTheExceptionOfANestedLoopOn)
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

TEST_F(ParallelTest, LetsALoopUseAnotherPoolInsideAWorker)
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

TEST_P(ParallelPoolTest, ServesSeveralCallersAtOnce)
{
    constexpr int kLoops = 30;
    std::vector<long> sums(4);
    std::vector<std::thread> callers;
    for (long& sum : sums) {
        callers.emplace_back([&] {
            for (int loop = 0; loop < kLoops; ++loop) {
                const auto one = [](int) { return 1L; };
                sum += parallelReduce(0, 3000, 0L, one, std::plus<>(), mOptions).value;
            }
        });
    }
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_THAT(sums, Each(kLoops * 3000));
}

}  // namespace qz::ext
