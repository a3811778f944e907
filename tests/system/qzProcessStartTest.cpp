// SPDX-License-Identifier: MIT
// How a start ends, in both starts of the library: the program ran, it crashed, it never ran.

#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ProcessFixture.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Limits.h"

namespace qz {

using support::runInChild;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class qzProcessStart : public ::testing::TestWithParam<InitType>, public ProcessFixture {
protected:
    qzProcessStart() : ProcessFixture(GetParam()) {}

    // What can be seen of a program that never ran.
    static void expectNotStarted(const std::string& program, bool absoluteProgram)
    {
        qzProcess process;
        EXPECT_TRUE(
            process.startProcess(program, {"a"}, absoluteProgram, qzProcess::PriorityInherit));
        EXPECT_TRUE(process.hasFailedToStart());
        EXPECT_FALSE(process.hasCrashed());
        EXPECT_EQ(process.exitCode(), 0);
        EXPECT_EQ(process.getState(), qzProcess::Finished);
        EXPECT_EQ(process.getProgramUtf8(), program);
    }
};

INSTANTIATE_TEST_SUITE_P(Starts, qzProcessStart, ::testing::Values(LightInit, FullInit),
                         [](const auto& row) { return row.param == FullInit ? "Full" : "Light"; });

TEST_P(qzProcessStart, ReturnsEachExitCode)
{
    for (int code = 0; code < 256; ++code) {
        qzProcess process;
        ASSERT_TRUE(startChild(process, {"exit", std::to_string(code)}));
        ASSERT_TRUE(process.waitForFinished(kLongMs));
        ASSERT_EQ(process.exitCode(), code);
        ASSERT_FALSE(process.hasCrashed());
        ASSERT_FALSE(process.hasFailedToStart());
        ASSERT_EQ(process.getState(), qzProcess::Finished);
    }
}

TEST_P(qzProcessStart, RecognisesTheEndByEachSignal)
{
    for (int signal = 1; signal < 32; ++signal) {
        const bool isHarmless = signal == SIGCHLD || signal == SIGCONT || signal == SIGURG ||
                                signal == SIGWINCH || signal == SIGSTOP || signal == SIGTSTP ||
                                signal == SIGTTIN || signal == SIGTTOU || signal == SIGUSR1;
        if (isHarmless) continue;
        SCOPED_TRACE(signal);
        qzProcess process;
        ASSERT_TRUE(startChild(process, {"signal", std::to_string(signal)}));
        ASSERT_TRUE(process.waitForFinished(kLongMs));
        EXPECT_EQ(process.exitCode(), signal);
        EXPECT_TRUE(process.hasCrashed());
        EXPECT_FALSE(process.hasFailedToStart());
    }
}

TEST_P(qzProcessStart, TakesTheSignalOfAFailedStartForACrashAfterTheFirstMoment)
{
    qzProcess process;
    ASSERT_TRUE(startChild(process, {"hold", getFolder().getPath("ready")}));
    ASSERT_TRUE(waitForFile(getFolder().getPath("ready")));
    ::kill(process.getPid(), SIGUSR1);
    ASSERT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_EQ(process.exitCode(), 10);
    EXPECT_TRUE(process.hasCrashed());
    EXPECT_FALSE(process.hasFailedToStart());
}

TEST_P(qzProcessStart, TakesAProgramThatEndsByThatSignalAtOnceForNotStarted)
{
    // A shell is quicker to start than our program under a sanitizer.
    qzProcess process;
    ASSERT_TRUE(process.startProcess("/bin/sh", {"-c", "kill -USR1 $$"}, false,
                                     qzProcess::PriorityInherit));
    ASSERT_TRUE(process.waitForFinished(kLongMs));
    if (process.hasFailedToStart()) {
        EXPECT_EQ(process.exitCode(), 0);
        EXPECT_FALSE(process.hasCrashed());
    } else {
        EXPECT_EQ(process.exitCode(), 10);
        EXPECT_TRUE(process.hasCrashed());
    }
}

TEST_P(qzProcessStart, RecognisesAMissingProgram)
{
    expectNotStarted("/no/such/program", false);
}

TEST_P(qzProcessStart, RecognisesAMissingNameInThePath)
{
    expectNotStarted("qz-no-such-program", false);
}

TEST_P(qzProcessStart, RecognisesAMissingAbsoluteProgram)
{
    expectNotStarted("qz-no-such-program", true);
}

TEST_P(qzProcessStart, RecognisesAnEmptyName)
{
    expectNotStarted("", false);
}

TEST_P(qzProcessStart, RecognisesAFolder)
{
    expectNotStarted(getFolder().getPath(), true);
}

TEST_P(qzProcessStart, RecognisesAFileWithoutTheRightToExecute)
{
    expectNotStarted(getFolder().write("data", "#!/bin/sh\nexit 5\n"), true);
}

TEST_P(qzProcessStart, RecognisesABrokenInterpreterLine)
{
    const std::string path = getFolder().write("script", "#!/no/such/interpreter\n");
    ::chmod(path.c_str(), 0755);
    expectNotStarted(path, true);
}

TEST_P(qzProcessStart, RecognisesAProgramThatWasRemoved)
{
    const std::string path = getFolder().getPath("program");
    std::filesystem::copy_file(kChild, path);
    qzProcess first;
    ASSERT_TRUE(first.startProcess(path, {"exit", "3"}, true, qzProcess::PriorityInherit));
    ASSERT_TRUE(first.waitForFinished(kLongMs));
    EXPECT_EQ(first.exitCode(), 3);
    std::filesystem::remove(path);
    expectNotStarted(path, true);
}

TEST_P(qzProcessStart, FollowsAProgramWhoseFileIsRemovedWhileItRuns)
{
    const std::string path = getFolder().getPath("program");
    const std::string go = getFolder().getPath("go");
    std::filesystem::copy_file(kChild, path);
    qzProcess process;
    ASSERT_TRUE(process.startProcess(path, {"wait-for", go}, true, qzProcess::PriorityInherit));
    std::filesystem::remove(path);
    EXPECT_FALSE(process.waitForFinished(0));
    support::writeFile(go, "");
    EXPECT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_EQ(process.exitCode(), 0);
}

TEST_P(qzProcessStart, RunsAScriptWithoutAnInterpreterLineInTheShell)
{
    const std::string path = getFolder().write("script", "exit 7\n");
    ::chmod(path.c_str(), 0755);
    EXPECT_EQ(qzProcess::ExecUtf8(path, {}, "", true, kLongMs, nullptr), 7);
}

TEST_P(qzProcessStart, EndsTheChildOfAMissingProgramAtOnce)
{
    // It would hang in the report of the signal otherwise, or run this program's `exit`.
    for (int i = 0; i < 20; ++i) {
        qzProcess process;
        ASSERT_TRUE(
            process.startProcess("/no/such/program", {}, false, qzProcess::PriorityInherit));
        ASSERT_TRUE(process.waitForFinished(kLongMs));
    }
    EXPECT_FALSE(support::hasChildren());
}

TEST_P(qzProcessStart, HandsTheArgumentsOver)
{
    qzProcess process;
    EXPECT_EQ(getOutput(process, {"arguments", "", "a b", "\"'\\$", "\n"}),
              "[" + kChild + "]\n[arguments]\n[]\n[a b]\n[\"'\\$]\n[\n]\n");
    EXPECT_THAT(process.getArgumentsUtf8(), ElementsAre("arguments", "", "a b", "\"'\\$", "\n"));
}

TEST_P(qzProcessStart, SearchesThePath)
{
    EXPECT_EQ(qzProcess::ExecUtf8("true", {}, "", false, kLongMs, nullptr), 0);
    EXPECT_EQ(qzProcess::ExecUtf8("false", {}, "", true, kLongMs, nullptr), 1);
}

TEST_P(qzProcessStart, RunsTheFileAtTheAbsolutePath)
{
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(getFolder().getPath());
    // Without the flag the name would be searched for in the PATH.
    std::filesystem::create_symlink(kChild, "true");
    const int code = qzProcess::ExecUtf8("true", {"exit", "9"}, "", true, kLongMs, nullptr);
    const int otherCode = qzProcess::ExecUtf8("true", {"exit", "9"}, "", false, kLongMs, nullptr);
    std::filesystem::current_path(before);
    EXPECT_EQ(code, 9);
    EXPECT_EQ(otherCode, 0) << "it was not searched for in the PATH";
}

struct NiceRow {
    qzProcess::ProcessPriority priority;
    int niceValue;
};

TEST_P(qzProcessStart, SetsTheNiceValue)
{
    const int own = ::getpriority(PRIO_PROCESS, 0);
    const NiceRow rows[] = {{qzProcess::PriorityLow, 1},
                            {qzProcess::PriorityNormal, 0},
                            {qzProcess::PriorityHigh, -1},
                            {qzProcess::PriorityInherit, own},
                            {static_cast<qzProcess::ProcessPriority>(4), own}};
    if (::geteuid() != 0 || own != 0) GTEST_SKIP() << "needs root with a nice value of 0";
    for (const NiceRow& row : rows) {
        qzProcess process;
        EXPECT_EQ(getOutput(process, {"nice"}, row.priority), std::to_string(row.niceValue));
    }
}

TEST_P(qzProcessStart, InheritsANiceValueThatIsNotTheUsualOne)
{
    // Anybody may raise the value; 19 is the highest.
    const int niceValue = std::min(::getpriority(PRIO_PROCESS, 0) + 5, 19);
    const auto body = [niceValue] {
        ::setpriority(PRIO_PROCESS, 0, niceValue);
        qzProcess process;
        process.startProcess(kChild, {"nice"}, false, qzProcess::PriorityInherit);
        if (!process.waitForFinished(kLongMs)) return 97;
        return qzProcess::ExecUtf8(kChild, {"nice"}, "", false, kLongMs, nullptr);
    };
    const support::ChildResult result = runInChild(body);
    EXPECT_EQ(result.getEnd(), "exit 0");
    const std::string once = std::to_string(niceValue);
    EXPECT_EQ(result.out, once + once);
}

TEST_P(qzProcessStart, LeavesTheNiceValueWithoutTheRightToLowerIt)
{
    const std::string own = std::to_string(::getpriority(PRIO_PROCESS, 0));
    const auto body = [] {
        support::becomeNobody();
        qzProcess process;
        process.startProcess("/bin/sh", {"-c", "nice"}, false, qzProcess::PriorityHigh);
        return process.waitForFinished(kLongMs) ? process.exitCode() : 97;
    };
    const support::ChildResult result = runInChild(body);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, own + "\n") << "and no report";
}

