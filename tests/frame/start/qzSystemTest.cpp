// SPDX-License-Identifier: MIT
#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include <clocale>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzStringUtils.h>
#include <qz/qzSystem.h>
#include <qz/qzSystemUtils.h>

#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::LogCapture;
using support::runInChild;
using support::runProgram;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

static_assert(LightInit == 1 && FullInit == 2 && sizeof(InitType) == 4);

constexpr auto kUtf8 = qzStringUtils::CharSetUtf8;
constexpr auto kAscii = qzStringUtils::CharSetAscii;

// What each start brings and each stop takes away.
bool areServicesUp()
{
    return qzLog::msInstance != nullptr && qzStringUtils::msCLocale != nullptr &&
           qzStringUtils::msCplusLocale != nullptr && qzStringUtils::msThreadContent != nullptr &&
           qzStringUtils::convertCharset("a", kUtf8, kAscii) == "a";
}

bool areServicesDown()
{
    return qzLog::msInstance == nullptr && qzStringUtils::msCLocale == nullptr &&
           qzStringUtils::msCplusLocale == nullptr && qzStringUtils::msThreadContent == nullptr &&
           qzStringUtils::convertCharset("a", kUtf8, kAscii).empty();
}

std::size_t countThreads()
{
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

std::string makeForkReport(pid_t from, pid_t to)
{
    return "Detect process fork after thread initialization from " + std::to_string(from) + " to " +
           std::to_string(to);
}

}  // namespace

// Each test begins with the library stopped, and leaves it so.
class qzSystemTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(areServicesDown()); }
    void TearDown() override { ASSERT_TRUE(areServicesDown()); }
};

TEST_F(qzSystemTest, IgnoresEveryOtherType)
{
    for (const int type : {0, 3, -1, 256 + 1}) {
        initializeQzSystem(static_cast<InitType>(type));
        EXPECT_TRUE(areServicesDown()) << type;
        EXPECT_FALSE(IsQzSystemThreadSafe()) << type;
    }
    // Had one of them counted, this start would not be the first.
    const LibraryStart library;
    EXPECT_TRUE(areServicesUp());
}

TEST_F(qzSystemTest, BringsTheServicesUpByALightStart)
{
    initializeQzSystem(LightInit);
    EXPECT_TRUE(areServicesUp());
    EXPECT_FALSE(IsQzSystemThreadSafe());
    terminateQzSystem();
    EXPECT_TRUE(areServicesDown());
}

TEST_F(qzSystemTest, BringsTheServicesAndTheFullStateUpByAFullStart)
{
    initializeQzSystem(FullInit);
    EXPECT_TRUE(areServicesUp());
    EXPECT_TRUE(IsQzSystemThreadSafe());
    terminateQzSystem();
    EXPECT_TRUE(areServicesDown());
    EXPECT_FALSE(IsQzSystemThreadSafe());
}

TEST_F(qzSystemTest, AcceptsAProbeOfTheMainDiskInBothStarts)
{
    initializeQzSystem(LightInit, /*probeMainDisk=*/true);
    initializeQzSystem(FullInit, /*probeMainDisk=*/true);
    EXPECT_TRUE(areServicesUp());
    EXPECT_TRUE(IsQzSystemThreadSafe());
    terminateQzSystem();
    terminateQzSystem();
}

TEST_F(qzSystemTest, MakesNoThreadInALightStart)
{
    const std::size_t before = countThreads();
    const LibraryStart library;
    logInfo() << "";
    EXPECT_EQ(countThreads(), before);
}

TEST_F(qzSystemTest, KeepsTheServicesUntilTheLastStop)
{
    initializeQzSystem(LightInit);
    const qzLog* log = qzLog::msInstance;
    initializeQzSystem(LightInit);
    EXPECT_EQ(qzLog::msInstance, log);
    terminateQzSystem();
    EXPECT_TRUE(areServicesUp());
    EXPECT_EQ(qzLog::msInstance, log);
    terminateQzSystem();
    EXPECT_TRUE(areServicesDown());
}

