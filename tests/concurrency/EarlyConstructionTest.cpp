// SPDX-License-Identifier: MIT
// What the objects for several threads say when they are made too early, or end in a forked child.

#include <unistd.h>

#include <atomic>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzMutex.h>
#include <qz/qzSemaphore.h>
#include <qz/qzSystem.h>
#include <qz/qzThread.h>
#include <qz/qzWaitCondition.h>
#include <qz/qzWorkThread.h>

#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/Waiting.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::LogCapture;
using support::runInChild;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

class PlainThread : public qzThread {
public:
    void run() override {}
};

class PlainWorkThread : public qzWorkThread {
public:
    void processJob(qzJob* /*job*/) override {}
};

using Texts = std::vector<std::string>;

const std::string kMutex = "Mutex created before full init of qzSystem";
const std::string kCondition = "WaitCondition created before full init of qzSystem";
const std::string kThread = "Thread create before full init of qzSystem";

// A class, what it says when it is too early, and how many of its parts look for a fork at the end.
struct Row {
    const char* name;
    std::function<std::shared_ptr<void>()> make;
    Texts early;
    int looksAtEnd;
};

template <typename Object, typename... Arguments>
std::function<std::shared_ptr<void>()> maker(Arguments... arguments)
{
    return [arguments...] { return std::make_shared<Object>(arguments...); };
}

// An updater whose thread waits already: it has called something, and given its mutex back.
std::shared_ptr<void> makeWaitingUpdater()
{
    constexpr unsigned kHourSeconds = 3600;
    auto updater = std::make_shared<qzThreadPeriodicalUpdater>(kHourSeconds);
    std::atomic<int> calls = 0;
    const auto count = [](void* counter) { ++*static_cast<std::atomic<int>*>(counter); };
    EXPECT_TRUE(support::waitUntil([&] {
        updater->addCallback(count, &calls);
        std::this_thread::yield();
        updater->removeCallback(count, &calls);
        return calls > 0;
    }));
    return updater;
}

const Row kRows[] = {
    {"qzMutex", maker<qzMutex>(), {kMutex}, 1},
    {"qzMutex2", maker<qzMutex2>(), {kMutex}, 0},
    {"qzMutexSystem", maker<qzMutexSystem>(nullptr), {kMutex}, 1},
    {"qzWaitCondition", maker<qzWaitCondition>(), {kCondition}, 1},
    {"qzSemaphore", maker<qzSemaphore>(1U), {kMutex, kCondition}, 2},
    {"qzThread", maker<PlainThread>(), {kThread}, 1},
    {"qzThreadPeriodicalUpdater", &makeWaitingUpdater, {kThread, kMutex, kCondition}, 3},
    {"qzWorkThread", maker<PlainWorkThread>(), {kThread, kCondition, kMutex, kMutex}, 4},
};

std::string makeForkReport(pid_t from)
{
    return "Detect process fork after thread initialization from " + std::to_string(from) + " to " +
           std::to_string(::getpid());
}

class EarlyConstruction : public ::testing::TestWithParam<Row> {};

TEST_P(EarlyConstruction, IsReportedAfterALightStart)
{
    const LibraryStart library(LightInit);
    const LogCapture log;
    GetParam().make();
    EXPECT_THAT(log.getMessages(), ElementsAreArray(GetParam().early));
    for (const qzLog::LogEntry& entry : log.getEntries()) {
        EXPECT_EQ(entry.type, qzLog::Critical);
        EXPECT_EQ(entry.systemLogTag, "qzSystem");
        EXPECT_EQ(entry.subType, "");
    }
}

TEST_P(EarlyConstruction, IsReportedWhateverTheSwitchForWarnings)
{
    const bool before = impl::LibInitCounter::msLibInitWarnings;
    const LibraryStart library(LightInit);
    for (const bool isEnabled : {false, true}) {
        impl::LibInitCounter::SetLibInitWarningsEnabled(isEnabled);
        const LogCapture log;
        GetParam().make();
        EXPECT_THAT(log.getMessages(), ElementsAreArray(GetParam().early)) << isEnabled;
    }
    impl::LibInitCounter::SetLibInitWarningsEnabled(before);
}

TEST_P(EarlyConstruction, IsReportedAtEachObject)
{
    const LibraryStart library(LightInit);
    const LogCapture log;
    const auto first = GetParam().make();
    const auto second = GetParam().make();
    EXPECT_EQ(log.getEntries().size(), 2 * GetParam().early.size());
}

TEST_P(EarlyConstruction, IsNoneAfterAFullStart)
{
    const LibraryStart library(FullInit);
    const LogCapture log;
    GetParam().make();
    EXPECT_THAT(log.getMessages(), IsEmpty());
}