TEST_P(qzProcessStart, RunsInTheFolder)
{
    qzProcess process;
    EXPECT_TRUE(process.setWorkingDirectory(getFolder().getPath()));
    EXPECT_EQ(process.getWorkingDirectoryUtf8(), getFolder().getPath());
    EXPECT_EQ(getOutput(process, {"folder"}),
              std::filesystem::canonical(getFolder().getPath()).string());
    qzProcess other;
    EXPECT_EQ(getOutput(other, {"folder"}), std::filesystem::current_path().string());
}

TEST_P(qzProcessStart, WarnsOfAMissingFolderAndStartsInItsOwn)
{
    const std::string missing = getFolder().getPath("missing");
    qzProcess process;
    process.setWorkingDirectory(missing);
    const std::string output = getOutput(process, {"folder"});
    EXPECT_THAT(output, ::testing::StartsWith("WARNING"));
    EXPECT_THAT(output, HasSubstr("Beware, could not change current working directory in "
                                  "startProcess " +
                                  missing));
    EXPECT_THAT(output, ::testing::EndsWith(std::filesystem::current_path().string()));
}

TEST_P(qzProcessStart, WarnsOfARelativeFolderByItsAbsolutePath)
{
    qzProcess process;
    process.setWorkingDirectory("missing-here");
    EXPECT_THAT(
        getOutput(process, {"folder"}),
        HasSubstr("startProcess " + std::filesystem::current_path().string() + "/missing-here"));
}

