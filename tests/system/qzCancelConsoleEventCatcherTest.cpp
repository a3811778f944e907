// SPDX-License-Identifier: MIT
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <thread>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzCancelConsoleEventCatcher.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::LogCapture;
using support::runInChild;
using support::runProgram;
using ::testing::ContainsRegex;

namespace {

using Catcher = qzCancelConsoleEventCatcher;

static_assert(std::is_base_of_v<qzCancelInterfaceReadOnly, Catcher>);
static_assert(sizeof(Catcher) == sizeof(qzCancelInterfaceReadOnly), "it has no fields");

constexpr int kTimeoutSec = 120;

// What the body prints, and how it ends. It runs in a process of its own, since the handlers of a
// full start stay.
std::string runFull(void (*body)())
{
    const ChildResult result = runInChild(
        [&] {
            const LibraryStart library(FullInit);
            body();
            return 0;
        },
        {}, kTimeoutSec);
    return result.out + result.getEnd();
}

bool hasDefaultAction(int signal)
{
    struct sigaction action;
    ::sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_DFL;
}

}  // namespace

TEST(qzCancelConsoleEventCatcherTest, MakesOneCatcher)
{
    const std::string printed = runFull([] {
        std::cout << (Catcher::Get() == nullptr);
        qzCancelInterfaceReadOnly* const made = Catcher::Create();
        std::cout << (made != nullptr) << (made == Catcher::Get()) << (made == Catcher::Create())
                  << (dynamic_cast<Catcher*>(made) == made) << made->shouldCancel() << ' ';
        Catcher::Delete();
        std::cout << (Catcher::Get() == nullptr) << ' ';
    });
    EXPECT_EQ(printed, "111110 1 exit 0");
}

TEST(qzCancelConsoleEventCatcherTest, TurnsAnInterruptIntoARequest)
{
    const std::string printed = runFull([] {
        const LogCapture log;
        const qzCancelInterfaceReadOnly* const catcher = Catcher::Create();
        ::raise(SIGINT);
        std::cout << catcher->shouldCancel() << Catcher::Get()->shouldCancel()
                  << log.getEntries().size() << ' ';
    });
    EXPECT_EQ(printed, "110 exit 0");
}

TEST(qzCancelConsoleEventCatcherTest, TurnsAPoliteKillIntoARequest)
{
    const std::string printed = runFull([] {
        const LogCapture log;
        const qzCancelInterfaceReadOnly* const catcher = Catcher::Create();
        ::raise(SIGTERM);
        std::cout << catcher->shouldCancel() << log.getEntries().size() << ' ';
    });
    EXPECT_EQ(printed, "10 exit 0");
}

TEST(qzCancelConsoleEventCatcherTest, DoesNothingAtASecondPress)
{
    const std::string printed = runFull([] {
        const qzCancelInterfaceReadOnly* const catcher = Catcher::Create();
        for (const int signal : {SIGINT, SIGINT, SIGTERM, SIGTERM})
            ::raise(signal);
        std::cout << catcher->shouldCancel() << ' ';
    });
    EXPECT_EQ(printed, "1 exit 0");
}

TEST(qzCancelConsoleEventCatcherTest, LeavesOtherSignalsToTheWatcher)
{
    EXPECT_THAT(runFull([] {
                    Catcher::Create();
                    ::raise(SIGUSR2);
                }),
                ContainsRegex("Got signal \\(SIGUSR2 12\\)[^\n]*\nsignal 12"));
}

TEST(qzCancelConsoleEventCatcherTest, RestoresTheDefaultActions)
{
    const std::string printed = runFull([] {
        Catcher::Create();
        std::cout << hasDefaultAction(SIGINT) << hasDefaultAction(SIGTERM) << ' ';
        Catcher::Delete();
        std::cout << hasDefaultAction(SIGINT) << hasDefaultAction(SIGTERM) << ' ' << std::flush;
        ::raise(SIGINT);
    });
    EXPECT_EQ(printed, "00 11 signal 2");
    EXPECT_EQ(runFull([] {
                  Catcher::Create();
                  Catcher::Delete();
                  ::raise(SIGTERM);
              }),
              "signal 15");
}

TEST(qzCancelConsoleEventCatcherTest, StartsClearEachTime)
{
    const std::string printed = runFull([] {
        Catcher::Create();
        ::raise(SIGINT);
        std::cout << Catcher::Get()->shouldCancel();
        Catcher::Delete();
        Catcher::Create();
        std::cout << Catcher::Get()->shouldCancel();
        ::raise(SIGTERM);
        Catcher::Create();
        std::cout << Catcher::Get()->shouldCancel() << ' ';
    });
    EXPECT_EQ(printed, "101 exit 0");
}

TEST(qzCancelConsoleEventCatcherTest, LeavesTheHandlersAloneWithoutACatcher)
{
    const std::string printed = runFull([] {
        Catcher::Delete();
        std::cout << hasDefaultAction(SIGINT) << hasDefaultAction(SIGTERM) << ' ';
    });
    EXPECT_EQ(printed, "00 exit 0");
}

TEST(qzCancelConsoleEventCatcherTest, WorksWithoutAStart)
{
    const ChildResult result = runInChild(
        [] {
            Catcher::Create();
            ::raise(SIGINT);
            std::cout << Catcher::Get()->shouldCancel();
            Catcher::Delete();
            return 0;
        },
        {}, kTimeoutSec);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "1");
}

