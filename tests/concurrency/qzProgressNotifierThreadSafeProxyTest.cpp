// SPDX-License-Identifier: MIT
#include <qz/qzProgressNotifier.h>

#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzMutex.h>

#include "Waiter.h"
#include "qzProgressNotifierTestPeer.h"
#include "support/Allocations.h"
#include "support/LibraryStart.h"

namespace qz {

namespace {

using Peer = qzProgressNotifierTestPeer;
using Proxy = qzProgressNotifierThreadSafeProxy;

std::pair<double, double> getStep(qzProgressNotifierInterface& notifier)
{
    double progress = -7;
    double maxProgress = -7;
    notifier.getCurrentStepProgress(progress, maxProgress);
    return {progress, maxProgress};
}

}  // namespace

class qzProgressNotifierThreadSafeProxyTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary{FullInit};
    qzProgressNotifierBase mTarget;
    qzProgressNotifierThreadSafeProxy mProxy{&mTarget};
};

TEST_F(qzProgressNotifierThreadSafeProxyTest, PassesEverythingOn)
{
    mProxy.beginStepGroupWeights({1, 3}, 4, nullptr);
    EXPECT_EQ(getStep(mProxy), std::pair(0.0, 4.0));
    mProxy.changeCurrentStep(10, 1);
    mProxy.setCurrentStepProgress(4);
    mProxy.incrementCurrentStepProgress(1);
    EXPECT_EQ(mProxy.getGlobalProgress(), 0.625F);
    EXPECT_EQ(getStep(mProxy), std::pair(5.0, 10.0));
    mProxy.setCurrentStepMaxProgress(2);
    EXPECT_EQ(getStep(mProxy), std::pair(0.0, 2.0));
    mProxy.endStepGroup();
    EXPECT_EQ(mTarget.getGlobalProgress(), 1.0F);
    mProxy.cancel();
    EXPECT_TRUE(mTarget.shouldCancel());
    mProxy.setInternalCancelFlag(false);
    EXPECT_FALSE(mProxy.shouldCancel());
    mProxy.setInternalCancelFlag(true);
    EXPECT_TRUE(mTarget.shouldCancel());
    mProxy.setInternalCancelFlag(false);
    mTarget.cancel();
    EXPECT_TRUE(mProxy.shouldCancel());
    mProxy.resetNotifier();
    EXPECT_FALSE(mProxy.shouldCancel());
    EXPECT_EQ(mProxy.getGlobalProgress(), 0.0F);
}

TEST_F(qzProgressNotifierThreadSafeProxyTest, ClosesGroupsUnderItsLock)
{
    qzProgressNotifierGroupCloser closer;
    mProxy.beginStepGroupWeights({1, 1}, 1, &closer);
    EXPECT_EQ(Peer::getNotifier(closer), &mProxy);

    qzMutex& mutex = Peer::editMutex(mProxy);
    mutex.lock();
    Waiter waiter([&] { closer.forgiveNotifier(/*endGroup=*/true); });
    EXPECT_TRUE(waiter.awaitSleep());
    EXPECT_FALSE(waiter.isDone());
    EXPECT_EQ(Peer::getGroups(mTarget).size(), 2U);
    mutex.unlock();
    EXPECT_TRUE(waiter.awaitDone());
    EXPECT_EQ(Peer::getGroups(mTarget).size(), 1U);
}

TEST_F(qzProgressNotifierThreadSafeProxyTest, RegistersACloserUnderItsLock)
{
    // Ended by the closer before it takes the proxy.
    class LockObserver : public qzProgressNotifierBase {
    public:
        explicit LockObserver(qzMutex& mutex) : mMutex(mutex) {}
        void endStepGroup() override
        {
            std::thread([this] {
                wasFree = mMutex.tryLock();
                if (wasFree) mMutex.unlock();
            }).join();
        }
        bool wasFree = true;

    private:
        qzMutex& mMutex;
    };
    LockObserver observer(Peer::editMutex(mProxy));
    qzProgressNotifierGroupCloser closer;
    closer.setNotifier(&observer);
    mProxy.beginStepGroupWeights({1, 1}, 1, &closer);
    EXPECT_FALSE(observer.wasFree);
}

TEST_F(qzProgressNotifierThreadSafeProxyTest, BeginsAGroupBeforeItRegistersTheCloser)
{
    // Ended by the closer before it takes the proxy.
    class GroupCounter : public qzProgressNotifierBase {
    public:
        explicit GroupCounter(const qzProgressNotifierBase& target) : mTarget(target) {}
        void endStepGroup() override { groups = Peer::getGroups(mTarget).size(); }
        std::size_t groups = 0;

    private:
        const qzProgressNotifierBase& mTarget;
    };
    GroupCounter counter(mTarget);
    qzProgressNotifierGroupCloser closer;
    closer.setNotifier(&counter);
    mProxy.beginStepGroupWeights({1, 1}, 1, &closer);
    EXPECT_EQ(counter.groups, 2U) << "the root group and the new one";
}