TEST_P(qzProcessStart, InheritsTheEnvironment)
{
    const support::EnvironmentVariable variable("QZ_INHERITED", "\xFF bytes");
    for (const bool inherits : {true, false}) {
        // An empty list inherits in any case.
        qzProcess process;
        EXPECT_TRUE(process.setProcessEnvironmentUtf8({}, inherits));
        EXPECT_THAT(getOutput(process, {"environment"}), HasSubstr("QZ_INHERITED=\xFF bytes\n"));
    }
}

TEST_P(qzProcessStart, AddsVariablesAfterTheInheritedOnes)
{
    const support::EnvironmentVariable variable("QZ_TWICE", "inherited \xFF");
    qzProcess process;
    EXPECT_TRUE(process.setProcessEnvironmentUtf8({"QZ_TWICE=own", "QZ_OWN=x"}, true));
    const std::string output = getOutput(process, {"environment"});
    EXPECT_THAT(output, HasSubstr("QZ_TWICE=inherited \xFF\n"));
    EXPECT_THAT(output, ::testing::EndsWith("QZ_TWICE=own\nQZ_OWN=x\n"));
    std::vector<std::string> variables;
    process.getProcessEnvironmentUtf8(variables);
    EXPECT_THAT(variables, ElementsAre("QZ_TWICE=own", "QZ_OWN=x"));
}