TEST_P(EarlyConstruction, IsNoneAfterALightStartThatBecameAFullOne)
{
    const LibraryStart library(LightInit);
    const LibraryStart full(FullInit);
    const LogCapture log;
    GetParam().make();
    EXPECT_THAT(log.getMessages(), IsEmpty());
}

TEST_P(EarlyConstruction, IsReportedAgainByALightStartAfterAFullOne)
{
    {
        const LibraryStart full(FullInit);
    }
    const LibraryStart library(LightInit);
    const LogCapture log;
    GetParam().make();
    EXPECT_THAT(log.getMessages(), ElementsAreArray(GetParam().early));
}

// Without a log the report goes the way of all reports with a tag then.
TEST_P(EarlyConstruction, IsReportedOnTheErrorStreamBeforeAnyStart)
{
    const ChildResult result = runInChild([] {
        GetParam().make();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "");
    for (const std::string& text : GetParam().early) {
        EXPECT_THAT(result.err, HasSubstr(" : " + text + '\n'));
    }
    EXPECT_THAT(result.err, HasSubstr("qzSystem : CRITICAL PID "));
}

TEST_P(EarlyConstruction, IsReportedOnTheErrorStreamAfterTheStop)
{
    const ChildResult result = runInChild([] {
        {
            const LibraryStart full(FullInit);
        }
        GetParam().make();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    for (const std::string& text : GetParam().early) {
        EXPECT_THAT(result.err, HasSubstr(" : " + text + '\n'));
    }
}

TEST_P(EarlyConstruction, EndsInSilenceInTheProcessItself)
{
    const LibraryStart library(FullInit);
    auto object = GetParam().make();
    const LogCapture log;
    object.reset();
    EXPECT_THAT(log.getMessages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Classes, EarlyConstruction, ::testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

// --- Forks

// What waits for a thread that isn't in the child, or for those that wait for it, would hang.
constexpr int kHangSec = 60;

class ConstructionInAForkedChild : public ::testing::TestWithParam<Row> {};

TEST_P(ConstructionInAForkedChild, IsAForkReportEach)
{
    const LibraryStart library(FullInit);
    const pid_t parent = ::getpid();
    const ChildResult result = runInChild([parent] {
        const LogCapture log;
        // For good: what an end has to say is the next test's affair.
        static const auto kept = GetParam().make();
        const Texts expected(GetParam().early.size(), makeForkReport(parent));
        return log.getMessages() == expected ? 0 : 1;
    });
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
}

TEST_P(ConstructionInAForkedChild, EndsWithAForkReportOfEachPartThatChecks)
{
    const LibraryStart library(FullInit);
    const pid_t parent = ::getpid();
    auto object = GetParam().make();
    const auto end = [&] {
        const LogCapture log;
        object.reset();
        const Texts expected(static_cast<std::size_t>(GetParam().looksAtEnd),
                             makeForkReport(parent));
        return log.getMessages() == expected ? 0 : 1;
    };
    const ChildResult result = runInChild(end, /*input=*/{}, kHangSec);
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
}

INSTANTIATE_TEST_SUITE_P(Classes, ConstructionInAForkedChild, ::testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace

// --- What is made early works

TEST(EarlyObjects, WorkAfterALightStart)
{
    const LibraryStart library(LightInit);
    const LogCapture log;
    qzMutex mutex;
    mutex.lock();
    EXPECT_TRUE(mutex.tryLock());
    mutex.unlock();
    qzWaitCondition condition;
    EXPECT_FALSE(condition.wait(&mutex, 0));
    mutex.unlock();
    qzMutex2 other;
    EXPECT_TRUE(other.tryLock(5));
    other.unlock();
    qzSemaphore semaphore(0);
    semaphore.release(2);
    semaphore.acquire(2);
    EXPECT_EQ(semaphore.getNoResources(), 0U);
    PlainThread thread;
    thread.startThread("early");
    EXPECT_TRUE(thread.waitThread(qzThread::msNoLimit));
}

TEST(EarlyObjects, WorkBeforeAnyStart)
{
    const ChildResult result = runInChild([] {
        qzMutex mutex;
        mutex.lock();
        qzWaitCondition condition;
        std::cout << condition.wait(&mutex, 0);
        mutex.unlock();
        PlainThread thread;
        thread.startThread("early");
        std::cout << thread.waitThread(qzThread::msNoLimit);
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "01");
}

// Its path can't be converted then.
TEST(EarlyObjects, HaveNoLockBetweenProcessesBeforeAnyStart)
{
    const ChildResult result = runInChild([] {
        qzMutexSystem mutex("early");
        mutex.lock();
        mutex.unlock();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.err, HasSubstr("Fail to create lock for file 'early' error "));
}

}  // namespace qz
