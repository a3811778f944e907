// SPDX-License-Identifier: MIT
#include <qz/qzProgressNotifier.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "io/VirtualSlots.h"
#include "qzProgressNotifierTestPeer.h"
#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"

namespace qz {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Peer = qzProgressNotifierTestPeer;

constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

static_assert(sizeof(qzProgressNotifierBase::StepGroup) == 72);
static_assert(sizeof(qzProgressNotifierBase) == 56);
static_assert(sizeof(qzProgressNotifierCancelSupportOnly) == 32);
static_assert(sizeof(qzProgressNotifierThreadSafeProxy) == 24);
static_assert(sizeof(qzProgressNotifierConsoleView) == 64);
static_assert(sizeof(qzProgressNotifierGroupCloser) == 8);
static_assert(std::has_virtual_destructor_v<qzProgressMonitorable>);
static_assert(!std::is_copy_constructible_v<qzProgressNotifierBase>);
static_assert(std::is_nothrow_destructible_v<qzProgressNotifierGroupCloser>);

// Records each figure that it is given.
class Recorder : public qzProgressNotifierBase {
public:
    using qzProgressNotifierBase::qzProgressNotifierBase;
    using qzProgressNotifierBase::updateGlobalProgress;
    std::vector<float> figures;

protected:
    void onProgressChanged(float progress) override { figures.push_back(progress); }
};

// A notifier whose end call throws.
class ThrowingNotifier : public qzProgressNotifierBase {
public:
    void endStepGroup() override { throw std::runtime_error("no end"); }
};

class Source : public qzCancelInterfaceReadOnly {
public:
    bool shouldCancel() const override
    {
        ++checks;
        return isSet;
    }
    bool isSet = false;
    mutable int checks = 0;
};

// Counts the calls of its virtual functions.
template <typename Notifier>
class CountingNotifier : public Notifier {
public:
    CountingNotifier() : Notifier(nullptr, nullptr) {}
    void setInternalCancelFlag(bool cancel) override
    {
        ++flagCalls;
        Notifier::setInternalCancelFlag(cancel);
    }
    void beginStepGroupWeights(const std::vector<double>& weights, double firstStepMaxProgress,
                               qzProgressNotifierGroupCloser* closer) override
    {
        ++groupCalls;
        Notifier::beginStepGroupWeights(weights, firstStepMaxProgress, closer);
    }
    int flagCalls = 0;
    int groupCalls = 0;
};

std::pair<double, double> getStep(qzProgressNotifierInterface& notifier)
{
    double progress = -7;
    double maxProgress = -7;
    notifier.getCurrentStepProgress(progress, maxProgress);
    return {progress, maxProgress};
}

}  // namespace

// --- The stack -------------------------------------------------------------------------------

TEST(qzProgressNotifierBaseTest, StartsWithARootGroupAtZero)
{
    qzProgressNotifierBase notifier;
    EXPECT_EQ(notifier.getGlobalProgress(), 0.0F);
    EXPECT_EQ(getStep(notifier), std::pair(0.0, 1.0));
    ASSERT_EQ(Peer::getGroups(notifier).size(), 1U);
    EXPECT_THAT(Peer::getGroups(notifier)[0].weights, ElementsAre(1.0));
    EXPECT_THAT(Peer::getGroups(notifier)[0].offsets, ElementsAre(0.0));
}

TEST(qzProgressNotifierBaseTest, WeighsItsSteps)
{
    qzProgressNotifierBase notifier;
    notifier.beginStepGroupWeights({1, 3}, 1, nullptr);
    notifier.changeCurrentStep(10, 1);
    EXPECT_EQ(notifier.getGlobalProgress(), 0.25F);
    notifier.setCurrentStepProgress(5);
    EXPECT_EQ(notifier.getGlobalProgress(), 0.625F);
}

TEST(qzProgressNotifierBaseTest, GoesBackToTheStartOfAStepWithANewScale)
{
    qzProgressNotifierBase notifier;
    notifier.setCurrentStepProgress(0.5);
    notifier.setCurrentStepMaxProgress(8);
    EXPECT_EQ(notifier.getGlobalProgress(), 0.0F);
}

