// SPDX-License-Identifier: MIT
// The notifier by which the workers of a pool report.

#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>

#include "ConcurrentPoolTestPeer.h"
#include "support/ChildProcess.h"

namespace qz {

using support::ChildResult;
using support::runInChild;
using ::testing::ElementsAre;

namespace {

using Peer = ConcurrentPoolTestPeer;

static_assert(
    std::is_base_of_v<qzProgressNotifierCancelSupportOnly, ConcurrentPool::ProgressNotifierProxy>);
static_assert(sizeof(ConcurrentPool::ProgressNotifierProxy) ==
              sizeof(qzProgressNotifierCancelSupportOnly) + sizeof(void*));
static_assert(std::is_nothrow_destructible_v<ConcurrentPool::ProgressNotifierProxy>);

}  // namespace

TEST(ConcurrentPoolProgressTest, IsOneStepOnItsTarget)
{
    qzProgressNotifierBase target;
    target.beginStepGroupWeights({1, 1}, 1, nullptr);
    {
        ConcurrentPool::ProgressNotifierProxy proxy(target);
        EXPECT_EQ(Peer::getTarget(proxy), static_cast<qzProgressNotifierInterface*>(&target));
        EXPECT_EQ(target.getGlobalProgress(), 0.0F);
        proxy.setCurrentStepProgress(0.5);
        proxy.updateProxy();
        EXPECT_EQ(target.getGlobalProgress(), 0.0F) << "workers report no progress";
    }
    EXPECT_EQ(target.getGlobalProgress(), 0.5F);
}

TEST(ConcurrentPoolProgressTest, SetsTheStepOfItsTargetBackWithEachTransfer)
{
    qzProgressNotifierBase target;
    ConcurrentPool::ProgressNotifierProxy proxy(target);
    target.setCurrentStepProgress(0.5);
    proxy.updateProxy();
    EXPECT_EQ(target.getGlobalProgress(), 0.0F);
}

TEST(ConcurrentPoolProgressTest, PassesARequestOnOnce)
{
    class CountingProxy : public ConcurrentPool::ProgressNotifierProxy {
    public:
        using ProgressNotifierProxy::ProgressNotifierProxy;
        void setInternalCancelFlag(bool cancel) override
        {
            ++requests;
            ProgressNotifierProxy::setInternalCancelFlag(cancel);
        }
        int requests = 0;
    };
    qzProgressNotifierBase target;
    CountingProxy proxy(target);
    proxy.updateProxy();
    EXPECT_FALSE(proxy.shouldCancel());
    target.cancel();
    EXPECT_FALSE(proxy.shouldCancel()) << "until the next transfer";
    proxy.updateProxy();
    EXPECT_TRUE(proxy.shouldCancel());
    proxy.updateProxy();
    EXPECT_EQ(proxy.requests, 1);
}

TEST(ConcurrentPoolProgressTest, PassesARequestOnThatItsTransferCauses)
{
    class CancellingNotifier : public qzProgressNotifierBase {
    public:
        void setCurrentStepProgress(double progress) override
        {
            qzProgressNotifierBase::setCurrentStepProgress(progress);
            cancel();
        }
    };
    CancellingNotifier target;
    ConcurrentPool::ProgressNotifierProxy proxy(target);
    proxy.updateProxy();
    EXPECT_TRUE(proxy.shouldCancel());
}

TEST(ConcurrentPoolProgressTest, LeavesARequestFromOutsideAlone)
{
    qzProgressNotifierBase target;
    ConcurrentPool::ProgressNotifierProxy proxy(target);
    bool flag = true;
    proxy.setExternalCancelFlag(&flag);
    target.cancel();
    proxy.updateProxy();
    flag = false;
    EXPECT_FALSE(proxy.shouldCancel()) << "its own flag was not set";
    bool isRequested = true;
    const qzCancelInterfaceProxyReadOnly source(&isRequested);
    proxy.setExternalCancelInterface(&source);
    proxy.updateProxy();
    isRequested = false;
    EXPECT_FALSE(proxy.shouldCancel()) << "nor was it for the other source";
}

TEST(ConcurrentPoolProgressTest, PassesTheFigureOfAProxyThatHasOneOn)
{
    class FigureProxy : public ConcurrentPool::ProgressNotifierProxy {
    public:
        using ProgressNotifierProxy::ProgressNotifierProxy;
        float getGlobalProgress() const override { return 0.5F; }
    };
    qzProgressNotifierBase target;
    FigureProxy proxy(target);
    proxy.updateProxy();
    EXPECT_EQ(target.getGlobalProgress(), 0.5F);
}

TEST(ConcurrentPoolProgressTest, OpensAGroupWithoutACloser)
{
    class GroupRecorder : public qzProgressNotifierBase {
    public:
        void beginStepGroupWeights(const std::vector<double>& weights, double firstStepMaxProgress,
                                   qzProgressNotifierGroupCloser* closer) override
        {
            EXPECT_THAT(weights, ElementsAre(1.0));
            EXPECT_EQ(firstStepMaxProgress, 1.0);
            EXPECT_EQ(closer, nullptr);
            ++groups;
            qzProgressNotifierBase::beginStepGroupWeights(weights, firstStepMaxProgress, closer);
        }
        void endStepGroup() override
        {
            ++ends;
            qzProgressNotifierBase::endStepGroup();
        }
        int groups = 0;
        int ends = 0;
    };
    GroupRecorder target;
    {
        const ConcurrentPool::ProgressNotifierProxy proxy(target);
        EXPECT_EQ(target.groups, 1);
        EXPECT_EQ(target.ends, 0);
    }
    EXPECT_EQ(target.ends, 1);
}

TEST(ConcurrentPoolProgressTest, EndsTheProcessWhenTheEndOfItsGroupThrows)
{
    class ThrowingNotifier : public qzProgressNotifierBase {
    public:
        void endStepGroup() override { throw std::runtime_error("no end"); }
    };
    const ChildResult result = runInChild([] {
        try {
            ThrowingNotifier target;
            const ConcurrentPool::ProgressNotifierProxy proxy(target);
        } catch (const std::runtime_error&) {
            return 1;
        }
        return 2;
    });
    EXPECT_EQ(result.getEnd(), "signal 6");
}

}  // namespace qz
