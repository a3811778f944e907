// SPDX-License-Identifier: MIT
#include <qz/qzThread.h>

#include <unistd.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzSystemUtils.h>

#include "PlatformCalls.h"
#include "ThreadFixture.h"
#include "io/VirtualSlots.h"
#include "qzThreadTestPeer.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/Waiting.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::runInChild;
using support::waitUntil;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

static_assert(std::is_abstract_v<qzThread> && std::is_abstract_v<qzRunnableInterface>);
static_assert(!std::is_base_of_v<qzRunnableInterface, qzThread>);
static_assert(sizeof(qzRunnableInterface) == 8, "no fields");
static_assert(std::has_virtual_destructor_v<qzThread> &&
              std::has_virtual_destructor_v<qzRunnableInterface>);
static_assert(!std::is_copy_constructible_v<qzThread>);
static_assert(std::is_nothrow_destructible_v<qzThread>);
static_assert(qzThread::msNoLimit == 0x7fffffff);

constexpr int kDeletingDestructor = 1;
constexpr int kRun = 2;
constexpr int kGetRunnableName = 3;
class RunnableProbe : public qzRunnableInterface {
public:
    explicit RunnableProbe(bool* ended) : mEnded(ended) {}
    ~RunnableProbe() override { *mEnded = true; }
    void run() override { ++mRuns; }
    const char* getRunnableName() const override { return "probe"; }
    int getRuns() const { return mRuns; }

private:
    bool* mEnded;
    int mRuns = 0;
};

// The cell after the first field holds the pointer to the thread.
std::thread*& editThread(const qzThread& thread)
{
    return *readField<std::thread**>(&thread, 8);
}

}  // namespace

// --- States

TEST_F(qzThreadTest, IsNeitherRunningNorUnfinishedBeforeItsStart)
{
    NamedThread thread;
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.isFinished());
    EXPECT_EQ(thread.getThreadId(), "InvalidThread");
    EXPECT_EQ(qzThreadTestPeer::getDescription(thread), "");
}

TEST_F(qzThreadTest, IsNotWaitedForBeforeItsStart)
{
    NamedThread thread;
    for (const int timeoutMs : {0, 1, -1, 1000, qzThread::msNoLimit}) {
        EXPECT_FALSE(thread.waitThread(timeoutMs)) << timeoutMs;
    }
}

TEST_F(qzThreadTest, RunsFromItsStartOn)
{
    BusyThread thread;
    EXPECT_TRUE(thread.isRunning()) << "before the thread itself";
    EXPECT_FALSE(thread.isFinished());
    ASSERT_TRUE(thread.awaitInside());
    EXPECT_TRUE(thread.isRunning());
    EXPECT_FALSE(thread.isFinished());
}

TEST_F(qzThreadTest, IsNotFinishedBetweenItsEndAndTheWait)
{
    NamedThread thread;
    thread.startThread("short");
    ASSERT_TRUE(waitUntil([&] { return !thread.isRunning(); }));
    EXPECT_FALSE(thread.isFinished());
    EXPECT_NE(thread.getThreadId(), "InvalidThread");
    EXPECT_TRUE(thread.waitThread(0));
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.isFinished());
    EXPECT_EQ(thread.getThreadId(), "InvalidThread");
}

TEST_F(qzThreadTest, IsWaitedForOnce)
{
    NamedThread thread;
    thread.startThread("short");
    EXPECT_TRUE(thread.waitThread(qzThread::msNoLimit));
    EXPECT_FALSE(thread.waitThread(qzThread::msNoLimit));
    EXPECT_FALSE(thread.waitThread(0));
}

TEST_F(qzThreadTest, StartsAgainAfterAWait)
{
    int runs = 0;
    TestThread thread([&] { ++runs; });
    for (int i = 1; i <= 3; ++i) {
        thread.startThread("again");
        EXPECT_TRUE(thread.waitThread(qzThread::msNoLimit));
        EXPECT_EQ(runs, i);
    }
}

