// SPDX-License-Identifier: MIT
// Watching a child to its end, ending it, and running one to its end in one call.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ProcessFixture.h"
#include "support/ChildProcess.h"
#include "support/Limits.h"

namespace qz {

using support::runInChild;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Clock = std::chrono::steady_clock;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif

std::chrono::milliseconds getTimeSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
}

}  // namespace

class qzProcessWatch : public ::testing::Test, public ProcessFixture {
protected:
    // A child that runs until `release`.
    bool startWaiting(qzProcess& process)
    {
        return startChild(process, {"wait-for", getFolder().getPath("go")});
    }
    void release() { getFolder().write("go", ""); }
    // A child that can be signalled, as it has come to its job.
    bool startReady(qzProcess& process, const char* job)
    {
        const std::string path = getFolder().getPath(job);
        std::filesystem::remove(path);
        return startChild(process, {job, path}) && waitForFile(path);
    }
};

TEST_F(qzProcessWatch, StartsFresh)
{
    qzProcess process;
    EXPECT_EQ(process.getState(), 0);
    EXPECT_EQ(process.getPid(), 0);
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_FALSE(process.hasCrashed());
    EXPECT_TRUE(process.hasFailedToStart());
    EXPECT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_EQ(process.getProgramUtf8(), "");
    EXPECT_EQ(process.getWorkingDirectoryUtf8(), "");
    EXPECT_THAT(process.getArgumentsUtf8(), IsEmpty());
    process.terminateProcess();
    process.killProcess();
    EXPECT_FALSE(process.setWorkingSetMaxSize(1));
}

TEST_F(qzProcessWatch, OnlyChecksWithoutATime)
{
    qzProcess process;
    ASSERT_TRUE(startWaiting(process));
    EXPECT_FALSE(process.waitForFinished(0));
    EXPECT_EQ(process.getState(), qzProcess::Running);
    EXPECT_FALSE(process.hasFailedToStart());
    EXPECT_GT(process.getPid(), 0);
    release();
    EXPECT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_TRUE(process.waitForFinished(0));
    EXPECT_EQ(process.getState(), 2);
}

TEST_F(qzProcessWatch, WaitsForTheWholeTimeout)
{
    for (const bool hasDescriptors : {true, false}) {
        qzProcess process;
        ASSERT_TRUE(startReady(process, "hold"));
        std::optional<support::DescriptorLimit> noneLeft;
        if (!hasDescriptors) noneLeft.emplace(0);
        const auto start = Clock::now();
        EXPECT_FALSE(process.waitForFinished(250));
        EXPECT_GE(getTimeSince(start).count(), 249);
        process.killProcess();
        EXPECT_TRUE(process.waitForFinished(kLongMs));
        EXPECT_LT(getTimeSince(start), std::chrono::seconds(100)) << "it slept without a poll";
    }
}