TEST_P(qzProcessStart, ReplacesTheEnvironment)
{
    qzProcess process;
    EXPECT_TRUE(process.setProcessEnvironmentUtf8({"A=1", "A=2", "B="}, false));
    EXPECT_EQ(getOutput(process, {"environment"}), "A=1\nA=2\nB=\n");
}

TEST_P(qzProcessStart, SearchesThePathOfTheCallerAndNotOfTheNewEnvironment)
{
    for (const auto priority : {qzProcess::PriorityInherit, qzProcess::PriorityLow}) {
        qzProcess process;
        process.setProcessEnvironmentUtf8({"PATH=/none"}, false);
        ASSERT_TRUE(process.startProcess("true", {}, false, priority));
        EXPECT_TRUE(process.waitForFinished(kLongMs));
        EXPECT_EQ(process.exitCode(), 0);
        EXPECT_FALSE(process.hasFailedToStart());
    }
}

TEST_P(qzProcessStart, RefusesAStartWhileTheChildRuns)
{
    const std::string go = getFolder().getPath("go");
    qzProcess process;
    ASSERT_TRUE(startChild(process, {"wait-for", go}));
    const int pid = process.getPid();
    EXPECT_FALSE(process.startProcess("other", {}, false, qzProcess::PriorityInherit));
    EXPECT_FALSE(process.setWorkingDirectory("/"));
    EXPECT_FALSE(process.setProcessEnvironmentUtf8({"A=1"}, false));
    EXPECT_FALSE(process.resetState());
    EXPECT_EQ(process.getProgramUtf8(), kChild);
    EXPECT_EQ(process.getPid(), pid);
    EXPECT_EQ(process.getState(), qzProcess::Running);
    support::writeFile(go, "");
    EXPECT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_FALSE(process.hasFailedToStart());
    EXPECT_EQ(process.getPid(), pid);
}