TEST(qzProgressNotifierBaseTest, NestsGroups)
{
    qzProgressNotifierBase notifier;
    notifier.beginStepGroupWeights({1, 1}, 1, nullptr);
    notifier.changeCurrentStep(1, 1);
    notifier.beginStepGroupWeights({1, 1}, 2, nullptr);
    notifier.setCurrentStepProgress(1);
    EXPECT_EQ(notifier.getGlobalProgress(), 0.625F);
}

TEST(qzProgressNotifierBaseTest, FinishesTheOuterStepWhenAGroupEnds)
{
    qzProgressNotifierBase notifier;
    notifier.beginStepGroupWeights({1, 1}, 8, nullptr);
    notifier.beginStepGroupWeights({1}, 1, nullptr);
    notifier.endStepGroup();
    EXPECT_EQ(getStep(notifier), std::pair(8.0, 8.0));
    EXPECT_EQ(notifier.getGlobalProgress(), 0.5F);
}

TEST(qzProgressNotifierBaseTest, HasTheFigureOneWithoutItsRootGroup)
{
    Recorder notifier;
    notifier.endStepGroup();
    EXPECT_EQ(notifier.getGlobalProgress(), 1.0F);
    EXPECT_THAT(Peer::getGroups(notifier), IsEmpty());
    notifier.figures.clear();

    notifier.endStepGroup();
    notifier.changeCurrentStep(1, 0);
    notifier.setCurrentStepMaxProgress(3);
    notifier.setCurrentStepProgress(0.5);
    notifier.incrementCurrentStepProgress(0.5);
    EXPECT_EQ(getStep(notifier), std::pair(-7.0, -7.0)) << "both stay as they are";
    EXPECT_THAT(notifier.figures, IsEmpty());

    notifier.resetNotifier();
    EXPECT_EQ(notifier.getGlobalProgress(), 0.0F);
}

struct WeightsRow {
    const char* name;
    std::vector<double> given;
    std::vector<double> weights;
    std::vector<double> offsets;
};

class qzProgressNotifierWeights : public ::testing::TestWithParam<WeightsRow> {};

TEST_P(qzProgressNotifierWeights, DividesTheGroup)
{
    qzProgressNotifierBase notifier;
    notifier.beginStepGroupWeights(GetParam().given, 1, nullptr);
    EXPECT_EQ(Peer::getGroups(notifier).back().weights, GetParam().weights);
    EXPECT_EQ(Peer::getGroups(notifier).back().offsets, GetParam().offsets);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, qzProgressNotifierWeights,
    ::testing::Values(WeightsRow{"None", {}, {1}, {0}}, WeightsRow{"One", {5}, {1}, {0}},
                      WeightsRow{"Zeros", {0, 0}, {1}, {0}},
                      WeightsRow{"NegativeSum", {1, -3}, {1}, {0}},
                      WeightsRow{"NotANumber", {1, kNotANumber}, {1}, {0}},
                      WeightsRow{"Two", {1, 3}, {0.25, 0.75}, {0, 0.25}},
                      WeightsRow{"Negative", {-1, 2}, {-1, 2}, {0, -1}},
                      WeightsRow{"Three", {2, 4, 2}, {0.25, 0.5, 0.25}, {0, 0.25, 0.75}},
                      WeightsRow{"AddedUpInTheirOrder", {3, 1e17, -1e17}, {1}, {0}},
                      // Of the rounded shares, each a quotient.
                      WeightsRow{
                          "Rounded", {6, 3, 1}, {0.6, 0.3, 0.1}, {0, 0.6, 0.8999999999999999}}),
    [](const auto& row) { return std::string(row.param.name); });

struct ScaleRow {
    const char* name;
    double given;
    double scale;
};

class qzProgressNotifierScale : public ::testing::TestWithParam<ScaleRow> {};

