// SPDX-License-Identifier: MIT
#include <climits>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <qz/qzSystem.h>

#include "frame/start/LibInitCounterTestPeer.h"

namespace qz::impl {

using Peer = LibInitCounterTestPeer;

TEST(LibInitCounterTest, BeginsAtNothing)
{
    const LibInitCounter counter("mine", true);
    EXPECT_EQ(counter.getInitCounter(), 0U);
    EXPECT_FALSE(counter.isInitialized());
    EXPECT_FALSE(Peer::isTouched(counter));
}

TEST(LibInitCounterTest, KeepsItsNameAndFlag)
{
    std::string name = "mine";
    const LibInitCounter counter(name.c_str(), true);
    name = "changed";
    EXPECT_EQ(Peer::getName(counter), "mine");
    EXPECT_TRUE(Peer::getFlag(counter));
    EXPECT_FALSE(Peer::getFlag(LibInitCounter("mine", false)));
    EXPECT_EQ(Peer::getName(LibInitCounter(nullptr, false)), "n/a");
    EXPECT_EQ(Peer::getName(LibInitCounter("", false)), "");
}

TEST(LibInitCounterTest, ReportsTheFirstIncrementAlone)
{
    LibInitCounter counter("mine", false);
    EXPECT_TRUE(counter.incrementInitCounter());
    EXPECT_FALSE(counter.incrementInitCounter());
    EXPECT_FALSE(counter.incrementInitCounter());
    EXPECT_EQ(counter.getInitCounter(), 3U);
    EXPECT_TRUE(counter.isInitialized());
}

TEST(LibInitCounterTest, ReportsTheLastDecrementAlone)
{
    LibInitCounter counter("mine", false);
    counter.incrementInitCounter();
    counter.incrementInitCounter();
    EXPECT_FALSE(counter.decrementInitCounter());
    EXPECT_EQ(counter.getInitCounter(), 1U);
    EXPECT_TRUE(counter.decrementInitCounter());
    EXPECT_FALSE(counter.isInitialized());
}

TEST(LibInitCounterTest, CountsAnewAfterTheLastDecrement)
{
    LibInitCounter counter("mine", false);
    counter.incrementInitCounter();
    counter.decrementInitCounter();
    EXPECT_TRUE(counter.incrementInitCounter());
}

TEST(LibInitCounterTest, WrapsAroundBelowZero)
{
    LibInitCounter counter("mine", false);
    EXPECT_FALSE(counter.decrementInitCounter());
    EXPECT_EQ(counter.getInitCounter(), UINT_MAX);
    EXPECT_TRUE(counter.isInitialized());
    EXPECT_FALSE(counter.incrementInitCounter());
    EXPECT_EQ(counter.getInitCounter(), 0U);
}

TEST(LibInitCounterTest, ClearsItsCountAndNothingElse)
{
    LibInitCounter counter("mine", true);
    counter.incrementInitCounter();
    counter.incrementInitCounter();
    counter.clearInitCounter();
    EXPECT_EQ(counter.getInitCounter(), 0U);
    EXPECT_FALSE(counter.isInitialized());
    EXPECT_TRUE(Peer::isTouched(counter));
    EXPECT_TRUE(Peer::getFlag(counter));
    EXPECT_EQ(Peer::getName(counter), "mine");
}

TEST(LibInitCounterTest, IsTouchedByIncrementsOnly)
{
    LibInitCounter counter("mine", false);
    counter.decrementInitCounter();
    counter.clearInitCounter();
    EXPECT_FALSE(Peer::isTouched(counter));
    counter.incrementInitCounter();
    counter.decrementInitCounter();
    EXPECT_TRUE(Peer::isTouched(counter));
}

// Taken before main, when nobody can have stored another value yet.
const bool kWarningsAtLoad = LibInitCounter::msLibInitWarnings;

TEST(LibInitCounterTest, StoresTheWarningsSwitch)
{
    EXPECT_TRUE(kWarningsAtLoad);
    LibInitCounter::SetLibInitWarningsEnabled(false);
    EXPECT_FALSE(LibInitCounter::msLibInitWarnings);
    LibInitCounter::SetLibInitWarningsEnabled(true);
    EXPECT_TRUE(LibInitCounter::msLibInitWarnings);
}

}  // namespace qz::impl
