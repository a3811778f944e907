// SPDX-License-Identifier: MIT
#include <climits>
#include <iostream>

#include <gtest/gtest.h>

#include <qz/qzSystem.h>

#include "frame/start/InitCounters.h"
#include "frame/start/LibInitCounterTestPeer.h"
#include "support/ChildProcess.h"

namespace qz {

using Peer = impl::LibInitCounterTestPeer;

// Each test begins with the library stopped, and leaves it so.
class qzSystemCounters : public ::testing::Test {
protected:
    void SetUp() override { expectCounts(0, 0); }
    void TearDown() override { expectCounts(0, 0); }

    static void expectCounts(unsigned light, unsigned full)
    {
        EXPECT_EQ(gLightCounter.getInitCounter(), light);
        EXPECT_EQ(gFullCounter.getInitCounter(), full);
    }
};

TEST_F(qzSystemCounters, HaveTheirNamesAndFlags)
{
    EXPECT_EQ(Peer::getName(gLightCounter), "systemlight");
    EXPECT_TRUE(Peer::getFlag(gLightCounter));
    EXPECT_EQ(Peer::getName(gFullCounter), "systemfull");
    EXPECT_FALSE(Peer::getFlag(gFullCounter));
}

TEST_F(qzSystemCounters, StayForAnyOtherType)
{
    initializeQzSystem(static_cast<InitType>(0));
    initializeQzSystem(static_cast<InitType>(3));
    expectCounts(0, 0);
}

TEST_F(qzSystemCounters, CountEveryStartAndTheFullOnes)
{
    initializeQzSystem(LightInit);
    expectCounts(1, 0);
    initializeQzSystem(FullInit);
    expectCounts(2, 1);
    initializeQzSystem(FullInit);
    expectCounts(3, 2);
    initializeQzSystem(LightInit);
    expectCounts(4, 2);
    terminateQzSystem();
    expectCounts(3, 2);
    terminateQzSystem();
    expectCounts(2, 2);
    terminateQzSystem();
    expectCounts(1, 2);
    terminateQzSystem();
}

TEST_F(qzSystemCounters, WrapAroundByAStopWithoutAStart)
{
    const support::ChildResult result = support::runInChild([] {
        terminateQzSystem();
        std::cout << (gLightCounter.getInitCounter() == UINT_MAX) << gFullCounter.getInitCounter();
        return 0;
    });
    EXPECT_EQ(result.out, "10");
}

}  // namespace qz