TEST_F(qzThreadTest, IgnoresASecondStart)
{
    BusyThread thread;
    ASSERT_TRUE(thread.awaitInside());
    const std::string id = thread.getThreadId();
    const std::string description = qzThreadTestPeer::getDescription(thread);
    thread.startThread("another");
    EXPECT_EQ(thread.getThreadId(), id);
    EXPECT_EQ(qzThreadTestPeer::getDescription(thread), description);
}

TEST_F(qzThreadTest, IgnoresAStartBetweenItsEndAndTheWait)
{
    std::atomic<int> runs = 0;
    TestThread thread([&] { ++runs; });
    thread.startThread("once");
    ASSERT_TRUE(waitUntil([&] { return !thread.isRunning(); }));
    thread.startThread("twice");
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.waitThread(qzThread::msNoLimit));
    EXPECT_EQ(runs, 1);
}

TEST_F(qzThreadTest, RunsOnAThreadOfItsOwn)
{
    std::string id;
    TestThread thread([&] { id = qzThread::CurrentThreadId(); });
    thread.startThread(nullptr);
    ASSERT_TRUE(thread.waitThread(qzThread::msNoLimit));
    EXPECT_NE(id, "");
    EXPECT_NE(id, qzThread::CurrentThreadId());
}

TEST_F(qzThreadTest, WaitsAtItsEnd)
{
    bool hasRun = false;
    {
        class LateThread : public qzThread {
        public:
            explicit LateThread(bool* hasRun) : mHasRun(hasRun) {}
            void run() override
            {
                bool* const hasRun = mHasRun;  // the object is on its way out after this
                mIsInside = true;
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                *hasRun = true;
            }
            std::atomic<bool> mIsInside = false;

        private:
            bool* mHasRun;
        };
        LateThread thread(&hasRun);
        thread.startThread("late");
        ASSERT_TRUE(waitUntil([&] { return thread.mIsInside.load(); }));
    }
    EXPECT_TRUE(hasRun);
}

// --- Waits

TEST_F(qzThreadTest, EndsAWaitForARunningThreadAfterItsTime)
{
    BusyThread thread;
    ASSERT_TRUE(thread.awaitInside());
    for (const int timeoutMs : {-1, 0, 1, 20}) {
        const unsigned long begin = qzSystemUtils::GetTimeBaseMs();
        EXPECT_FALSE(thread.waitThread(timeoutMs)) << timeoutMs;
        const auto passedMs = static_cast<long>(qzSystemUtils::GetTimeBaseMs() - begin);
        EXPECT_GT(passedMs, timeoutMs);
        EXPECT_TRUE(thread.isRunning());
        EXPECT_FALSE(thread.isFinished());
    }
}

TEST_F(qzThreadTest, EndsAWaitWithALimitWhenTheThreadEnds)
{
    BusyThread thread;
    thread.letEnd();
    EXPECT_TRUE(thread.waitThread(0x7ffffffe));
    EXPECT_TRUE(thread.isFinished());
}

// As when a thread waits for itself, which the sanitizer for threads doesn't survive.
TEST_F(qzThreadTest, StaysAsItWasWhenTheSystemRefusesTheWait)
{
    NamedThread thread;
    std::thread none;
    editThread(thread) = &none;
    EXPECT_THROW(thread.waitThread(qzThread::msNoLimit), std::system_error);
    EXPECT_EQ(editThread(thread), &none);
    editThread(thread) = nullptr;
}

// --- What subclasses use ---------------------------------------------------------------------