TEST_P(qzProcessStart, StartsAgainAfterTheEnd)
{
    qzProcess process;
    ASSERT_TRUE(startChild(process, {"signal", "9"}));
    ASSERT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_TRUE(process.hasCrashed());
    ASSERT_TRUE(startChild(process, {"exit", "4"}));
    ASSERT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_FALSE(process.hasCrashed());
    EXPECT_EQ(process.exitCode(), 4);
    ASSERT_TRUE(process.startProcess("/bin/true", {}, false, qzProcess::PriorityInherit));
    ASSERT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_EQ(process.getProgramUtf8(), "/bin/true");
    EXPECT_TRUE(process.getArgumentsUtf8().empty());
    EXPECT_EQ(process.exitCode(), 0);
}

TEST_P(qzProcessStart, GivesAProgramTenMillisecondsToFail)
{
    qzProcess process;
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(startChild(process, {"wait-for", getFolder().getPath("go")}));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(10));
    support::writeFile(getFolder().getPath("go"), "");
    EXPECT_TRUE(process.waitForFinished(kLongMs));
}

TEST_P(qzProcessStart, TakesNoExitCodeForTheSignalOfAFailedStart)
{
    qzProcess process;
    for (const char* const first : {"9", "10"}) {  // by which an earlier child ended
        ASSERT_TRUE(startChild(process, {"signal", first}));
        ASSERT_TRUE(process.waitForFinished(kLongMs));
        ASSERT_TRUE(
            process.startProcess("/bin/sh", {"-c", "exit 10"}, false, qzProcess::PriorityInherit));
        ASSERT_TRUE(process.waitForFinished(kLongMs));
        EXPECT_EQ(process.exitCode(), 10);
        EXPECT_FALSE(process.hasFailedToStart());
        EXPECT_FALSE(process.hasCrashed());
    }
}

TEST_P(qzProcessStart, PassesTheSignalMaskOn)
{
    const auto body = [] {
        sigset_t mask;
        sigset_t maskAfter;
        ::sigemptyset(&mask);
        ::sigaddset(&mask, SIGUSR2);
        ::sigprocmask(SIG_SETMASK, &mask, nullptr);
        for (const auto priority : {qzProcess::PriorityInherit, qzProcess::PriorityLow}) {
            qzProcess process;
            process.startProcess("/bin/grep", {"SigBlk", "/proc/self/status"}, false, priority);
            if (!process.waitForFinished(kLongMs)) return 97;
            ::sigprocmask(SIG_SETMASK, nullptr, &maskAfter);
            if (std::memcmp(&mask, &maskAfter, 8) != 0) return 98;
        }
        return 0;
    };
    const support::ChildResult result = runInChild(body);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "SigBlk:\t0000000000000800\nSigBlk:\t0000000000000800\n");
}

// --- What is in buffers at a start

namespace {

int writeThenFail(bool isDetached)
{
    ::signal(SIGUSR1, SIG_IGN);  // so that the child of the failed start reaches its `exit`
    const support::LibraryStart start;
    std::FILE* const file = std::tmpfile();
    std::printf("text ");
    std::fputs("file ", file);
    std::cout << "stream ";
    if (isDetached) {
        qzProcess::StartDetachedUtf8("/bin/true", {}, "", false);
    } else {
        qzProcess process;
        process.startProcess("/no/such/program", {}, false, qzProcess::PriorityInherit);
    }
    std::fflush(nullptr);
    const long size = std::ftell(file);
    struct stat status = {};
    ::fstat(::fileno(file), &status);
    return size == 5 && status.st_size == 5 ? 0 : 1;
}

}  // namespace

TEST(qzProcessStreams, WritesBufferedTextOnceWhenAStartFails)
{
    const support::ChildResult result = runInChild([] { return writeThenFail(false); });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "text stream ");
}

TEST(qzProcessStreams, WritesBufferedTextOnceWhenAProgramStartsDetached)
{
    const support::ChildResult result = runInChild([] { return writeThenFail(true); });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "text stream ");
}

namespace {

class BrokenBuffer : public std::streambuf {
    int sync() override { throw std::runtime_error("broken"); }
};

}  // namespace