TEST_F(qzProgressNotifierThreadSafeProxyTest, PassesARequestToStopOnAsOne)
{
    class RequestCounter : public qzProgressNotifierBase {
    public:
        void cancel() override { ++requests; }
        int requests = 0;
    };
    RequestCounter target;
    Proxy proxy(&target);
    proxy.cancel();
    EXPECT_EQ(target.requests, 1);
    EXPECT_FALSE(target.shouldCancel()) << "what a request does is up to the target";
}

TEST_F(qzProgressNotifierThreadSafeProxyTest, CancelsAndPollsWithoutItsLock)
{
    qzMutex& mutex = Peer::editMutex(mProxy);
    mutex.lock();
    const Waiter waiter([&] {
        mProxy.cancel();
        EXPECT_TRUE(mProxy.shouldCancel());
    });
    EXPECT_TRUE(waiter.awaitDone());
    mutex.unlock();
}

TEST_F(qzProgressNotifierThreadSafeProxyTest, AllocatesNothingForAPollOrAnUpdate)
{
    const support::AllocationCounter counter;
    for (int i = 0; i < 100; ++i) {
        EXPECT_FALSE(mProxy.shouldCancel());
        mProxy.incrementCurrentStepProgress(0.001);
    }
    EXPECT_EQ(counter.getCount(), 0U);
}

TEST_F(qzProgressNotifierThreadSafeProxyTest, LosesNoIncrementOfManyThreads)
{
    constexpr int kThreads = 4;
    constexpr int kIncrements = 2000;
    mProxy.setCurrentStepMaxProgress(kThreads * kIncrements);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([this] {
            for (int step = 0; step < kIncrements; ++step)
                mProxy.incrementCurrentStepProgress(1);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mProxy.getGlobalProgress(), 1.0F);
}

TEST_F(qzProgressNotifierThreadSafeProxyTest, LetsACallbackOfItsTargetUseItAgain)
{
    class CallingBack : public qzProgressNotifierBase {
    public:
        Proxy* proxy = nullptr;
        float seen = -1;

    protected:
        void onProgressChanged(float /*progress*/) override
        {
            if (proxy != nullptr) seen = proxy->getGlobalProgress();
        }
    };
    CallingBack target;
    Proxy proxy(&target);
    target.proxy = &proxy;
    const Waiter waiter([&] { proxy.setCurrentStepProgress(0.5); });
    EXPECT_TRUE(waiter.awaitDone());
    EXPECT_EQ(target.seen, 0.5F);
}

struct LockedCallRow {
    const char* name;
    std::function<void(Proxy&)> call;
};

class qzProgressNotifierLockedCall : public ::testing::TestWithParam<LockedCallRow> {};

TEST_P(qzProgressNotifierLockedCall, WaitsForTheLockOfTheProxy)
{
    const support::LibraryStart library(FullInit);
    qzProgressNotifierBase target;
    Proxy proxy(&target);
    qzMutex& mutex = Peer::editMutex(proxy);
    mutex.lock();
    const Waiter waiter([&] { GetParam().call(proxy); });
    EXPECT_TRUE(waiter.awaitSleep());
    EXPECT_FALSE(waiter.isDone());
    mutex.unlock();
    EXPECT_TRUE(waiter.awaitDone());
}

const LockedCallRow kLockedCalls[] = {
    {"setInternalCancelFlag", [](Proxy& proxy) { proxy.setInternalCancelFlag(true); }},
    {"resetNotifier", [](Proxy& proxy) { proxy.resetNotifier(); }},
    {"beginStepGroupWeights",
     [](Proxy& proxy) {
         proxy.beginStepGroupWeights({1, 1}, 1, nullptr);
     }},
    {"endStepGroup", [](Proxy& proxy) { proxy.endStepGroup(); }},
    {"changeCurrentStep", [](Proxy& proxy) { proxy.changeCurrentStep(1, 0); }},
    {"setCurrentStepMaxProgress", [](Proxy& proxy) { proxy.setCurrentStepMaxProgress(2); }},
    {"getCurrentStepProgress", [](Proxy& proxy) { getStep(proxy); }},
    {"setCurrentStepProgress", [](Proxy& proxy) { proxy.setCurrentStepProgress(0.5); }},
    {"incrementCurrentStepProgress", [](Proxy& proxy) { proxy.incrementCurrentStepProgress(1); }},
    {"getGlobalProgress", [](Proxy& proxy) { proxy.getGlobalProgress(); }},
};

INSTANTIATE_TEST_SUITE_P(Rows, qzProgressNotifierLockedCall, ::testing::ValuesIn(kLockedCalls),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace qz