TEST_P(qzProgressNotifierScale, IsOneUnlessItIsAboveZero)
{
    qzProgressNotifierBase notifier;
    notifier.beginStepGroupWeights({1, 1, 1}, GetParam().given, nullptr);
    EXPECT_EQ(getStep(notifier), std::pair(0.0, GetParam().scale));
    notifier.setCurrentStepMaxProgress(2);
    notifier.setCurrentStepProgress(1);
    notifier.setCurrentStepMaxProgress(GetParam().given);
    EXPECT_EQ(getStep(notifier), std::pair(0.0, GetParam().scale));
    notifier.setCurrentStepProgress(0.5);
    notifier.changeCurrentStep(GetParam().given, 1);
    EXPECT_EQ(getStep(notifier), std::pair(0.0, GetParam().scale));
}

INSTANTIATE_TEST_SUITE_P(Rows, qzProgressNotifierScale,
                         ::testing::Values(ScaleRow{"Ordinary", 4, 4},
                                           ScaleRow{"Tiny", 1e-300, 1e-300}, ScaleRow{"Zero", 0, 1},
                                           ScaleRow{"Negative", -1, 1},
                                           ScaleRow{"NotANumber", kNotANumber, 1},
                                           ScaleRow{"Infinite", kInfinity, kInfinity}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzProgressNotifierBaseTest, GoesToTheLastStepForANumberThatIsTooHigh)
{
    qzProgressNotifierBase notifier;
    notifier.beginStepGroupWeights({1, 1, 1}, 5, nullptr);
    notifier.changeCurrentStep(0, 99);
    EXPECT_EQ(Peer::getGroups(notifier).back().currentStep, 2U);
    EXPECT_EQ(getStep(notifier), std::pair(0.0, 1.0));
    notifier.changeCurrentStep(1, 0);
    EXPECT_EQ(Peer::getGroups(notifier).back().currentStep, 0U) << "steps may be repeated";
}

TEST(qzProgressNotifierBaseTest, KeepsANegativePositionThatIsSet)
{
    qzProgressNotifierBase notifier;
    notifier.setCurrentStepMaxProgress(4);
    notifier.setCurrentStepProgress(-1);
    EXPECT_EQ(notifier.getGlobalProgress(), -0.25F);
}

TEST(qzProgressNotifierBaseTest, LimitsAPositionThatIsSetAtItsScale)
{
    qzProgressNotifierBase notifier;
    notifier.setCurrentStepProgress(2);
    EXPECT_EQ(getStep(notifier), std::pair(1.0, 1.0));
}

TEST(qzProgressNotifierBaseTest, LimitsIncrementsAtBothEnds)
{
    qzProgressNotifierBase notifier;
    notifier.incrementCurrentStepProgress(-1);
    EXPECT_EQ(getStep(notifier).first, 0.0);
    notifier.incrementCurrentStepProgress(0.75);
    notifier.incrementCurrentStepProgress(0.75);
    EXPECT_EQ(getStep(notifier).first, 1.0);
    notifier.setCurrentStepProgress(-5);
    notifier.incrementCurrentStepProgress(0.5);
    EXPECT_EQ(getStep(notifier).first, 0.0);
}

TEST(qzProgressNotifierBaseTest, IgnoresNotANumber)
{
    Recorder notifier;
    notifier.setCurrentStepProgress(0.5);
    notifier.figures.clear();
    notifier.setCurrentStepProgress(kNotANumber);
    notifier.incrementCurrentStepProgress(kNotANumber);
    EXPECT_EQ(getStep(notifier).first, 0.5);
    EXPECT_THAT(notifier.figures, IsEmpty());
}

// --- What a subclass hears -------------------------------------------------------------------

TEST(qzProgressNotifierBaseTest, ReportsEachChangeOnce)
{
    Recorder notifier;
    notifier.setCurrentStepProgress(0.5);
    notifier.setCurrentStepProgress(0.5);
    notifier.setCurrentStepProgress(0.75);
    EXPECT_THAT(notifier.figures, ElementsAre(0.5F, 0.75F)) << "0 came in the constructor";
}

TEST(qzProgressNotifierBaseTest, ReportsAFigureThatAFloatCannotHoldEachTime)
{
    Recorder notifier;
    notifier.setCurrentStepProgress(0.1);
    notifier.setCurrentStepProgress(0.1);
    notifier.updateGlobalProgress();
    EXPECT_THAT(notifier.figures, ElementsAre(0.1F, 0.1F, 0.1F));
}

TEST(qzProgressNotifierBaseTest, ReportsTheZeroOfAReset)
{
    Recorder notifier;
    notifier.resetNotifier();
    EXPECT_THAT(notifier.figures, ElementsAre(0.0F));
}

TEST(qzProgressNotifierBaseTest, BeginsTheRootGroupOfAResetThroughTheVirtualFunction)
{
    CountingNotifier<qzProgressNotifierBase> notifier;
    notifier.resetNotifier();
    EXPECT_EQ(notifier.groupCalls, 1);
}

TEST(qzProgressNotifierBaseTest, HasItsRequestToStopUntilAResetHasBegunTheRootGroup)
{
    class RequestRecorder : public qzProgressNotifierBase {
    public:
        std::vector<bool> requests;

    protected:
        void onProgressChanged(float /*progress*/) override { requests.push_back(shouldCancel()); }
    };
    RequestRecorder notifier;
    notifier.cancel();
    notifier.resetNotifier();
    EXPECT_THAT(notifier.requests, ElementsAre(true));
    EXPECT_FALSE(notifier.shouldCancel());
}

TEST(qzProgressNotifierBaseTest, UpdatesTheFigureOnceMoreAtTheEndOfAReset)
{
    class GrouplessRecorder : public Recorder {
    public:
        void beginStepGroupWeights(const std::vector<double>& /*weights*/,
                                   double /*firstStepMaxProgress*/,
                                   qzProgressNotifierGroupCloser* /*closer*/) override
        {
        }
    };
    GrouplessRecorder notifier;
    notifier.resetNotifier();
    EXPECT_THAT(notifier.figures, ElementsAre(1.0F)) << "without a group";
}

TEST(qzProgressNotifierBaseTest, HasNoRequestToStopWhenAResetUpdatesTheFigureOnceMore)
{
    // Without a group, the update at the end of a reset is the only one.
    class GrouplessRecorder : public qzProgressNotifierBase {
    public:
        void beginStepGroupWeights(const std::vector<double>& /*weights*/,
                                   double /*firstStepMaxProgress*/,
                                   qzProgressNotifierGroupCloser* /*closer*/) override
        {
        }
        std::vector<bool> requests;

    protected:
        void onProgressChanged(float /*progress*/) override { requests.push_back(shouldCancel()); }
    };
    GrouplessRecorder notifier;
    notifier.cancel();
    notifier.resetNotifier();
    EXPECT_THAT(notifier.requests, ElementsAre(false));
}

TEST(qzProgressNotifierBaseTest, RegistersTheCloserBeforeItUpdates)
{
    class CloserRecorder : public qzProgressNotifierBase {
    public:
        qzProgressNotifierGroupCloser closer;
        const void* registered = nullptr;

    protected:
        void onProgressChanged(float /*progress*/) override
        {
            registered = Peer::getNotifier(closer);
        }
    };
    CloserRecorder notifier;
    notifier.setCurrentStepProgress(1);
    notifier.beginStepGroupWeights({1, 1}, 1, &notifier.closer);
    EXPECT_EQ(notifier.registered, static_cast<qzProgressNotifierInterface*>(&notifier));
    notifier.closer.forgiveNotifier(/*endGroup=*/false);
}

TEST(qzProgressNotifierBaseTest, AllocatesNothingForAnUpdate)
{
    qzProgressNotifierBase notifier;
    for (int depth = 0; depth < 4; ++depth)
        notifier.beginStepGroupWeights({1, 2, 3}, 100, nullptr);
    const support::AllocationCounter counter;
    for (int i = 0; i < 100; ++i)
        notifier.incrementCurrentStepProgress(1);
    EXPECT_EQ(counter.getCount(), 0U);
}

// --- Requests to stop ------------------------------------------------------------------------

template <typename Notifier>
class qzProgressNotifierCancel : public ::testing::Test {
protected:
    bool mFlag = false;
    Source mSource;
    Notifier mNotifier{&mFlag, &mSource};
};

using CancelNotifiers =
    ::testing::Types<qzProgressNotifierBase, qzProgressNotifierCancelSupportOnly>;
TYPED_TEST_SUITE(qzProgressNotifierCancel, CancelNotifiers);

TYPED_TEST(qzProgressNotifierCancel, ComesFromAnyOfThreeSources)
{
    EXPECT_FALSE(this->mNotifier.shouldCancel());
    this->mFlag = true;
    EXPECT_TRUE(this->mNotifier.shouldCancel());
    this->mFlag = false;
    this->mSource.isSet = true;
    EXPECT_TRUE(this->mNotifier.shouldCancel());
    this->mSource.isSet = false;
    this->mNotifier.setInternalCancelFlag(true);
    EXPECT_TRUE(this->mNotifier.shouldCancel());
    this->mNotifier.setInternalCancelFlag(false);
    EXPECT_FALSE(this->mNotifier.shouldCancel());
}

TYPED_TEST(qzProgressNotifierCancel, ChecksTheInterfaceOnlyWhenNoFlagIsSet)
{
    this->mFlag = true;
    EXPECT_TRUE(this->mNotifier.shouldCancel());
    this->mFlag = false;
    this->mNotifier.setInternalCancelFlag(true);
    EXPECT_TRUE(this->mNotifier.shouldCancel());
    EXPECT_EQ(this->mSource.checks, 0);
    this->mNotifier.setInternalCancelFlag(false);
    EXPECT_FALSE(this->mNotifier.shouldCancel());
    EXPECT_EQ(this->mSource.checks, 1);
}

TYPED_TEST(qzProgressNotifierCancel, GoesThroughTheVirtualFlagFunction)
{
    CountingNotifier<TypeParam> notifier;
    notifier.cancel();
    EXPECT_EQ(notifier.flagCalls, 1);
    EXPECT_TRUE(notifier.shouldCancel());
}

TYPED_TEST(qzProgressNotifierCancel, IsClearedByAResetButNotOutside)
{
    this->mNotifier.cancel();
    EXPECT_TRUE(this->mNotifier.shouldCancel());
    EXPECT_FALSE(this->mFlag) << "nothing outside is told";
    this->mNotifier.resetNotifier();
    EXPECT_FALSE(this->mNotifier.shouldCancel());
    this->mFlag = true;
    this->mNotifier.resetNotifier();
    EXPECT_TRUE(this->mNotifier.shouldCancel());
    this->mFlag = false;
    this->mSource.isSet = true;
    this->mNotifier.resetNotifier();
    EXPECT_TRUE(this->mNotifier.shouldCancel());
}

TYPED_TEST(qzProgressNotifierCancel, MayLoseItsSources)
{
    this->mFlag = true;
    this->mSource.isSet = true;
    this->mNotifier.setExternalCancelFlag(nullptr);
    EXPECT_TRUE(this->mNotifier.shouldCancel());
    this->mNotifier.setExternalCancelInterface(nullptr);
    EXPECT_FALSE(this->mNotifier.shouldCancel());
    this->mNotifier.setExternalCancelFlag(&this->mFlag);
    EXPECT_TRUE(this->mNotifier.shouldCancel());
}

TEST(qzProgressNotifierBaseTest, HasAFlagOfItsOwnWithoutAnother)
{
    const qzProgressNotifierBase notifier(nullptr, nullptr);
    EXPECT_TRUE(Peer::isNeverCancel(notifier));
    EXPECT_FALSE(*Peer::getFlag(notifier));
}

TEST(qzProgressNotifierCancelSupportOnlyTest, IgnoresProgress)
{
    qzProgressNotifierCancelSupportOnly notifier(nullptr, nullptr);
    qzProgressNotifierGroupCloser closer;
    notifier.beginStepGroupWeights({1, 1}, 10, &closer);
    EXPECT_EQ(Peer::getNotifier(closer), nullptr);
    notifier.setCurrentStepProgress(5);
    notifier.incrementCurrentStepProgress(5);
    notifier.changeCurrentStep(10, 1);
    notifier.setCurrentStepMaxProgress(10);
    notifier.endStepGroup();
    EXPECT_EQ(notifier.getGlobalProgress(), 0.0F);
    EXPECT_EQ(getStep(notifier), std::pair(-7.0, -7.0));
}

// --- The closer ------------------------------------------------------------------------------

TEST(qzProgressNotifierGroupCloserTest, EndsItsGroup)
{
    qzProgressNotifierBase notifier;
    {
        qzProgressNotifierGroupCloser closer;
        notifier.beginStepGroupWeights({1, 1}, 1, &closer);
        EXPECT_EQ(Peer::getNotifier(closer), &notifier);
        EXPECT_EQ(Peer::getGroups(notifier).size(), 2U);
    }
    EXPECT_EQ(Peer::getGroups(notifier).size(), 1U);
    EXPECT_EQ(notifier.getGlobalProgress(), 1.0F);
}

TEST(qzProgressNotifierGroupCloserTest, ForgetsItsGroupWithoutEndingIt)
{
    qzProgressNotifierBase notifier;
    qzProgressNotifierGroupCloser closer;
    notifier.beginStepGroupWeights({1, 1}, 1, &closer);
    closer.forgiveNotifier(/*endGroup=*/false);
    EXPECT_EQ(Peer::getNotifier(closer), nullptr);
    EXPECT_EQ(Peer::getGroups(notifier).size(), 2U);
    closer.forgiveNotifier(/*endGroup=*/true);
    EXPECT_EQ(Peer::getGroups(notifier).size(), 2U) << "there is nothing left to end";
}

TEST(qzProgressNotifierGroupCloserTest, EndsTheLastGroupWhenItIsUsedAgain)
{
    qzProgressNotifierBase notifier;
    qzProgressNotifierGroupCloser closer;
    notifier.beginStepGroupWeights({1, 1}, 1, &closer);
    notifier.beginStepGroupWeights({1, 1, 1}, 1, &closer);
    EXPECT_EQ(Peer::getGroups(notifier).size(), 2U);
    EXPECT_EQ(Peer::getGroups(notifier).back().weights.size(), 2U) << "the new group was the last";
}

TEST(qzProgressNotifierGroupCloserTest, EndsTheGroupOfItsNotifierBeforeItTakesAnother)
{
    qzProgressNotifierBase first;
    qzProgressNotifierBase second;
    first.beginStepGroupWeights({1, 1}, 1, nullptr);
    second.beginStepGroupWeights({1, 1}, 1, nullptr);
    qzProgressNotifierGroupCloser closer;
    closer.setNotifier(&first);
    closer.setNotifier(&second);
    EXPECT_EQ(Peer::getNotifier(closer), &second);
    EXPECT_EQ(Peer::getGroups(first).size(), 1U);
    EXPECT_EQ(Peer::getGroups(second).size(), 2U);
    closer.setNotifier(nullptr);
    EXPECT_EQ(Peer::getNotifier(closer), nullptr);
    EXPECT_EQ(Peer::getGroups(first).size(), 1U) << "its end was called once";
    EXPECT_EQ(Peer::getGroups(second).size(), 1U);
}

TEST(qzProgressNotifierGroupCloserTest, EndsInnerGroupsFirst)
{
    class EndRecorder : public qzProgressNotifierBase {
    public:
        void endStepGroup() override
        {
            sizes.push_back(Peer::getGroups(*this).back().weights.size());
            qzProgressNotifierBase::endStepGroup();
        }
        std::vector<std::size_t> sizes;
    };
    EndRecorder notifier;
    {
        qzProgressNotifierGroupCloser outer;
        notifier.beginStepGroupWeights({1, 1}, 1, &outer);
        qzProgressNotifierGroupCloser inner;
        notifier.beginStepGroupWeights({1, 1, 1}, 1, &inner);
    }
    EXPECT_THAT(notifier.sizes, ElementsAre(3, 2));
    EXPECT_EQ(notifier.getGlobalProgress(), 1.0F);
}

TEST(qzProgressNotifierGroupCloserTest, ForgetsANotifierThatThrows)
{
    ThrowingNotifier notifier;
    qzProgressNotifierGroupCloser closer;
    closer.setNotifier(&notifier);
    EXPECT_THROW(closer.forgiveNotifier(/*endGroup=*/true), std::runtime_error);
    EXPECT_EQ(Peer::getNotifier(closer), nullptr);
}

TEST(qzProgressNotifierGroupCloserTest, EndsTheProcessWhenTheEndOfItsGroupThrows)
{
    const support::ChildResult result = support::runInChild([] {
        try {
            ThrowingNotifier notifier;
            qzProgressNotifierGroupCloser closer;
            closer.setNotifier(&notifier);
        } catch (const std::runtime_error&) {
            return 1;
        }
        return 2;
    });
    EXPECT_EQ(result.getEnd(), "signal 6");
}

// --- Layout ----------------------------------------------------------------------------------

TEST(qzProgressNotifierLayoutTest, KeepsTheOrderOfTheFields)
{
    const support::LibraryStart library(FullInit);
    EXPECT_THAT(Peer::getOffsets(qzProgressNotifierBase()), ElementsAre(8, 32, 40, 48, 52, 53));
    EXPECT_THAT(Peer::getOffsets(qzProgressNotifierCancelSupportOnly()),
                ElementsAre(8, 16, 24, 25));
    qzProgressNotifierBase target;
    EXPECT_THAT(Peer::getOffsets(qzProgressNotifierThreadSafeProxy(&target)), ElementsAre(8, 16));
    EXPECT_THAT(Peer::getOffsets(qzProgressNotifierConsoleView(nullptr, 0, nullptr)),
                ElementsAre(56, 60));
    const qzProgressNotifierBase::StepGroup group;
    EXPECT_THAT((Offsets{findOffset(group, group.weights), findOffset(group, group.offsets),
                         findOffset(group, group.currentStep), findOffset(group, group.maxProgress),
                         findOffset(group, group.progress)}),
                ElementsAre(0, 24, 48, 56, 64));
}

TEST(qzProgressNotifierLayoutTest, StartsAGroupWithoutSteps)
{
    const qzProgressNotifierBase::StepGroup group;
    EXPECT_THAT(group.weights, IsEmpty());
    EXPECT_THAT(group.offsets, IsEmpty());
    EXPECT_EQ(group.currentStep, 0U);
    EXPECT_EQ(group.maxProgress, 1.0);
    EXPECT_EQ(group.progress, 0.0);
}

TEST(qzProgressNotifierLayoutTest, KeepsTheSlotThatFollowsTheInterface)
{
    class CancelRecorder : public qzProgressNotifierCancelSupportOnly {
    public:
        float figure = -1;

    protected:
        void onProgressChanged(float progress) override { figure = progress; }
    };
    CancelRecorder notifier;
    callSlot<void>(static_cast<qzProgressNotifierInterface*>(&notifier), 14, 0.25F);
    EXPECT_EQ(notifier.figure, 0.25F);
}

TEST(qzProgressNotifierLayoutTest, KeepsTheOrderOfTheVirtualFunctions)
{
    EXPECT_TRUE(isEndedBySlot<qzProgressNotifierBase>(1));
    Recorder notifier;
    void* const object = static_cast<qzProgressNotifierInterface*>(&notifier);
    EXPECT_FALSE(callSlot<bool>(object, 2));
    callSlot<void>(object, 3);
    EXPECT_TRUE(notifier.shouldCancel());
    callSlot<void>(object, 4, false);
    EXPECT_FALSE(notifier.shouldCancel());
    const std::vector<double> weights = {1, 1};
    callSlot<void>(object, 6, &weights, 4.0, static_cast<void*>(nullptr));
    callSlot<void>(object, 8, 8.0, 1UL);
    EXPECT_EQ(callSlot<float>(object, 13), 0.5F);
    callSlot<void>(object, 9, 16.0);
    callSlot<void>(object, 11, 4.0);
    callSlot<void>(object, 12, 4.0);
    double progress = 0;
    double maxProgress = 0;
    callSlot<void>(object, 10, &progress, &maxProgress);
    EXPECT_EQ(progress, 8.0);
    EXPECT_EQ(maxProgress, 16.0);
    callSlot<void>(object, 14, 0.25F);
    EXPECT_EQ(notifier.figures.back(), 0.25F);
    callSlot<void>(object, 7);
    EXPECT_EQ(notifier.getGlobalProgress(), 1.0F);
    callSlot<void>(object, 5);
    EXPECT_EQ(notifier.getGlobalProgress(), 0.0F);
}

}  // namespace qz