TEST_F(qzSystemTest, StaysFullUntilTheLastStopWhateverItsStarts)
{
    initializeQzSystem(LightInit);
    initializeQzSystem(FullInit);
    terminateQzSystem();
    EXPECT_TRUE(IsQzSystemThreadSafe());
    EXPECT_TRUE(areServicesUp());
    terminateQzSystem();
    EXPECT_FALSE(IsQzSystemThreadSafe());
}

TEST_F(qzSystemTest, CountsEachFullStart)
{
    initializeQzSystem(FullInit);
    initializeQzSystem(FullInit);
    terminateQzSystem();
    EXPECT_TRUE(IsQzSystemThreadSafe());
    EXPECT_TRUE(areServicesUp());
    terminateQzSystem();
    EXPECT_FALSE(IsQzSystemThreadSafe());
}

TEST_F(qzSystemTest, RunsTheFullStepsOnce)
{
    using Handler = void (*)(int);
    const LibraryStart library(FullInit);
    const std::size_t threads = countThreads();
    const auto* const pool = concurrent::GetConcurrentPool();
    const Handler watcher = ::signal(SIGUSR2, SIG_IGN);
    const LibraryStart again(FullInit);
    EXPECT_EQ(countThreads(), threads);
    EXPECT_EQ(concurrent::GetConcurrentPool(), pool);
    EXPECT_EQ(::signal(SIGUSR2, watcher), SIG_IGN) << "the application's own action";
}

TEST_F(qzSystemTest, LeavesTheLightStateToALightRestartAfterAFullOne)
{
    {
        const LibraryStart full(FullInit);
        const LibraryStart again(FullInit);
    }
    const LibraryStart light(LightInit);
    EXPECT_TRUE(areServicesUp());
    EXPECT_FALSE(IsQzSystemThreadSafe());
}

TEST_F(qzSystemTest, StartsWithFreshServicesAfterAStop)
{
    {
        const LibraryStart library(FullInit);
        qzLog::msInstance->setLogLevel(LogLevelAll);
    }
    const LibraryStart library(FullInit);
    EXPECT_TRUE(areServicesUp());
    EXPECT_TRUE(IsQzSystemThreadSafe());
    EXPECT_EQ(qzLog::msInstance->getLogLevel(), LogLevelNormal);
}

