// SPDX-License-Identifier: MIT
#include <qz/MemoryWatchDog.h>

#include <csignal>
#include <memory>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "concurrency/LockedElsewhere.h"
#include "concurrency/NewThreads.h"
#include "concurrency/Waiter.h"
#include "concurrency/qzThreadTestPeer.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/Waiting.h"
#include "system/MemoryWatchDogTestPeer.h"

namespace qz {

using support::ChildResult;
using support::runProgram;
using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using Peer = MemoryWatchDogTestPeer;

namespace {

constexpr unsigned long kHighMiB = 1UL << 40;

// The fields begin in the last bytes of the thread.
static_assert(sizeof(MemoryWatchDog) == 136);
static_assert(!std::is_convertible_v<MemoryWatchDog*, qzThread*>, "a private base");
static_assert(!std::is_copy_constructible_v<MemoryWatchDog>);

constexpr char kReport[] =
    "CRITICAL PID [0-9]+ .* : Memory watchdog 'dog' : process is using too "
    "much RAM [0-9.]+[kMG]B, it will be killed, threshold was 0B\n";

class MemoryWatchDogTest : public ::testing::Test {
protected:
    support::LibraryStart mStart = support::LibraryStart(FullInit);
};

}  // namespace

// --- The end of the process ------------------------------------------------------------------

TEST(MemoryWatchDogExit, EndsAProcessAboveTheLimitWithTheExitCode)
{
    const ChildResult result = runProgram({.program = "watchdog", .arguments = {"trip", "42"}});
    EXPECT_EQ(result.getEnd(), "exit 42");
    EXPECT_THAT(result.out, ContainsRegex(kReport));
    EXPECT_THAT(result.out, HasSubstr("[exit on another thread]"));
}

TEST(MemoryWatchDogExit, ReportsBeforeTheExit)
{
    const ChildResult result = runProgram({.program = "watchdog", .arguments = {"slow-log", "6"}});
    EXPECT_EQ(result.getEnd(), "exit 6");
    EXPECT_EQ(result.out, "[too much]\n[exit on another thread]\n");
}

TEST(MemoryWatchDogExit, DestroysAStaticWatchdogOnItsOwnThread)
{
    const ChildResult result = runProgram({.program = "watchdog", .arguments = {"static", "3"}});
    EXPECT_EQ(result.getEnd(), "exit 3");
    EXPECT_THAT(result.out, ContainsRegex(kReport));
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("[statics destroyed]"), HasSubstr("[exit on another thread]")));
    EXPECT_EQ(result.err, "");
}

TEST(MemoryWatchDogExit, ExitsOnceIfTwoWatchdogsFindTooMuch)
{
    const ChildResult result = runProgram({.program = "watchdog", .arguments = {"two", "4"}});
    EXPECT_EQ(result.getEnd(), "exit 4");
    EXPECT_THAT(result.out, AllOf(HasSubstr("Memory watchdog 'first' : process is using"),
                                  HasSubstr("Memory watchdog 'second' : process is using"),
                                  HasSubstr("[both reported]\n[statics destroyed]\n[exit on")));
}

TEST(MemoryWatchDogExit, ReportsOnStandardOutputWithoutAStart)
{
    const ChildResult result = runProgram({.program = "watchdog", .arguments = {"unstarted", "5"}});
    EXPECT_EQ(result.getEnd(), "exit 5");
    EXPECT_THAT(result.out,
                ContainsRegex("Memory watchdog 'dog' : start with a threshold of 0B\n"));
    EXPECT_THAT(result.out, ContainsRegex("Memory watchdog 'dog' : process is using too much RAM "
                                          "[0-9.]+[kMG]B, it will be killed, threshold was 0B\n"));
}

// --- Checks ----------------------------------------------------------------------------------