TEST_F(qzProcessWatch, WaitsForTheWholeTimeoutThroughSignals)
{
    const auto body = [this] {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        ::sigaction(SIGALRM, &action, nullptr);
        qzProcess process;
        if (!startReady(process, "hold")) return 1;
        const itimerval often{{0, 5000}, {0, 5000}};
        ::setitimer(ITIMER_REAL, &often, nullptr);
        for (const bool hasDescriptors : {true, false}) {
            std::optional<support::DescriptorLimit> noneLeft;
            if (!hasDescriptors) noneLeft.emplace(0);
            const auto start = Clock::now();
            if (process.waitForFinished(250) || getTimeSince(start).count() < 249) return 2;
        }
        if (!qzProcess::StartDetachedUtf8("/bin/true", {}, "", false)) return 3;
        process.killProcess();
        return process.waitForFinished(kLongMs) ? 0 : 4;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST_F(qzProcessWatch, WorksWithoutADescriptor)
{
    if (kIsSanitized) GTEST_SKIP() << "the sanitizer needs descriptors of its own";
    // The child inherits the limit, but none of these descriptors.
    const support::DescriptorLimit fewLeft(30);
    std::vector<int> taken;
    while (taken.empty() || taken.back() >= 0)
        taken.push_back(::fcntl(2, F_DUPFD_CLOEXEC, 0));
    taken.pop_back();
    qzProcess process;
    EXPECT_TRUE(startChild(process, {"exit", "3"}));
    EXPECT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_EQ(process.exitCode(), 3);
    EXPECT_TRUE(process.startProcess("/no/such/program", {}, false, qzProcess::PriorityNormal));
    EXPECT_TRUE(process.waitForFinished(kLongMs));
    // A slow machine may need longer than the time in which the failure is recognised.
    EXPECT_TRUE(process.hasFailedToStart() || process.exitCode() == 10);
    EXPECT_TRUE(qzProcess::StartDetachedUtf8("/bin/true", {}, "", false));
    for (const int descriptor : taken)
        ::close(descriptor);
}

TEST_F(qzProcessWatch, ReadsAChildThatSomethingElseHasReapedAsACrash)
{
    qzProcess process;
    ASSERT_TRUE(startWaiting(process));
    release();
    int status = 0;
    ASSERT_EQ(::waitpid(process.getPid(), &status, 0), process.getPid());
    EXPECT_TRUE(process.waitForFinished(0));
    EXPECT_TRUE(process.hasCrashed());
    EXPECT_FALSE(process.hasFailedToStart());
    EXPECT_EQ(process.exitCode(), 0);
}

// Without another call before it.
TEST_F(qzProcessWatch, SeesTheEndInEachOperation)
{
    using Operation = std::function<bool(qzProcess&)>;
    const Operation operations[] = {
        [](qzProcess& process) { return process.getState() == qzProcess::Finished; },
        [](qzProcess& process) { return process.exitCode() == SIGKILL; },
        [](qzProcess& process) { return process.hasCrashed(); },
        [](qzProcess& process) {
            return !process.hasFailedToStart() && ::kill(process.getPid(), 0) != 0;  // no zombie
        },
        [](qzProcess& process) { return process.resetState(); },
        [](qzProcess& process) { return process.setWorkingDirectory("/"); },
        [](qzProcess& process) { return process.setProcessEnvironmentUtf8({}, true); },
        [](qzProcess& process) { return qzProcess::GetCurrentProcess(process); },
        [](qzProcess& process) {
            return startChild(process, {"exit", "0"});
        },
    };
    for (const Operation& operation : operations) {
        SCOPED_TRACE(&operation - operations);
        qzProcess process;
        ASSERT_TRUE(startReady(process, "hold"));
        process.killProcess();
        siginfo_t end = {};
        const id_t pid = static_cast<id_t>(process.getPid());
        ASSERT_EQ(::waitid(P_PID, pid, &end, WEXITED | WNOWAIT), 0);
        EXPECT_TRUE(operation(process));
    }
}

TEST_F(qzProcessWatch, SignalsTheSecondChildOfAnObject)
{
    qzProcess process;
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(startReady(process, "hold"));
        i == 0 ? process.killProcess() : process.terminateProcess();
        EXPECT_TRUE(process.waitForFinished(kLongMs));
        EXPECT_EQ(process.exitCode(), i == 0 ? SIGKILL : SIGTERM);
    }
}

TEST_F(qzProcessWatch, EndsAChildBySigterm)
{
    qzProcess process;
    ASSERT_TRUE(startReady(process, "hold"));
    process.terminateProcess();
    EXPECT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_EQ(process.exitCode(), SIGTERM);
    EXPECT_TRUE(process.hasCrashed());
}

TEST_F(qzProcessWatch, KillsAChildThatIgnoresSigterm)
{
    qzProcess process;
    ASSERT_TRUE(startReady(process, "ignore-term"));
    process.terminateProcess();
    EXPECT_FALSE(process.waitForFinished(50));
    process.killProcess();
    EXPECT_TRUE(process.waitForFinished(kLongMs));
    EXPECT_EQ(process.exitCode(), SIGKILL);
}

TEST_F(qzProcessWatch, SignalsNoProcessWhoseEndItHasSeen)
{
    const auto body = [] {
        qzProcess process;
        startChild(process, {"exit", "0"});
        if (!process.waitForFinished(kLongMs)) return 1;
        // Another process may get the number; here it is one of our own.
        pid_t pid = 0;
        for (int i = 0; i < 2000 && pid != process.getPid(); ++i) {
            support::writeFile("/proc/sys/kernel/ns_last_pid",
                               std::to_string(process.getPid() - 1));
            pid = ::fork();
            if (pid == 0) ::_exit(::pause());
            if (pid == process.getPid()) break;
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
        process.killProcess();
        process.terminateProcess();
        process.resetState();
        process.killProcess();
        process.clearProcess();
        process.killProcess();
        ::kill(pid, SIGRTMAX);  // ends it unless another signal has
        int status = 0;
        if (::waitpid(pid, &status, 0) != pid) return 2;
        return WTERMSIG(status) == SIGRTMAX ? 0 : 3;
    };
    // The mode of the file lets anybody open it, but not write to it.
    std::ofstream lastPid("/proc/sys/kernel/ns_last_pid");
    if (!(lastPid << ::getpid() << std::flush)) GTEST_SKIP() << "needs root";
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST_F(qzProcessWatch, HoldsUpTheDestructionUntilTheChildEnds)
{
    auto process = std::make_unique<qzProcess>();
    ASSERT_TRUE(startWaiting(*process));
    const int pid = process->getPid();
    std::thread releaser([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        release();
    });
    process.reset();
    EXPECT_TRUE(std::filesystem::exists(getFolder().getPath("go")));
    EXPECT_EQ(::kill(pid, 0), -1) << "a zombie is left";
    releaser.join();
}

TEST_F(qzProcessWatch, ReturnsToNotStarted)
{
    qzProcess process;
    ASSERT_TRUE(process.setProcessEnvironmentUtf8({"A=1"}, true));
    ASSERT_TRUE(process.setWorkingDirectory("/"));
    ASSERT_TRUE(startChild(process, {"signal", "9"}));
    ASSERT_TRUE(process.waitForFinished(kLongMs));
    const int pid = process.getPid();
    EXPECT_TRUE(process.resetState());
    EXPECT_EQ(process.getState(), qzProcess::NotStarted);
    EXPECT_FALSE(process.hasCrashed());
    EXPECT_TRUE(process.hasFailedToStart());
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_EQ(process.getPid(), pid);
    EXPECT_EQ(process.getProgramUtf8(), kChild);
    EXPECT_EQ(process.getWorkingDirectoryUtf8(), "/");
    EXPECT_THAT(process.getArgumentsUtf8(), ElementsAre("signal", "9"));
    std::vector<std::string> variables;
    process.getProcessEnvironmentUtf8(variables);
    EXPECT_THAT(variables, ElementsAre("A=1"));
}

TEST_F(qzProcessWatch, ForgetsARunningChildWhenCleared)
{
    const auto start = Clock::now();
    int pid = 0;
    {
        qzProcess process;
        ASSERT_TRUE(process.setProcessEnvironmentUtf8({"A=1"}, false));
        ASSERT_TRUE(process.setWorkingDirectory("/"));
        ASSERT_TRUE(startReady(process, "hold"));
        pid = process.getPid();
        process.clearProcess();
        EXPECT_EQ(process.getState(), qzProcess::NotStarted);
        EXPECT_EQ(process.getPid(), pid);
        EXPECT_EQ(process.getProgramUtf8(), "");
        EXPECT_EQ(process.getWorkingDirectoryUtf8(), "");
        EXPECT_THAT(process.getArgumentsUtf8(), IsEmpty());
        std::vector<std::string> variables{"old"};
        process.getProcessEnvironmentUtf8(variables);
        EXPECT_THAT(variables, IsEmpty());
        // Its end is not known, so it can still be ended.
        process.killProcess();
    }
    EXPECT_LT(getTimeSince(start), std::chrono::seconds(100)) << "the destructor waited";
    int status = 0;
    EXPECT_EQ(::waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFSIGNALED(status));
}

// --- ExecUtf8

struct ExecRow {
    const char* name;
    std::vector<std::string> job;
    int result;
    const char* error;
};

class qzProcessExec : public ProcessFixture, public ::testing::TestWithParam<ExecRow> {};

TEST_P(qzProcessExec, GivesTheResultOfItsRow)
{
    const ExecRow& row = GetParam();
    std::string error = "left";
    EXPECT_EQ(qzProcess::ExecUtf8(kChild, row.job, "", true, kLongMs, &error), row.result);
    EXPECT_EQ(error, row.error);
    EXPECT_EQ(qzProcess::ExecUtf8(kChild, row.job, "", true, kLongMs, nullptr), row.result);
}

const ExecRow kExecRows[] = {
    {"Success", {"exit", "0"}, 0, "left"},
    {"Failure", {"exit", "1"}, 1, "process return an error"},
    {"LargestExitCode", {"exit", "255"}, 255, "process return an error"},
    {"Fault", {"signal", "11"}, 11, "process return an error"},
    {"Kill", {"signal", "9"}, 9, "process return an error"},
    {"AnyJob", {"unknown job"}, 98, "process return an error"},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzProcessExec, ::testing::ValuesIn(kExecRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzProcessWatch, ExecRunsInItsFolder)
{
    const support::StdoutCapture out;
    const std::string& folder = getFolder().getPath();
    EXPECT_EQ(qzProcess::ExecUtf8(kChild, {"folder"}, folder, true, kLongMs, nullptr), 0);
    EXPECT_EQ(out.getText(), std::filesystem::canonical(folder).string());
}

TEST_F(qzProcessWatch, ExecReportsAMissingProgramAsSuccess)
{
    std::string error = "left";
    // On a busy machine a child may need longer than 10 ms to fail, and then reads as a crash.
    const bool isRecognised = support::waitUntil([&] {
        error = "left";
        const int result = qzProcess::ExecUtf8("/no/such/program", {}, "", false, kLongMs, &error);
        if (result == 0) return true;
        EXPECT_EQ(result, 10);
        EXPECT_EQ(error, "process return an error");
        return false;
    });
    EXPECT_TRUE(isRecognised);
    EXPECT_EQ(error, "left");
}

TEST_F(qzProcessWatch, ExecKillsAndReapsAChildAfterTheTimeout)
{
    std::string error = "left";
    const std::string path = getFolder().getPath("holding");
    EXPECT_EQ(qzProcess::ExecUtf8(kChild, {"hold", path}, "", true, 100, &error), -2);
    EXPECT_EQ(error, "timeout");
    EXPECT_EQ(qzProcess::ExecUtf8(kChild, {"ignore-term", path}, "", true, 0, nullptr), -2);
    EXPECT_FALSE(support::hasChildren());
}

TEST(qzProcessExecAlone, ReportsThatThereIsNoChild)
{
    // Root may always have one more, so the limit holds only for somebody else.
    const auto body = [] {
        const support::LibraryStart start;
        support::becomeNobody();
        const support::ResourceLimit noChild(RLIMIT_NPROC, 0);
        std::string error;
        if (qzProcess::ExecUtf8("/bin/true", {}, "", false, kLongMs, &error) != -1) return 1;
        if (error != "Fail to start process") return 2;
        if (qzProcess::StartDetachedUtf8("/bin/true", {}, "", false)) return 3;
        qzProcess process;
        if (process.startProcess("/bin/true", {}, false, qzProcess::PriorityLow)) return 4;
        return process.getState() == qzProcess::Finished && process.hasFailedToStart() ? 0 : 5;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST(qzProcessExecAlone, ReadsAnUnknownEndAsACrash)
{
    const auto body = [] {
        const support::LibraryStart start;
        ::signal(SIGCHLD, SIG_IGN);  // so that the system reaps the child
        std::string error;
        const int result = qzProcess::ExecUtf8("/bin/true", {}, "", false, kLongMs, &error);
        return result == -3 && error == "process has crashed" ? 0 : 1;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

// --- Detached programs

class qzProcessDetached : public ::testing::TestWithParam<InitType>, public ProcessFixture {
protected:
    qzProcessDetached() : ProcessFixture(GetParam()) {}

    // On a busy machine a program may need longer than 10 ms to fail, and then counts as started.
    template <typename Start>
    static bool isRefused(const Start& start)
    {
        return support::waitUntil([&] { return !start(); });
    }
};

INSTANTIATE_TEST_SUITE_P(Starts, qzProcessDetached, ::testing::Values(LightInit, FullInit),
                         [](const auto& row) { return row.param == FullInit ? "Full" : "Light"; });

TEST_P(qzProcessDetached, IsNoChildAndLeavesNoZombie)
{
    const std::string path = getFolder().getPath("parent");
    EXPECT_TRUE(qzProcess::StartDetachedUtf8(kChild, {"parent", path}, "", true));
    EXPECT_FALSE(support::hasChildren());
    ASSERT_TRUE(waitForFile(path));
    EXPECT_NE(support::readFile(path), std::to_string(::getpid()));
}

TEST_P(qzProcessDetached, RunsInItsFolder)
{
    EXPECT_TRUE(
        qzProcess::StartDetachedUtf8(kChild, {"parent", "here"}, getFolder().getPath(), true));
    EXPECT_TRUE(waitForFile(getFolder().getPath("here")));
}

TEST_P(qzProcessDetached, InheritsTheNiceValue)
{
    // Anybody may raise the value; 19 is the highest.
    const int niceValue = std::min(::getpriority(PRIO_PROCESS, 0) + 5, 19);
    const std::string path = getFolder().getPath("nice");
    const auto body = [&] {
        ::setpriority(PRIO_PROCESS, 0, niceValue);
        return qzProcess::StartDetachedUtf8("/bin/sh", {"-c", "nice >$0.new; mv $0.new $0", path},
                                            "", false)
                   ? 0
                   : 1;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
    ASSERT_TRUE(waitForFile(path));
    EXPECT_EQ(support::readFile(path), std::to_string(niceValue) + "\n");
}

TEST_P(qzProcessDetached, FailsForWhatCannotBeRun)
{
    EXPECT_TRUE(
        isRefused([] { return qzProcess::StartDetachedUtf8("/no/such/program", {}, "", false); }));
    EXPECT_TRUE(isRefused(
        [this] { return qzProcess::StartDetachedUtf8(getFolder().getPath(), {}, "", true); }));
    EXPECT_TRUE(isRefused([] { return qzProcess::StartDetachedUtf8("", {}, "", true); }));
    EXPECT_FALSE(support::hasChildren());
}

TEST_P(qzProcessDetached, SplitsACommandLineAndRunsInTheFolderOfTheProgram)
{
    const std::string program = getFolder().getPath("a program");
    std::filesystem::copy_file(kChild, program);
    EXPECT_TRUE(qzProcess::StartDetachedUtf8('"' + program + "\" parent \"its parent\""));
    EXPECT_TRUE(waitForFile(getFolder().getPath("its parent")));
}

TEST_P(qzProcessDetached, TakesNoExitCodeForTheSignalOfAFailedStart)
{
    EXPECT_TRUE(qzProcess::StartDetachedUtf8("/bin/sh", {"-c", "exit 10"}, "", false));
}

TEST_P(qzProcessDetached, SplitsACommandLineWithARelativeProgram)
{
    const std::string folder = getFolder().getPath("sub");
    std::filesystem::create_directory(folder);
    std::filesystem::copy_file(kChild, folder + "/program");
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(getFolder().getPath());
    EXPECT_TRUE(qzProcess::StartDetachedUtf8("sub/program parent here"));
    std::filesystem::current_path(before);
    EXPECT_TRUE(waitForFile(folder + "/here"));
}

TEST_P(qzProcessDetached, FailsForACommandLineWithoutAProgram)
{
    const support::StdoutCapture out;
    EXPECT_FALSE(qzProcess::StartDetachedUtf8(" "));
    EXPECT_FALSE(qzProcess::StartDetachedUtf8("a\"b"));
    EXPECT_TRUE(isRefused([] { return qzProcess::StartDetachedUtf8("\"/no/such/program\""); }));
}

TEST(qzProcessDetachedAlone, ReadsAsFailedWhileSigchldIsIgnored)
{
    const auto body = [] {
        const support::LibraryStart start;
        ::signal(SIGCHLD, SIG_IGN);
        return qzProcess::StartDetachedUtf8("/bin/true", {}, "", false) ? 1 : 0;
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 0");
}

TEST(qzProcessDetachedAlone, EndsAnIntermediateProcessWhoseExitHangs)
{
    const auto body = [] {
        const support::LibraryStart start;
        std::atexit([] { ::pause(); });
        if (!qzProcess::StartDetachedUtf8("/bin/true", {}, "", false)) return 1;
        return support::hasChildren() ? 2 : 0;
    };
    EXPECT_EQ(runInChild(body, {}, 100).getEnd(), "exit 0");
}

// --- Texts

TEST(qzProcessPriorityText, NamesEachPriority)
{
    EXPECT_EQ(qzProcess::ProcessPriorityToString(qzProcess::PriorityLow), "Low");
    EXPECT_EQ(qzProcess::ProcessPriorityToString(qzProcess::PriorityNormal), "Normal");
    EXPECT_EQ(qzProcess::ProcessPriorityToString(qzProcess::PriorityHigh), "High");
    EXPECT_EQ(qzProcess::ProcessPriorityToString(qzProcess::PriorityInherit), "Inherit");
    for (const int other : {4, -1, 100}) {
        EXPECT_EQ(
            qzProcess::ProcessPriorityToString(static_cast<qzProcess::ProcessPriority>(other)),
            "Unknown");
    }
}

}  // namespace qz