TEST_F(qzSystemTest, LeavesTheLocaleOfTheProcessAlone)
{
    const support::EnvironmentLocale environment("ja_JP.EUC-JP");
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const LibraryStart library(FullInit);
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

TEST_F(qzSystemTest, BringsItsServicesUpAndDownInTheirOrder)
{
    const ChildResult result = runProgram({.program = "start_order"});
    ASSERT_EQ(result.getEnd(), "exit 0");
    const auto repeat = [](int times, const std::string& line) {
        std::string lines;
        for (int i = 0; i < times; ++i)
            lines += line;
        return lines;
    };
    const int processors = [] {
        const LibraryStart library;
        return static_cast<int>(qzSystemUtils::GetIdealThreadCount());
    }();
    const int workers = processors > 1 ? processors : 0;
    const std::string expected =
        "openlog L\nuname L M\nnewlocale L M\npthread_key_create L M\n" +
        repeat(12, "iconv_open L M\n") + repeat(1 + workers, "pthread_create L M T F\n") +
        repeat(23, "sigaction L M T F P W\n") + "started\n" +
        repeat(workers, "pthread_join L M T F W\n") + "freelocale L M T F\n" +
        repeat(12, "iconv_close L M T F\n") + "pthread_key_delete L M T F\npthread_join L M T F\n";
    EXPECT_EQ(result.out, expected);
}

// --- A stop without a start

TEST_F(qzSystemTest, DoesNothingByAStopWithoutAStart)
{
    const ChildResult result = runInChild([] {
        terminateQzSystem();
        std::cout << areServicesDown() << IsQzSystemThreadSafe();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "10");
}

TEST_F(qzSystemTest, RunsNoLightStepAfterAStopWithoutAStart)
{
    const ChildResult result = runInChild([] {
        terminateQzSystem();
        initializeQzSystem(LightInit);
        std::cout << areServicesDown() << IsQzSystemThreadSafe();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "10");
}

TEST_F(qzSystemTest, RunsTheFullStepsAloneAfterAStopWithoutAStart)
{
    const ChildResult result = runInChild([] {
        terminateQzSystem();
        initializeQzSystem(FullInit);
        std::cout << areServicesDown() << IsQzSystemThreadSafe();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "11");
}

// --- Forks

TEST_F(qzSystemTest, ReportsTheForkAtEachCheckInAChildOfAFullProcess)
{
    const LibraryStart library(FullInit);
    const pid_t parent = ::getpid();
    const ChildResult result = runInChild([parent] {
        const LogCapture log;
        const bool isSafe = IsQzSystemThreadSafe();
        const bool isStillSafe = IsQzSystemThreadSafe();
        CheckIfProcessForkAfterThreadSafeInit();
        const std::string report = makeForkReport(parent, ::getpid());
        int asExpected = 0;
        for (const qzLog::LogEntry& entry : log.getEntries()) {
            asExpected += entry.type == qzLog::Critical && entry.message == report &&
                                  entry.systemLogTag == "qzSystem" && entry.subType.empty()
                              ? 1
                              : 0;
        }
        std::cout << isSafe << isStillSafe << asExpected << log.getEntries().size();
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "1133");
}

TEST_F(qzSystemTest, ReportsTheForkInAGrandchildToo)
{
    const LibraryStart library(FullInit);
    const pid_t parent = ::getpid();
    const ChildResult result = runInChild([parent] {
        const ChildResult inner = runInChild([parent] {
            const LogCapture log;
            CheckIfProcessForkAfterThreadSafeInit();
            const std::string report = makeForkReport(parent, ::getpid());
            return log.getMessages() == std::vector{report} ? 42 : 1;
        });
        return inner.exitCode;
    });
    EXPECT_EQ(result.getEnd(), "exit 42");
}

TEST_F(qzSystemTest, ReportsNoForkInTheFullProcessItself)
{
    const LibraryStart library(FullInit);
    const LogCapture log;
    CheckIfProcessForkAfterThreadSafeInit();
    EXPECT_TRUE(IsQzSystemThreadSafe());
    EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(qzSystemTest, ReportsNoForkInAChildOfALightProcess)
{
    const LibraryStart library(LightInit);
    const ChildResult result = runInChild([] {
        const LogCapture log;
        const bool isSafe = IsQzSystemThreadSafe();
        std::cout << isSafe << log.getEntries().size();
        return 0;
    });
    EXPECT_EQ(result.out, "00");
}

TEST_F(qzSystemTest, ReportsNoForkWhenTheParentHasStopped)
{
    {
        const LibraryStart full(FullInit);
    }
    const ChildResult result = runInChild([] {
        const LibraryStart library(LightInit);
        const LogCapture log;
        const bool isSafe = IsQzSystemThreadSafe();
        std::cout << isSafe << log.getEntries().size();
        return 0;
    });
    EXPECT_EQ(result.out, "00");
}

TEST_F(qzSystemTest, RecordsTheProcessAnewAtAFullRestart)
{
    {
        const LibraryStart full(FullInit);
    }
    const ChildResult result = runInChild([] {
        const LibraryStart library(FullInit);
        const LogCapture log;
        const bool isSafe = IsQzSystemThreadSafe();
        std::cout << isSafe << log.getEntries().size();
        return 0;
    });
    EXPECT_EQ(result.out, "10");
}

TEST_F(qzSystemTest, KeepsTheRecordedProcessAtASecondFullStart)
{
    const LibraryStart library(FullInit);
    const ChildResult result = runInChild([] {
        initializeQzSystem(FullInit);
        const LogCapture log;
        CheckIfProcessForkAfterThreadSafeInit();
        std::cout << log.getEntries().size();
        return 0;
    });
    EXPECT_EQ(result.out, "1");
}

}  // namespace qz
