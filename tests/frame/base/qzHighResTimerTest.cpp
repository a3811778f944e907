// SPDX-License-Identifier: MIT
#include <qz/qzHighResTimer.h>

#include <sys/time.h>

#include <type_traits>

#include <gtest/gtest.h>

#include "io/VirtualSlots.h"
#include "support/ChildProcess.h"
#include "support/Waiting.h"

namespace qz {

using support::ChildResult;
using support::waitUntil;

namespace {

static_assert(sizeof(qzHighResTimer) == 8 && !std::is_polymorphic_v<qzHighResTimer>);
static_assert(!std::is_copy_constructible_v<qzHighResTimer>);

// The block after the timer's one field.
const void* getBlock(const qzHighResTimer& timer)
{
    return readField<const void*>(&timer, 0);
}

bool isZero(const timeval& time)
{
    return time.tv_sec == 0 && time.tv_usec == 0;
}

}  // namespace

TEST(qzHighResTimerTest, IsClearedAtFirst)
{
    qzHighResTimer timer;
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(timer.getElapsedTimeInMicroSec(), 0);
    EXPECT_EQ(timer.getElapsedTimeInMilliSec(), 0);
    EXPECT_EQ(timer.getElapsedTimeInSec(), 0);
}

TEST(qzHighResTimerTest, RisesWhileItRunsAndKeepsItsValueWhenItIsStopped)
{
    qzHighResTimer timer;
    timer.start();
    EXPECT_TRUE(timer.isRunning());
    const double first = timer.getElapsedTimeInMicroSec();
    EXPECT_GE(first, 0);
    EXPECT_TRUE(waitUntil([&] { return timer.getElapsedTimeInMicroSec() > first; }));
    timer.stop();
    EXPECT_FALSE(timer.isRunning());
    const double last = timer.getElapsedTimeInMicroSec();
    EXPECT_GT(last, first);
    EXPECT_EQ(timer.getElapsedTimeInMicroSec(), last);
    EXPECT_EQ(timer.getElapsedTimeInMilliSec(), last * 0.001);
    EXPECT_EQ(timer.getElapsedTimeInSec(), last * 0.000001);
}

TEST(qzHighResTimerTest, ReadsTheClockAtItsSteps)
{
    const ChildResult result = support::runProgram({.program = "stopwatch"});
    EXPECT_EQ(result.getEnd(), "exit 0");
    // The n-th reading is a second and n microseconds after the one before.
    EXPECT_EQ(result.out,
              "made: stopped 0 us, 0 readings\n"
              "stopped unstarted: stopped 0 us, 0 readings\n"
              "started: running 1000002 us, 2 readings\n"
              "asked again: running 2000005 us, 3 readings\n"
              "stopped: stopped 3000009 us, 4 readings\n"
              "asked again: stopped 3000009 us, 4 readings\n"
              "stopped again: stopped 3000009 us, 4 readings\n"
              "3000.009 ms, 3.0000089999999999 s\n"
              "started twice: running 1000007 us, 7 readings\n"
              "cleared while running: stopped 0 us, 7 readings\n"
              "cleared: stopped 0 us, 9 readings\n");
}

TEST(qzHighResTimerTest, HoldsTwoTimesAndAFlagInItsBlock)
{
    qzHighResTimer timer;
    const void* const block = getBlock(timer);
    EXPECT_TRUE(isZero(readField<timeval>(block, 0)));
    EXPECT_TRUE(isZero(readField<timeval>(block, 16)));
    EXPECT_TRUE(readField<bool>(block, 32));
    timer.start();
    EXPECT_FALSE(isZero(readField<timeval>(block, 0)));
    EXPECT_TRUE(isZero(readField<timeval>(block, 16)));
    EXPECT_FALSE(readField<bool>(block, 32));
    timer.getElapsedTimeInSec();
    EXPECT_FALSE(isZero(readField<timeval>(block, 16))) << "asking moves it";
    timer.clearTimer();
    EXPECT_TRUE(isZero(readField<timeval>(block, 0)));
    EXPECT_TRUE(isZero(readField<timeval>(block, 16)));
    EXPECT_TRUE(readField<bool>(block, 32));
}

TEST(qzHighResTimerTest, KeepsTheOldStopTimeAtARestart)
{
    qzHighResTimer timer;
    timer.start();
    timer.stop();
    const auto stop = readField<timeval>(getBlock(timer), 16);
    timer.start();
    const auto kept = readField<timeval>(getBlock(timer), 16);
    EXPECT_EQ(kept.tv_sec, stop.tv_sec);
    EXPECT_EQ(kept.tv_usec, stop.tv_usec);
}

}  // namespace qz