TEST_F(qzThreadTest, LeavesAsynchronousSignalsToOtherThreads)
{
    class Body : public qzThread {
    public:
        void run() override { ::pthread_sigmask(SIG_SETMASK, nullptr, &mask); }
        void start() { startThreadWithSignalsBlocked("body"); }
        sigset_t mask;
    };
    sigset_t before;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &before);
    Body thread;
    thread.start();
    ASSERT_TRUE(thread.waitThread(qzThread::msNoLimit));
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1}) {
        EXPECT_EQ(::sigismember(&thread.mask, signal), 1) << signal;
    }
    for (const int signal : {SIGSEGV, SIGABRT, SIGFPE}) {
        EXPECT_EQ(::sigismember(&thread.mask, signal), 0) << signal;
    }
    sigset_t after;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(::sigismember(&after, SIGTERM), ::sigismember(&before, SIGTERM));
}

TEST_F(qzThreadTest, GivesTheMaskBackToAChildThatItForks)
{
    class Body : public qzThread {
    public:
        void run() override
        {
            end = support::runInChild([] {
                      sigset_t mask;
                      ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
                      return ::sigismember(&mask, SIGTERM) == 0 ? 42 : 1;
                  }).getEnd();
        }
        void start() { startThreadWithSignalsBlocked("body"); }
        std::string end;
    };
    Body thread;
    thread.start();
    ASSERT_TRUE(thread.waitThread(qzThread::msNoLimit));
    EXPECT_EQ(thread.end, "exit 42");
}

TEST_F(qzThreadTest, LetsItsThreadGoOnThatThreadOnly)
{
    class Body : public qzThread {
    public:
        void run() override
        {
            wasReleased = releaseOwnThread();
            isDone = true;
        }
        bool release() { return releaseOwnThread(); }
        std::atomic<bool> wasReleased = false;
        std::atomic<bool> isDone = false;
    };
    Body thread;
    EXPECT_FALSE(thread.release()) << "there is none";
    thread.startThread("body");
    ASSERT_TRUE(support::waitUntil([&] { return thread.isDone.load(); }));
    EXPECT_TRUE(thread.wasReleased);
    EXPECT_FALSE(thread.waitThread(qzThread::msNoLimit)) << "nothing is left to wait for";
    ASSERT_TRUE(support::waitUntil([&] { return !thread.isRunning(); }));
}

// --- In a forked child -----------------------------------------------------------------------

namespace {

// Runs until it may end.
class HeldThread : public qzThread {
public:
    explicit HeldThread(const std::atomic<bool>& mayEnd) : mMayEnd(mayEnd) {}
    ~HeldThread() override { waitThread(msNoLimit); }
    void run() override
    {
        support::waitUntil([this] { return mMayEnd.load(); });
        ++runs;
    }
    std::atomic<int> runs = 0;

private:
    const std::atomic<bool>& mMayEnd;
};

}  // namespace

TEST_F(qzThreadTest, CountsAsEndedInAForkedChild)
{
    std::atomic<bool> mayEnd = false;
    HeldThread thread(mayEnd);
    thread.startThread("body");
    const support::ChildResult result = support::runInChild([&] {
        if (thread.isRunning()) return 1;
        if (!thread.waitThread(qzThread::msNoLimit)) return 2;
        if (thread.getThreadId() != "InvalidThread" || !thread.isFinished()) return 3;
        mayEnd = true;
        thread.startThread("again");
        return thread.waitThread(qzThread::msNoLimit) ? 42 : 4;
    });
    EXPECT_TRUE(thread.isRunning());
    mayEnd = true;
    EXPECT_EQ(result.getEnd(), "exit 42");
}

TEST_F(qzThreadTest, StartsAgainInAForkedChildWithoutAWait)
{
    std::atomic<bool> mayEnd = false;
    HeldThread thread(mayEnd);
    thread.startThread("body");
    const support::ChildResult result = support::runInChild([&] {
        mayEnd = true;
        thread.startThread("again");
        thread.waitThread(qzThread::msNoLimit);
        return thread.runs == 1 ? 42 : 1;
    });
    mayEnd = true;
    EXPECT_EQ(result.getEnd(), "exit 42");
}