// The handlers of the start replace those of the catcher.
TEST(qzCancelConsoleEventCatcherTest, SeesNoInterruptIfItWasMadeBeforeTheFullStart)
{
    const auto body = [] {
        Catcher::Create();
        const LibraryStart library(FullInit);
        struct sigaction action = {};
        ::sigaction(SIGINT, nullptr, &action);
        if ((action.sa_flags & SA_SIGINFO) == 0) return 1;
        return Catcher::Get()->shouldCancel() ? 2 : 0;
    };
    EXPECT_EQ(runInChild(body, {}, kTimeoutSec).getEnd(), "exit 0");
}

TEST(qzCancelConsoleEventCatcherTest, IsMadeOnTheCopyOfTheMainThreadInAForkedChild)
{
    EXPECT_EQ(runFull([] {
                  const pid_t child = ::fork();
                  if (child == 0) ::_exit(Catcher::Create() == Catcher::Get() ? 7 : 8);
                  int status = 0;
                  ::waitpid(child, &status, 0);
                  std::cout << WEXITSTATUS(status) << ' ' << std::flush;
              }),
              "7 exit 0");
}

TEST(qzCancelConsoleEventCatcherTest, OutlivesAStop)
{
    const ChildResult result = runInChild(
        [] {
            {
                const LibraryStart library(FullInit);
                Catcher::Create();
            }
            ::raise(SIGTERM);
            std::cout << Catcher::Get()->shouldCancel();
            return 0;
        },
        {}, kTimeoutSec);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "1");
}

// --- Other threads

TEST(qzCancelConsoleEventCatcherTest, GivesOtherThreadsOneThatNeverCancels)
{
    const std::string printed = runFull([] {
        const LogCapture log;
        qzCancelInterfaceReadOnly* made = nullptr;
        std::thread([&] { made = Catcher::Create(); }).join();
        std::cout << (made != nullptr) << (Catcher::Get() == nullptr) << hasDefaultAction(SIGINT);
        Catcher::Create();
        ::raise(SIGINT);
        std::cout << made->shouldCancel() << Catcher::Get()->shouldCancel() << ' ';
        std::thread([&] { std::cout << (Catcher::Create() == made) << ' '; }).join();
        for (const std::string& line : log.getLines())
            std::cout << line << '\n';
    });
    EXPECT_EQ(printed,
              "11001 1 CRITICAL Trying to Create signal catcher outside of main thread\n"
              "CRITICAL Trying to Create signal catcher outside of main thread\nexit 0");
}

TEST(qzCancelConsoleEventCatcherTest, LetsNoOtherThreadDelete)
{
    const std::string printed = runFull([] {
        const LogCapture log;
        std::thread(&Catcher::Delete).join();
        Catcher::Create();
        std::thread(&Catcher::Delete).join();
        std::cout << (Catcher::Get() != nullptr);
        ::raise(SIGINT);
        bool isSeen = false;
        std::thread([&] { isSeen = Catcher::Get()->shouldCancel(); }).join();
        std::cout << isSeen << ' ';
        for (const std::string& line : log.getLines())
            std::cout << line << '\n';
    });
    EXPECT_EQ(printed,
              "11 CRITICAL Trying to Delete signal catcher outside of main thread\n"
              "CRITICAL Trying to Delete signal catcher outside of main thread\nexit 0");
}

// --- The log, and failures

TEST(qzCancelConsoleEventCatcherTest, FlushesTheLogAheadOfTheDefaultActions)
{
    const std::string printed = runFull([] {
        static std::string order;
        qzLog::msInstance->setEchoToConsole(false);
        qzLog::msInstance->installCustomHandler(
            [](std::list<qzLog::LogEntry>& batch, void*) {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                order += batch.front().message + (hasDefaultAction(SIGINT) ? " late" : " in time");
            },
            nullptr);
        Catcher::Create();
        logInfo() << "queued";
        Catcher::Delete();
        std::cout << order << ' ';
    });
    EXPECT_EQ(printed, "queued in time exit 0");
}

TEST(qzCancelConsoleEventCatcherTest, InstallsPlainHandlersInTheirOrder)
{
    const ChildResult result = runProgram({.program = "signal_actions", .arguments = {"catcher"}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out,
              "[registered 1]\n[2 handler of a catcher]\n[15 handler of a catcher]\n[created]\n"
              "[2 default]\n[15 default]\n[deleted]\n[stopped]\n");
}

TEST(qzCancelConsoleEventCatcherTest, KeepsAnInterruptThatComesWhileItIsMade)
{
    const ChildResult result = runProgram({.program = "signal_actions", .arguments = {"press"}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.out, ::testing::HasSubstr("\n[created, requested]\n"));
}

TEST(qzCancelConsoleEventCatcherTest, GoesOnWhenAHandlerCantBeInstalled)
{
    const ChildResult result =
        runProgram({.program = "signal_actions", .arguments = {"catcher", "2", "15"}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    std::string out = result.out;
    for (std::size_t at = 0; (at = out.find(" PID ", at)) != std::string::npos;)
        out.erase(at, out.find(" : ", at) - at);
    const auto makeFailure = [](const std::string& signal) {
        return "CRITICAL : Failed to install " + signal +
               " signal handler : System error : '(1) EPERM Operation not permitted'\n";
    };
    EXPECT_EQ(out, "[registered 1]\n[2 handler of a catcher]\n" + makeFailure("2") +
                       "[15 handler of a catcher]\n" + makeFailure("15") +
                       "[created]\n[2 default]\n" + makeFailure("2") + "[15 default]\n" +
                       makeFailure("15") + "[deleted]\n[stopped]\n");
}

TEST(qzCancelConsoleEventCatcherTest, DoesNotCrashAThreadThatPollsItWhileTheProcessEnds)
{
    const ChildResult result = runProgram({"catcher_at_exit"});
    EXPECT_EQ(result.out + result.getEnd(), "not requested\nexit 7") << result.err;
}

}  // namespace qz
