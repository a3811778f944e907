// SPDX-License-Identifier: MIT
// The samples in the headers for the start, the log, threads, locks, progress and the machine, and
// those of the guides that are parts of functions.

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>
#include <qz/MemoryAndCpuWatcher.h>
#include <qz/MemoryWatchDog.h>
#include <qz/qzCancelConsoleEventCatcher.h>
#include <qz/qzCancelIfParentProcessDied.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzException.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzMutex.h>
#include <qz/qzProgressNotifier.h>
#include <qz/qzSystem.h>
#include <qz/qzThread.h>
#include <qz/qzWaitCondition.h>
#include <qz/qzWorkThread.h>

#include "docs/SampleTest.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/Waiting.h"

// The sample is a `main`, and this test has one.
namespace program {

int runApplication()
{
    return qz::exception::IsSigWatcherRegistered() ? 7 : 1;
}

#define main run
#include "samples/qzSystem.1.inc"
#undef main

}  // namespace program

namespace qz::docs {

namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ThreadSampleTest : public SampleTest {
protected:
    ThreadSampleTest() : SampleTest(FullInit) {}
};

// Full starts change the actions of signals, so each of these has a process of its own.

TEST(StartSampleTest, RunsBetweenStartAndStop)
{
    const support::ChildResult result = support::runInChild(&program::run);
    EXPECT_EQ(result.getEnd(), "exit 7") << result.err;
}

TEST(StartSampleTest, LogsToAFile)
{
    const support::ScratchFolder folder;
    const support::ChildResult result = support::runInChild([&] {
        std::filesystem::current_path(folder.getPath());
        std::filesystem::create_directories("var/log/shop");
#include "samples/qzLog.1.inc"
        terminateQzSystem();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
    EXPECT_THAT(folder.read("var/log/shop/shop.log"), HasSubstr(" : ready\n"));
}

TEST(StartSampleTest, StopsAtTheInterruptKey)
{
    const support::ChildResult result = support::runInChild([] {
        const support::LibraryStart library(FullInit);
        int count = 0;
        const auto work = [&] {
            if (++count == 3) std::raise(SIGINT);
        };
#include "samples/qzCancelConsoleEventCatcher.1.inc"
        return count;
    });
    EXPECT_EQ(result.getEnd(), "exit 3") << result.err;
}

TEST_F(ThreadSampleTest, LogsAWarning)
{
    const support::LogCapture log;
#include "samples/qzLogObject.1.inc"
    EXPECT_THAT(log.getLines(), ElementsAre("WARNING(network) no answer after 250 ms"));
}

TEST_F(ThreadSampleTest, GreetsFromAThread)
{
    const support::LogCapture log;
    {
#include "samples/qzThread.1.inc"
    } qzLog::msInstance->flush();
    EXPECT_THAT(log.getMessages(), ElementsAre(HasSubstr("hello from thread ")));
}

struct Cache {
    void refresh() { ++count; }
    std::atomic<int> count = 0;
};

TEST_F(ThreadSampleTest, RefreshesACache)
{
    Cache cache;
#include "samples/qzThread.2.inc"
    // A function that is added before the thread has begun is called after the first period only.
    EXPECT_TRUE(support::waitUntil([&] {
        updater.addCallback([](void*) {}, nullptr);
        return cache.count > 0;
    }));
}

struct Page : qzJob {
    void onDelete() override { isDropped = true; }
    std::atomic<bool> isShown = false;
    std::atomic<bool> isDropped = false;
};

class Worker : public qzWorkThread {
public:
    Worker() { startThread("worker"); }
    ~Worker() override
    {
        stop();
        waitThread(msNoLimit);
    }
    void processJob(qzJob* job) override { dynamic_cast<Page*>(job)->isShown = true; }
};

TEST_F(ThreadSampleTest, ShowsTheNextPage)
{
    Page nextPage;
    Worker worker;
#include "samples/qzWorkThread.1.inc"
    EXPECT_TRUE(support::waitUntil([&] { return nextPage.isShown.load(); }));
}

TEST_F(ThreadSampleTest, ReplacesTheQueue)
{
    Page nextPage;
    Worker worker;
#include "samples/change-the-queue.inc"
    EXPECT_TRUE(support::waitUntil([&] { return nextPage.isShown.load(); }));
    EXPECT_FALSE(nextPage.isDropped);
}

class Counter {
public:
    void count()
    {
#include "samples/qzMutex.1.inc"
    }
    int getCount() const
    {
        return mCount;
    }

private:
    qzMutex mMutex;
    int mCount = 0;
};

TEST_F(ThreadSampleTest, CountsUnderALock)
{
    Counter counter;
    counter.count();
    EXPECT_EQ(counter.getCount(), 1);
}

// A queue with a thread that fills it later.
class Queue : public qzThread {
public:
    ~Queue() override { waitThread(msNoLimit); }
    void run() override
    {
        const qzMutexLocker locker(mMutex);
        mQueue.push_back(1);
        mChanged.wakeAll();
    }
    int waitForEntry()
    {
#include "samples/qzWaitCondition.1.inc"
        return mQueue.front();
    }

private:
    qzMutex mMutex;
    qzWaitCondition mChanged;
    std::list<int> mQueue;
};

TEST_F(ThreadSampleTest, WaitsForAnEntry)
{
    Queue queue;
    queue.startThread("queue");
    EXPECT_EQ(queue.waitForEntry(), 1);
}

using Piece = int;

struct Work {
    bool hasPiece() const { return mNext < 100; }
    Piece takePiece() { return ++mNext; }
    double result = 0;

private:
    int mNext = 0;
};

double add(Piece piece)
{
    return piece;
}

TEST_F(ThreadSampleTest, AddsOnAllWorkers)
{
    ConcurrentPool pool(3);
    Work work;
#include "samples/ConcurrentPool.1.inc"
    EXPECT_EQ(work.result, 5050);
}

TEST_F(ThreadSampleTest, WorksUntilItIsCancelled)
{
    int count = 0;
    const auto doNextStep = [&](qzCancelInterface& request) {
        if (++count == 3) request.cancel();
    };
#include "samples/qzCancelInterface.1.inc"
    EXPECT_EQ(count, 3);
}

TEST(ParentSampleTest, WorksWhileTheParentRuns)
{
    const support::ChildResult result = support::runInChild([] {
        const support::LibraryStart library(FullInit);
        int count = 0;
        const auto doNextStep = [&] {
            if (++count == 3) ::_exit(3);
        };
#include "samples/qzCancelIfParentProcessDied.1.inc"
        return count;
    });
    EXPECT_EQ(result.getEnd(), "exit 3") << result.err;
}

struct File {};

class Conversion {
public:
    using Files = std::vector<File>;
#include "samples/qzProgressNotifier.1.inc"
    int readCount = 0;
    int convertCount = 0;

private:
    void read(const File&)
    {
        ++readCount;
    }
    void convert(qzProgressNotifierInterface&)
    {
        ++convertCount;
    }
};

TEST_F(ThreadSampleTest, ConvertsWithProgress)
{
    Conversion conversion;
    qzProgressNotifierBase progress;
    conversion.convertAll(Conversion::Files(3), progress);
    EXPECT_EQ(conversion.readCount, 3);
    EXPECT_EQ(conversion.convertCount, 1);
}

TEST_F(ThreadSampleTest, MeasuresTwoSegments)
{
    const support::LogCapture log;  // keeps the report off the console
    const auto load = [] {};
    const auto compute = [] {};
#include "samples/MemoryAndCpuWatcher.1.inc"
    EXPECT_THAT(watcher.getUsageAsAsciiTable(), ContainsRegex("load.*\n.*\n.*compute"));
}

TEST_F(ThreadSampleTest, WorksBelowTheLimitOfMemory)
{
#include "samples/MemoryWatchDog.1.inc"
}

}  // namespace

}  // namespace qz::docs