class qzThreadCalls : public ::testing::TestWithParam<PlatformCallsRow> {};

TEST_P(qzThreadCalls, AreThoseOfItsRow)
{
    EXPECT_EQ(getPlatformCalls(GetParam().step), GetParam().calls);
}

const std::string kSleep = "usleep 15000\n";

const PlatformCallsRow kCalls[] = {
    // The limit is passed by the first look that finds more than it gone.
    {"NegativeWait", {"wait-thread", "-1"}, "false\n"},
    {"WaitForNothing", {"wait-thread", "0"}, kSleep + "false\n"},
    {"Wait14", {"wait-thread", "14"}, kSleep + "false\n"},
    {"Wait15", {"wait-thread", "15"}, kSleep + kSleep + "false\n"},
    {"Wait44", {"wait-thread", "44"}, kSleep + kSleep + kSleep + "false\n"},
    {"Wait45", {"wait-thread", "45"}, kSleep + kSleep + kSleep + kSleep + "false\n"},
    // A thread that has ended by then was waited for.
    {"ThreadThatEndsAtTheLimit", {"wait-thread-that-ends", "-1"}, "true\n"},
    // Sleeps are counted in microseconds of 32 bits.
    {"SleepNothing", {"sleep", "0"}, "usleep 0\n"},
    {"Sleep", {"sleep", "2"}, "usleep 2000000\n"},
    {"LongestSleep", {"sleep", "4294"}, "usleep 4294000000\n"},
    {"SleepBeyond", {"sleep", "4295"}, "usleep 32704\n"},
    {"SleepBeyond32Bits", {"sleep", "4294967297"}, "usleep 1000000\n"},
    {"MsleepNothing", {"msleep", "0"}, "usleep 0\n"},
    {"Msleep", {"msleep", "15"}, kSleep},
    {"LongestMsleep", {"msleep", "4294967"}, "usleep 4294967000\n"},
    {"MsleepBeyond", {"msleep", "4294968"}, "usleep 704\n"},
    {"MsleepBeyond32Bits", {"msleep", "4294967297"}, "usleep 1000\n"},
    {"Usleep", {"usleep", "5"}, "usleep 5\n"},
    {"LongestUsleep", {"usleep", "4294967295"}, "usleep 4294967295\n"},
    {"UsleepBeyond32Bits", {"usleep", "4294967301"}, "usleep 5\n"},
};

INSTANTIATE_TEST_SUITE_P(Rows, qzThreadCalls, ::testing::ValuesIn(kCalls),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzThreadWait, WithoutALimitJoinsAndNeverSleeps)
{
    EXPECT_EQ(getPlatformCalls({"join-thread"}), "true\n");
}

TEST(qzThreadWait, WithoutAClockGoesOnUntilTheThreadEnds)
{
    const std::string calls = getPlatformCalls({"wait-thread-without-clock", "0"});
    EXPECT_THAT(calls, HasSubstr(kSleep + kSleep + kSleep));
    EXPECT_THAT(calls, ::testing::EndsWith("\ntrue\n"));
}

// --- Its bodies

