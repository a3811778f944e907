// SPDX-License-Identifier: MIT
// Killed processes and several writers: a target is always one of the contents, as a whole.

#include <qz/ext/SafeFiles.h>

#include <sys/prctl.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <iostream>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ext/SafeFilesFixture.h"
#include "support/Files.h"
#include "support/OutputCapture.h"

namespace qz::ext {

namespace {

constexpr std::size_t kSize = 200'000;

std::string makeContent(unsigned int generation)
{
    return std::string(kSize, static_cast<char>('a' + generation % 26));
}

bool isWhole(const std::string& content)
{
    return content.size() == kSize && content.find_first_not_of(content[0]) == std::string::npos;
}

}  // namespace

class SafeFilesCrashTest : public SafeFilesTest {
protected:
    // Starts a process that replaces the target all the time; returns after its first commit.
    pid_t startWriter(unsigned int firstGeneration)
    {
        support::flushStandardStreams();
        int ready[2] = {};
        EXPECT_EQ(::pipe(ready), 0);
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // if this test ends before
            for (unsigned int generation = firstGeneration;; ++generation) {
                if (!replace(mPath, makeContent(generation))) ::_exit(1);
                if (generation == firstGeneration && ::write(ready[1], "", 1) != 1) ::_exit(2);
            }
        }
        ::close(ready[1]);
        char byte = 1;
        EXPECT_EQ(::read(ready[0], &byte, 1), 1) << "the writer has failed";
        ::close(ready[0]);
        return pid;
    }
    // @return whether the process was killed, and had not ended by itself.
    static bool kill(pid_t pid)
    {
        int status = 0;
        ::kill(pid, SIGKILL);
        return ::waitpid(pid, &status, 0) == pid && WIFSIGNALED(status);
    }
};

TEST_F(SafeFilesCrashTest, HasTheOldOrTheNewContentAfterAKillAtAnyMoment)
{
    constexpr unsigned int kKills = 200;
    constexpr useconds_t kLongestDelayUs = 4000;
    const unsigned int seed = std::random_device()();
    std::mt19937 random(seed);
    std::uniform_int_distribution<useconds_t> delays(0, kLongestDelayUs);
    std::size_t left = 0;
    for (unsigned int i = 0; i < kKills; ++i) {
        const pid_t writer = startWriter(i);
        ::usleep(delays(random));
        ASSERT_TRUE(kill(writer)) << "seed " << seed << ", kill " << i;
        ASSERT_TRUE(isWhole(getTarget())) << "seed " << seed << ", kill " << i;
        left = list().size() - 1;
        ASSERT_LE(left, i + 1) << "a process leaves one file at most";
    }
    std::cout << "seed " << seed << ": " << left << " of " << kKills
              << " processes have left a file\n";
    for (const std::string& name : list())
        EXPECT_TRUE(name == "target" || name.rfind(".saving-", 0) == 0) << name;
}

TEST_F(SafeFilesCrashTest, ShowsWholeContentsToReadersWhileSeveralProcessesCommit)
{
    constexpr int kReads = 300;
    const pid_t first = startWriter(0);
    const pid_t second = startWriter(13);
    int wholeCount = 0;
    for (int i = 0; i < kReads; ++i)
        wholeCount += isWhole(getTarget()) ? 1 : 0;
    EXPECT_EQ(wholeCount, kReads);
    EXPECT_TRUE(kill(first));
    EXPECT_TRUE(kill(second));
}

TEST_F(SafeFilesCrashTest, GivesTheTargetToTheLastWriterWhoCommits)
{
    AtomicFile first;
    AtomicFile second;
    ASSERT_TRUE(first.openUtf8(mPath));
    ASSERT_TRUE(second.openUtf8(mPath));
    first << "first";
    second << "second";
    ASSERT_TRUE(second.commit());
    ASSERT_TRUE(first.commit());
    EXPECT_EQ(getTarget(), "first");
    EXPECT_EQ(list().size(), 1U);
}

TEST_F(SafeFilesCrashTest, IsNotDisturbedBySignals)
{
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(::sigaction(SIGALRM, &action, &before), 0);
    const itimerval often = {{0, 200}, {0, 200}};
    const itimerval never = {};
    ::setitimer(ITIMER_REAL, &often, nullptr);
    const std::string content(5'000'000, 'x');
    const bool isDone = replace(mPath, content);
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &before, nullptr);
    EXPECT_TRUE(isDone) << mFailure.toString();
    EXPECT_TRUE(getTarget() == content);
}

}  // namespace qz::ext
