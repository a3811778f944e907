// SPDX-License-Identifier: MIT
#include <qz/ext/Parallel.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>
#include <qz/qzProgressNotifier.h>

#include "support/LibraryStart.h"
#include "support/Waiting.h"

namespace qz::ext {

using support::LibraryStart;
using support::waitUntil;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Le;

namespace {

// Records the figures, and counts the calls that overlap.
class RecordingNotifier : public qzProgressNotifierBase {
public:
    std::vector<float> figures;
    float lastBeforeTheEnd = -1;
    std::atomic<int> overlaps = 0;

    void setCurrentStepProgress(double progress) override
    {
        if (++mCallers > 1) ++overlaps;
        qzProgressNotifierBase::setCurrentStepProgress(progress);
        --mCallers;
    }
    void endStepGroup() override
    {
        lastBeforeTheEnd = getGlobalProgress();
        qzProgressNotifierBase::endStepGroup();
    }

protected:
    void onProgressChanged(float progress) override { figures.push_back(progress); }

private:
    std::atomic<int> mCallers = 0;
};

// Throws with each update from one on.
class FailingNotifier : public qzProgressNotifierBase {
public:
    explicit FailingNotifier(int firstFailure) : mLeft(firstFailure) {}

protected:
    void onProgressChanged(float /*progress*/) override
    {
        if (--mLeft <= 0) throw std::runtime_error("no display");
    }

private:
    int mLeft;
};

class ParallelProgressTest : public ::testing::TestWithParam<unsigned int> {
protected:
    ParallelProgressTest()
    {
        mOptions.pool = &mPool;
        mOptions.notifier = &mNotifier;
    }

