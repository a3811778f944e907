// SPDX-License-Identifier: MIT
// What a child has from this process, and what it doesn't have.

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ext/ChildProcess.h>
#include <qz/qzLogObject.h>

#include "ext/ChildRuns.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

namespace qz::ext {

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

constexpr unsigned long kNoSignals = 0;

void ignoreSignal(int) {}

// A set of signals as /proc/PID/status shows it.
unsigned long readSet(const std::string& status, const std::string& key)
{
    const std::size_t at = status.find(key);
    if (at == std::string::npos) return ~kNoSignals;
    return std::stoul(status.substr(at + key.size()), nullptr, 16);
}

TEST(ChildInheritanceTest, HasTheDescriptorsOfTheStandardStreamsOnly)
{
    const int extra = ::open("/dev/null", O_RDONLY);  // not close-on-exec
    const int high = ::fcntl(extra, F_DUPFD, 700);
    ChildOptions options = program("/bin/ls", {"/proc/self/fd"});
    options.input = ChildInput::Memory("text");
    // The fourth one is that of the folder which ls reads.
    EXPECT_EQ(ChildProcess::Run(options).output, "0\n1\n2\n3\n");
    ::close(extra);
    ::close(high);
}

TEST(ChildInheritanceTest, LeavesNoDescriptorToProgramsThatAreStartedOtherwise)
{
    const std::size_t before = support::countInheritedDescriptors();
    ChildOptions options = shell("cat");
    options.programs.push_back({"cat"});
    options.input = ChildInput::Memory("text");
    ChildProcess process;
    ASSERT_TRUE(process.start(options));
    EXPECT_EQ(support::countInheritedDescriptors(), before);
}

TEST(ChildInheritanceTest, HasNothingOfAnotherChildInPlaceOfAStreamThatWasClosed)
{
    const support::ChildResult outer = support::runInChild([] {
        ::close(STDIN_FILENO);
        ChildProcess first;
        if (!first.start(program("/bin/sleep", {"300"}))) return 1;
        ChildOptions options = shell("readlink /proc/self/fd/0");
        options.input = ChildInput::Inherited();
        return ChildProcess::Run(options).output == "/dev/null\n" ? 0 : 2;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

TEST(ChildInheritanceTest, HasDefaultActionsAndAnEmptyMask)
{
    const support::ChildResult outer = support::runInChild([] {
        for (const int number : {SIGHUP, SIGINT, SIGPIPE, SIGUSR2, SIGRTMIN + 3})
            ::signal(number, SIG_IGN);
        ::signal(SIGUSR1, &ignoreSignal);
        sigset_t all;
        ::sigfillset(&all);
        ::sigprocmask(SIG_BLOCK, &all, nullptr);
        const std::string status =
            ChildProcess::Run(program("/bin/cat", {"/proc/self/status"})).output;
        if (readSet(status, "SigBlk:") != kNoSignals) return 1;
        if (readSet(status, "SigIgn:") != kNoSignals) return 2;
        if (readSet(status, "SigCgt:") != kNoSignals) return 3;
        sigset_t mask;
        ::sigprocmask(SIG_BLOCK, nullptr, &mask);
        if (::sigismember(&mask, SIGUSR1) != 1) return 4;
        struct sigaction action = {};
        ::sigaction(SIGUSR1, nullptr, &action);
        return action.sa_handler == &ignoreSignal ? 0 : 5;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

TEST(ChildInheritanceTest, HasTheVariablesOfThisProcessWithItsOwn)
{
    ::setenv("QZ_EXT_KEPT", "kept", 1);
    ::setenv("QZ_EXT_CHANGED", "old", 1);
    ::setenv("QZ_EXT_REMOVED", "old", 1);
    ChildOptions options = program("/usr/bin/env");
    options.programs[0].environment = {
        {"QZ_EXT_CHANGED", "new"}, {"QZ_EXT_REMOVED", std::nullopt}, {"QZ_EXT_ADDED", ""}};
    const std::string variables = '\n' + ChildProcess::Run(options).output;
    EXPECT_THAT(variables, HasSubstr("\nQZ_EXT_KEPT=kept\n"));
    EXPECT_THAT(variables, HasSubstr("\nQZ_EXT_CHANGED=new\n"));
    EXPECT_THAT(variables, HasSubstr("\nQZ_EXT_ADDED=\n"));
    EXPECT_THAT(variables, Not(HasSubstr("QZ_EXT_CHANGED=old")));
    EXPECT_THAT(variables, Not(HasSubstr("QZ_EXT_REMOVED")));
    options.programs[0].inheritsEnvironment = false;
    EXPECT_EQ(ChildProcess::Run(options).output, "QZ_EXT_ADDED=\nQZ_EXT_CHANGED=new\n");
}

TEST(ChildInheritanceTest, IsSearchedForInThePath)
{
    const support::ScratchFolder folder;
    const std::string tool = folder.write("qz-tool", "#!/bin/sh\necho found in $0\n");
    const support::ChildResult outer = support::runInChild([&] {
        const std::string noFolders = "/no/such/folder:/etc/passwd:";
        ::setenv("PATH", (noFolders + folder.getPath() + ":/bin").c_str(), 1);
        if (ChildProcess::Run(program("qz-tool")).failure.error != EACCES) return 1;
        ::chmod(tool.c_str(), 0755);
        if (ChildProcess::Run(program("qz-tool")).output != "found in " + tool + "\n") return 2;
        ::unsetenv("PATH");
        return ChildProcess::Run(program("true")).isSuccess() ? 0 : 3;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

TEST(ChildInheritanceTest, IsSearchedForInTheWorkingFolderByAnEmptyEntryOfThePath)
{
    const support::ScratchFolder folder;
    ::chmod(folder.write("qz-tool", "#!/bin/sh\necho found\n").c_str(), 0755);
    const support::ChildResult outer = support::runInChild([&] {
        for (const char* const path : {"", ":/bin", "/bin:", "/bin::/usr/bin"}) {
            ::setenv("PATH", path, 1);
            ChildOptions options = program("qz-tool");
            options.programs[0].workingFolder = folder.getPath();
            if (ChildProcess::Run(options).output != "found\n") return 1;
        }
        return 0;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

TEST(ChildInheritanceTest, IsNotSearchedForBeyondAFileThatTheSystemCantRun)
{
    const support::ScratchFolder first;
    const support::ScratchFolder second;
    ::chmod(first.write("qz-tool", "no interpreter\n").c_str(), 0755);
    ::chmod(second.write("qz-tool", "#!/bin/sh\n").c_str(), 0755);
    const support::EnvironmentVariable path("PATH", first.getPath() + ":" + second.getPath());
    EXPECT_EQ(describe(ChildProcess::Run(program("qz-tool"))),
              "execve qz-tool, errno " + std::to_string(ENOEXEC));
}

TEST(ChildInheritanceTest, HandlesASignalOfTheStartAfterwards)
{
    const support::ChildResult outer = support::runInChild([] {
        static std::atomic<int> handled = 0;
        static const pid_t self = ::getpid();
        ::signal(SIGALRM, [](int) { handled += ::getpid() == self ? 1 : 1000; });
        for (int i = 0; i < 200; ++i) {
            ::ualarm(100, 0);
            if (!ChildProcess::Run(program("/bin/true")).isSuccess()) return 1;
        }
        return handled > 0 && handled <= 200 ? 0 : 2;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

TEST(ChildInheritanceTest, IsStartedByManyThreadsBesideOthersThatAllocateAndLog)
{
    constexpr int kThreads = 8;
    constexpr int kRounds = 25;
    const support::LibraryStart library(FullInit);
    const support::LogCapture log;
    std::atomic<int> started = 0;
    std::atomic<int> running = kThreads;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < kRounds; ++round) {
                const std::string text = std::to_string(i * kRounds + round);
                ChildOptions options = shell("echo $1", {text});
                options.endsWithParent = round % 3 == 0;
                if (ChildProcess::Run(options).output == text + "\n") ++started;
            }
            --running;
        });
        threads.emplace_back([&, i] {
            while (running > 0) {
                const std::vector<std::string> texts(100, std::string(1000, 'x'));
                logInfo("other") << texts.size() << i;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(started, kThreads * kRounds);
}

}  // namespace

}  // namespace qz::ext
