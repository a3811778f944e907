// SPDX-License-Identifier: MIT
#include "support/ChildProcess.h"

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include <gtest/gtest.h>

#include "support/OutputCapture.h"

namespace qz::support {

TEST(ChildProcessTest, GivesExitCodeAndBothOutputs)
{
    const ChildResult result = runInChild([] {
        std::cout << "out";
        std::cerr << "err";
        return 7;
    });
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.getEnd(), "exit 7");
    EXPECT_EQ(result.out, "out");
    EXPECT_EQ(result.err, "err");
}

TEST(ChildProcessTest, GivesTheSignalThatEndedTheChild)
{
    const ChildResult result = runInChild([] { return ::kill(::getpid(), SIGKILL); });
    EXPECT_EQ(result.exitCode, -1);
    EXPECT_EQ(result.signal, SIGKILL);
    EXPECT_EQ(result.getEnd(), "signal 9");
}

TEST(ChildProcessTest, EndsAChildThatThrowsByAbort)
{
    const ChildResult result = runInChild([]() -> int { throw std::runtime_error("thrown"); });
    EXPECT_EQ(result.signal, SIGABRT);
}

TEST(ChildProcessTest, EndsAChildThatHangs)
{
    const ChildResult result = runInChild([] { return ::pause(); }, "", /*timeoutSec=*/1);
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(result.getEnd(), "timed out");
}

TEST(ChildProcessTest, HandsTheInputOver)
{
    const auto copyInput = [] {
        std::cout << std::string(std::istreambuf_iterator<char>(std::cin), {});
        return 0;
    };
    EXPECT_EQ(runInChild(copyInput, "two\nlines").out, "two\nlines");
}

TEST(ChildProcessTest, DoesNotRepeatWhatTheParentHadBuffered)
{
    const StdoutCapture capture;
    std::cout << "parent's own ";
    EXPECT_EQ(runInChild([] { return 0; }).out, "");
}

class ProgramRunTest : public ::testing::Test {
protected:
    static ProgramRun shell(const std::string& script)
    {
        return {.program = "/bin/sh", .arguments = {"-c", script, "sh", "first", "last"}};
    }
};

TEST_F(ProgramRunTest, HandsArgumentsAndInputOver)
{
    ProgramRun run = shell("echo $#$1$2; cat; exit 5");
    run.input = "input";
    const ChildResult result = runProgram(run);
    EXPECT_EQ(result.out, "2firstlast\ninput");
    EXPECT_EQ(result.exitCode, 5);
}

TEST_F(ProgramRunTest, ChangesTheEnvironment)
{
    ::setenv("QZ_SUPPORT_TAKEN", "there", 1);
    ::setenv("QZ_SUPPORT_KEPT", "kept", 1);
    ProgramRun run = shell("echo \"$QZ_SUPPORT_SET ${QZ_SUPPORT_TAKEN-gone} $QZ_SUPPORT_KEPT\"");
    run.environment = {{"QZ_SUPPORT_SET", "set"}, {"QZ_SUPPORT_TAKEN", std::nullopt}};
    EXPECT_EQ(runProgram(run).out, "set gone kept\n");
}

TEST_F(ProgramRunTest, SetsLimits)
{
    ProgramRun run = shell("ulimit -n");
    run.limits = {{RLIMIT_NOFILE, 33}};
    EXPECT_EQ(runProgram(run).out, "33\n");
}

TEST_F(ProgramRunTest, ChangesTheFolder)
{
    ProgramRun run = shell("pwd");
    run.workingFolder = "/usr";
    EXPECT_EQ(runProgram(run).out, "/usr\n");
}

TEST_F(ProgramRunTest, AnswersAMissingProgramOrFolderWith127)
{
    EXPECT_EQ(runProgram({.program = "no_such_program"}).exitCode, 127);
    ProgramRun run = shell("true");
    run.workingFolder = "/no/such/folder";
    EXPECT_EQ(runProgram(run).exitCode, 127);
}

}  // namespace qz::support