TEST(qzProcessStreams, StartsAlthoughABufferOfTheApplicationThrows)
{
    const auto body = [] {
        const support::LibraryStart start;
        BrokenBuffer buffer;
        std::streambuf* const before = std::clog.rdbuf(&buffer);
        const bool isDetached = qzProcess::StartDetachedUtf8("/bin/true", {}, "", false);
        std::clog.rdbuf(before);
        return isDetached ? 0 : 1;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST(qzProcessStreams, StartsWhileAnotherThreadReadsTheStandardInput)
{
    const auto body = [] {
        const support::LibraryStart start;
        int pipe[2];
        if (::pipe(pipe) != 0) return 1;
        ::dup2(pipe[0], 0);
        std::thread reader([] { std::getchar(); });
        // The reader holds the lock of its stream from then on.
        support::waitUntil([] {
            const bool isFree = ::ftrylockfile(stdin) == 0;
            if (isFree) ::funlockfile(stdin);
            return !isFree;
        });
        qzProcess process;
        process.startProcess("/no/such/program", {}, false, qzProcess::PriorityInherit);
        const bool hasEnded = process.waitForFinished(kLongMs);
        if (::write(pipe[1], "x", 1) != 1) return 2;
        reader.join();
        return hasEnded ? 0 : 3;
    };
    EXPECT_EQ(runInChild(body, {}, 120).getEnd(), "exit 0");
}

// --- The local character set

// The euro sign is missing there.
TEST(qzProcessCharset, HandsItsTextsOverInTheLocalCharacterSet)
{
    const support::ScratchFolder folder;
    const std::string program = folder.getPath("s\xFC");
    std::filesystem::copy_file("/bin/sh", program);
    std::filesystem::create_directory(folder.getPath("\xE9"));
    const auto body = [&] {
        const support::EnvironmentLocale locale("en_US.ISO-8859-1");
        const support::LibraryStart start;
        qzProcess process;
        process.setWorkingDirectory(folder.getPath("\u00e9"));
        process.setProcessEnvironmentUtf8({"V=\u00e8"}, false);
        const std::vector<std::string> arguments{"-c", "echo \"$1|$2|$V|${PWD##*/}\"", "-",
                                                 "x\u00e9", "\u20ac"};
        if (!process.startProcess(folder.getPath("s\u00fc"), arguments, true,
                                  qzProcess::PriorityInherit))
            return 98;
        return process.waitForFinished(kLongMs) ? process.exitCode() : 97;
    };
    const support::ChildResult result = runInChild(body);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "x\xE9|EUR|\xE8|\xE9\n");
}

TEST(qzProcessCharset, WarnsOfAFolderThatTheLocalSetCannotHold)
{
    const auto body = [] {
        const support::EnvironmentLocale locale("en_US.ISO-8859-1");
        const support::LibraryStart start;
        qzProcess process;
        process.setWorkingDirectory("/\u20ac");
        process.startProcess("pwd", {}, false, qzProcess::PriorityInherit);
        return process.waitForFinished(kLongMs) ? process.exitCode() : 97;
    };
    const support::ChildResult result = runInChild(body);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.out,
                HasSubstr("could not change current working directory in startProcess"));
    EXPECT_THAT(result.out,
                ::testing::EndsWith("\n" + std::filesystem::current_path().string() + "\n"));
}

TEST(qzProcessWithoutAStart, FailsWithoutAFault)
{
    const auto body = [] {
        qzProcess process;
        std::string error;
        const bool isStarted =
            process.startProcess("/bin/true", {"x"}, true, qzProcess::PriorityInherit);
        process.waitForFinished(kLongMs);
        qzProcess::ExecUtf8("/bin/true", {}, "/", false, kLongMs, &error);
        return isStarted && process.exitCode() != 1 ? 0 : 1;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
    const auto afterAStop = [&] {
        {
            const support::LibraryStart start(FullInit);
        }
        return body();
    };
    EXPECT_EQ(runInChild(afterAStop).getEnd(), "exit 0");
}

}  // namespace qz