TEST(qzThreadExit, EndsAThreadAsAReturnDoes)
{
    const ChildResult result = runInChild([] {
        const LibraryStart library(FullInit);
        const support::LogCapture log;
        bool isUnwound = false;
        TestThread thread([&] {
            const auto unwind = [&](const void* /*unused*/) { isUnwound = true; };
            const int anything = 0;
            const std::unique_ptr<const int, decltype(unwind)> local(&anything, unwind);
            ::pthread_exit(nullptr);
        });
        thread.startThread("leaver");
        const bool isWaitedFor = thread.waitThread(60'000);
        return isUnwound && isWaitedFor && thread.isFinished() && log.getLines().empty() ? 42 : 1;
    });
    EXPECT_EQ(result.getEnd(), "exit 42") << result.err;
}

TEST_F(qzThreadTest, RunsItsBodyByTheEntryOfThreads)
{
    int runs = 0;
    TestThread thread([&] {
        EXPECT_TRUE(runs == 0);
        ++runs;
    });
    qzThread::Run(&thread);
    EXPECT_EQ(runs, 1);
    EXPECT_FALSE(thread.isRunning());
}

TEST_F(qzThreadTest, RunsItsBodyByTheEntryOfTheGuard)
{
    int runs = 0;
    TestThread thread([&] { ++runs; });
    qzThread::RunImpl(static_cast<qzThread*>(&thread));
    EXPECT_EQ(runs, 1);
}

TEST(qzThreadEnd, ByAnExceptionIsReportedAndEndsTheProcess)
{
    const ChildResult result = runInChild([] {
        const LibraryStart library(FullInit);
        TestThread thread([] { throw std::runtime_error("the body's own text"); });
        thread.startThread("throws");
        thread.waitThread(qzThread::msNoLimit);
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "signal 6") << result.err;
    EXPECT_THAT(result.out, HasSubstr("Catch an exception : 'std::runtime_error(\"the body's own "
                                      "text\")' see application and system logs"));
}

TEST(qzThreadEnd, LeavesTheFlagOfAThreadThatThrew)
{
    const ChildResult result = runInChild([] {
        const LibraryStart library;
        std::set_terminate([] { ::_exit(42); });
        TestThread thread([] { throw 7; });
        try {
            thread.startThread("throws");  // on another thread, where nothing catches it
            thread.waitThread(qzThread::msNoLimit);
        } catch (...) {
            return 1;
        }
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 42");
}

TEST(qzThreadStart, ThatIsRefusedThrowsAndCountsAsRunning)
{
    const ChildResult result = support::runProgram({.program = "thread_refused"});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "01 InvalidThread 0\nEAGAIN\n10 InvalidThread 0\n1\n");
}

// --- Layout

static_assert(sizeof(qzThread) == 56);

TEST_F(qzThreadTest, HoldsItsFieldsInTheirOrder)
{
    const NamedThread thread;
    EXPECT_THAT(qzThreadTestPeer::getOffsets(thread), ElementsAre(8, 16, 48));
}

TEST_F(qzThreadTest, HasTheDestructorAndTheBodyForVirtualFunctions)
{
    class ProbeThread : public qzThread {
    public:
        explicit ProbeThread(std::string* trace) : mTrace(trace) {}
        ~ProbeThread() override { *mTrace += "end "; }
        void run() override { *mTrace += "run "; }

    private:
        std::string* mTrace;
    };
    std::string trace;
    auto thread = std::make_unique<ProbeThread>(&trace);
    callSlot<void>(thread.get(), kRun);
    callSlot<void>(thread.release(), kDeletingDestructor);
    EXPECT_EQ(trace, "run end ");
}

TEST(qzRunnableInterfaceTest, HasTheDestructorTheWorkAndItsNameForVirtualFunctions)
{
    bool ended = false;
    auto runnable = std::make_unique<RunnableProbe>(&ended);
    callSlot<void>(runnable.get(), kRun);
    EXPECT_EQ(runnable->getRuns(), 1);
    EXPECT_STREQ(callSlot<const char*>(runnable.get(), kGetRunnableName), "probe");
    callSlot<void>(runnable.release(), kDeletingDestructor);
    EXPECT_TRUE(ended);
}

TEST_F(qzThreadTest, ServesManyThreadsAtOnce)
{
    constexpr int kThreads = 8;
    std::atomic<int> runs = 0;
    for (int round = 0; round < 10; ++round) {
        std::list<TestThread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] { ++runs; }).startThread(nullptr);
        }
        for (TestThread& thread : threads)
            EXPECT_TRUE(thread.waitThread(qzThread::msNoLimit));
    }
    EXPECT_EQ(runs, 10 * kThreads);
}

}  // namespace qz