TEST(MemoryWatchDogChecks, ReadsEach200MsOnAWakeAndNeverWhileDisabled)
{
    const ChildResult result = runProgram({.program = "watchdog", .arguments = {"checks"}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.out, HasSubstr("as expected\n"));
}

TEST(MemoryWatchDogChecks, LeavesAProcessAtItsLimitAlone)
{
    const ChildResult result = runProgram({.program = "watchdog", .arguments = {"unread", "1"}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.out, HasSubstr("alive\n"));
}

TEST_F(MemoryWatchDogTest, SwitchesOnAndOffWithATraceReport)
{
    const support::LogCapture log(LogLevelAll);
    {
        MemoryWatchDog dog("import", 1536, 1);
        EXPECT_TRUE(dog.isMonitoringEnabled());
        dog.setMonitoringEnabled(false);
        EXPECT_FALSE(dog.isMonitoringEnabled());
        dog.setMonitoringEnabled(true);
        EXPECT_TRUE(dog.isMonitoringEnabled());
    }
    const auto lines = [&] { return log.getLines(); };
    EXPECT_TRUE(support::waitUntil([&] { return lines().size() >= 3; }));
    EXPECT_THAT(lines(),
                ElementsAre("TRACE Memory watchdog 'import' : start with a threshold of 1.5GB",
                            "TRACE Memory watchdog 'import' : stop",
                            "TRACE Memory watchdog 'import' : start with a threshold of 1.5GB"));
}

TEST_F(MemoryWatchDogTest, LeavesAProcessBelowTheLimitAlone)
{
    const support::LogCapture log;
    {
        const MemoryWatchDog dog("dog", kHighMiB, 1);
    }
    qzLog::msInstance->flush();
    EXPECT_THAT(log.getLines(), ElementsAre());
}

TEST_F(MemoryWatchDogTest, HasAThreadThatLeavesSignalsFromOutsideToOthers)
{
    const NewThreads threads;
    const MemoryWatchDog dog("dog", kHighMiB, 1);
    ASSERT_THAT(threads.get(), SizeIs(1));
    EXPECT_TRUE(isSignalBlocked(threads.get().front(), SIGTERM));
}

TEST_F(MemoryWatchDogTest, HasAThreadThatIsDescribedByItsType)
{
    const MemoryWatchDog dog("dog", kHighMiB, 1);
    const qzThread& thread = Peer::getThread(dog);
    EXPECT_EQ(qzThreadTestPeer::getDescription(thread),
              "N2qz14MemoryWatchDogE " + Peer::getThreadId(dog));
}

TEST_F(MemoryWatchDogTest, WaitsForItsMutexWhenItsStateIsRead)
{
    MemoryWatchDog dog("dog", kHighMiB, 1);
    bool isEnabled = false;
    auto locked = std::make_unique<LockedElsewhere>(Peer::editMutex(dog));
    const Waiter waiter([&] { isEnabled = dog.isMonitoringEnabled(); });
    EXPECT_TRUE(waiter.awaitSleep());
    EXPECT_FALSE(waiter.isDone());
    locked.reset();
    EXPECT_TRUE(waiter.awaitDone());
    EXPECT_TRUE(isEnabled);
}

TEST_F(MemoryWatchDogTest, LeavesItsLoopWhenItIsStopped)
{
    MemoryWatchDog dog("dog", kHighMiB, 1);
    Peer::requestStop(dog);
    dog.run();
    SUCCEED() << "otherwise the test hangs";
}

// The thread would sleep for ever, as nobody wakes it a second time.
TEST_F(MemoryWatchDogTest, DoesNotSleepWhenItIsStoppedJustBefore)
{
    MemoryWatchDog dog("dog", kHighMiB, 1);
    dog.setMonitoringEnabled(false);
    auto locked = std::make_unique<qzMutexLocker>(Peer::editMutex(dog));
    const Waiter runner([&] { dog.run(); });
    EXPECT_TRUE(runner.awaitSleep());
    Peer::requestStop(dog);
    locked.reset();
    EXPECT_TRUE(runner.awaitDone());
}

// --- In a forked child -----------------------------------------------------------------------

TEST_F(MemoryWatchDogTest, CanBeDestroyedInAForkedChildWhileItsMutexIsLocked)
{
    auto dog = std::make_unique<MemoryWatchDog>("dog", kHighMiB, 1);
    const LockedElsewhere locked(Peer::editMutex(*dog));
    const ChildResult result = support::runInChild(
        [&] {
            dog.reset();
            return 42;
        },
        {}, /*timeoutSec=*/60);
    EXPECT_EQ(result.getEnd(), "exit 42");
}

// --- Layout ----------------------------------------------------------------------------------

TEST_F(MemoryWatchDogTest, KeepsTheOrderOfItsFields)
{
    const MemoryWatchDog dog("dog", kHighMiB, 1);
    EXPECT_THAT(Peer::getOffsets(dog), ElementsAre(52, 56, 64, 96, 112, 128, 129));
}

TEST_F(MemoryWatchDogTest, ShiftsTheLimitToBytes)
{
    const MemoryWatchDog dog("dog", kHighMiB + 3, 1);
    EXPECT_EQ(Peer::getThresholdBytes(dog), (1UL << 60) + 3 * 1024 * 1024);
}

// The two destructors have the slots before it.
TEST_F(MemoryWatchDogTest, RunsByItsVirtualSlot)
{
    MemoryWatchDog dog("dog", kHighMiB, 1);
    Peer::requestStop(dog);
    callSlot<void>(&dog, 2);
    SUCCEED() << "otherwise the test crashes or hangs";
}

}  // namespace qz