    LibraryStart mLibrary{FullInit};
    ConcurrentPool mPool{GetParam()};
    RecordingNotifier mNotifier;
    ParallelOptions mOptions;
};

INSTANTIATE_TEST_SUITE_P(Workers, ParallelProgressTest, ::testing::Values(1U, 2U, 8U));

}  // namespace

TEST_P(ParallelProgressTest, ReachesOneExactlyAndNeverGoesBack)
{
    for (const int count : {1, 2, 3, 7, 1000, 1023, 1024, 1025, 4999}) {
        mNotifier.resetNotifier();
        mNotifier.figures.clear();
        EXPECT_TRUE(parallelFor(
            0, count, [](int) {}, mOptions));
        EXPECT_EQ(mNotifier.lastBeforeTheEnd, 1.0F) << count;
        EXPECT_EQ(mNotifier.getGlobalProgress(), 1.0F) << count;
        EXPECT_TRUE(std::is_sorted(mNotifier.figures.begin(), mNotifier.figures.end())) << count;
    }
    EXPECT_EQ(mNotifier.overlaps, 0);
}

TEST_P(ParallelProgressTest, FinishesTheStepOfAnEmptyRange)
{
    EXPECT_TRUE(parallelFor(
        0, 0, [](int) {}, mOptions));
    EXPECT_EQ(mNotifier.getGlobalProgress(), 1.0F);
}

TEST_P(ParallelProgressTest, IsOnePartOfTheCallersStep)
{
    mNotifier.beginStepGroupWeights({1, 3}, 1, nullptr);
    parallelFor(
        0, 1000, [](int) {}, mOptions);
    EXPECT_EQ(mNotifier.getGlobalProgress(), 0.25F);
    mNotifier.changeCurrentStep(1, 1);
    const auto one = [](int) { return 1; };
    EXPECT_TRUE(parallelReduce(0, 1000, 0, one, std::plus<>(), mOptions));
    EXPECT_EQ(mNotifier.getGlobalProgress(), 1.0F);
    EXPECT_THAT(mNotifier.figures, Each(Le(1.0F)));
}

TEST_P(ParallelProgressTest, PassesAnExceptionOfTheNotifierOn)
{
    // It fails again when the group ends. Each piece is an update, the last one by the end at the
    // latest.
    for (const int firstFailure : {1, 2}) {
        FailingNotifier notifier(firstFailure);
        mOptions.notifier = &notifier;
        EXPECT_THROW(parallelFor(
                         0, 100, [](int) {}, mOptions),
                     std::runtime_error);
    }
    mOptions.notifier = nullptr;
    EXPECT_TRUE(parallelFor(
        0, 100, [](int) {}, mOptions));
}

TEST_P(ParallelProgressTest, PassesAnExceptionOnThatOnlyTheEndOfTheGroupCauses)
{
    class FailingEnd : public qzProgressNotifierBase {
    public:
        void endStepGroup() override { throw std::runtime_error("no end"); }
    };
    FailingEnd notifier;
    mOptions.notifier = &notifier;
    EXPECT_THROW(parallelFor(
                     0, 100, [](int) {}, mOptions),
                 std::runtime_error);
    const auto fail = [](int i) { throw i; };
    EXPECT_THROW(parallelFor(0, 100, fail, mOptions), int) << "the exception of the body counts";
}

TEST_P(ParallelProgressTest, ShowsHowFarAStoppedLoopCame)
{
    const ParallelResult result = parallelFor(
        0, 1000,
        [&](int i) {
            if (i == 300) mNotifier.cancel();
        },
        mOptions);
    EXPECT_GT(result.doneCount, 300U);
    EXPECT_EQ(result.isComplete, result.doneCount == 1000);
    EXPECT_FLOAT_EQ(mNotifier.lastBeforeTheEnd, static_cast<float>(result.doneCount) / 1000);
}

TEST_P(ParallelProgressTest, StopsWhenTheNotifierHasARequestToStop)
{
    mNotifier.cancel();
    std::atomic<int> calls = 0;
    const ParallelResult result = parallelFor(
        0, 1000, [&](int) { ++calls; }, mOptions);
    EXPECT_FALSE(result);
    EXPECT_EQ(calls, 0);
}

TEST_P(ParallelProgressTest, ClosesItsGroupWhenTheBodyThrows)
{
    mNotifier.beginStepGroupWeights({1, 1}, 1, nullptr);
    const auto fail = [](int) { throw std::runtime_error("failed"); };
    EXPECT_THROW(parallelFor(0, 1000, fail, mOptions), std::runtime_error);
    mNotifier.changeCurrentStep(2, 1);
    mNotifier.setCurrentStepProgress(1);
    EXPECT_EQ(mNotifier.getGlobalProgress(), 0.75F) << "the caller's group is the last again";
}

TEST(ParallelProgressOfTheCallerTest, ShowsEachPiece)
{
    RecordingNotifier notifier;
    ParallelOptions options;
    options.notifier = &notifier;
    parallelFor(
        0, 4, [](int) {}, options);
    EXPECT_THAT(notifier.figures, ElementsAre(0.25F, 0.5F, 0.75F, 1.0F));
}

TEST(ParallelProgressFailureTest, PassesAnExceptionOfTheNotifierOn)
{
    class FailingNotifier : public qzProgressNotifierBase {
    public:
        void setCurrentStepProgress(double progress) override
        {
            if (progress > 300) throw std::runtime_error("can't be shown");
        }
    };
    const LibraryStart library(FullInit);
    ConcurrentPool pool(2);
    FailingNotifier notifier;
    ParallelOptions options;
    options.pool = &pool;
    options.notifier = &notifier;
    EXPECT_THROW(parallelFor(
                     0, 1000, [](int) {}, options),
                 std::runtime_error);
    options.notifier = nullptr;
    EXPECT_TRUE(parallelFor(
        0, 1000, [](int) {}, options));
}

TEST(ParallelProgressFailureTest, DoesNotWaitForASlowReportOfAnotherWorker)
{
    // The first report ends when all elements are done.
    class SlowNotifier : public qzProgressNotifierBase {
    public:
        std::atomic<int> calls = 0;
        double last = 0;
        void setCurrentStepProgress(double progress) override
        {
            EXPECT_TRUE(waitUntil([this] { return calls == 1000; }));
            last = progress;
        }
    };
    const LibraryStart library(FullInit);
    ConcurrentPool pool(2);
    SlowNotifier notifier;
    ParallelOptions options;
    options.pool = &pool;
    options.notifier = &notifier;
    EXPECT_TRUE(parallelFor(
        0, 1000, [&](int) { ++notifier.calls; }, options));
    EXPECT_EQ(notifier.last, 1000) << "with the reports that were left out";
}

}  // namespace qz::ext
