// SPDX-License-Identifier: MIT
// Time limits, requests to stop, and the end of the parent.

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qz/ext/ChildProcess.h>
#include <qz/qzCancelInterface.h>

#include "ext/ChildRuns.h"
#include "support/CancelledThread.h"
#include "support/ChildProcess.h"
#include "support/Children.h"
#include "support/Files.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

namespace qz::ext {

namespace {

// Whether a process runs; a zombie doesn't.
bool isAlive(const std::string& pid)
{
    try {
        const std::string status = support::readFile("/proc/" + pid + "/stat");
        return status.find(") Z ") == std::string::npos;
    } catch (const std::exception&) {
        return false;
    }
}

class CancelAfterFile : public qzCancelInterfaceReadOnly {
public:
    explicit CancelAfterFile(const std::string& path) : mPath(path) {}
    bool shouldCancel() const override { return ::access(mPath.c_str(), F_OK) == 0; }

private:
    std::string mPath;
};

class ChildStopTest : public ::testing::Test {
protected:
    ~ChildStopTest() override { EXPECT_EQ(support::countOpenDescriptors(), mDescriptors); }

    std::string readPid(const std::string& name) const
    {
        std::string pid;
        EXPECT_TRUE(support::waitUntil([&] {
            if (::access(mFolder.getPath(name).c_str(), F_OK) != 0) return false;
            pid = mFolder.read(name);
            return !pid.empty() && pid.back() == '\n';
        }));
        if (!pid.empty()) pid.pop_back();
        return pid;
    }

    const std::size_t mDescriptors = support::countOpenDescriptors();
    const support::ScratchFolder mFolder;
};

TEST_F(ChildStopTest, StopsByATermAtTheTimeLimit)
{
    ChildWait wait;
    wait.timeoutMs = 100;
    wait.graceMs = 1'000'000;
    const auto begin = std::chrono::steady_clock::now();
    const ChildResult result = ChildProcess::Run(shell("echo begun; exec sleep 300"), wait);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
    EXPECT_EQ(describe(result), "signal " + std::to_string(SIGTERM));
    EXPECT_TRUE(result.hasTimedOut);
    EXPECT_FALSE(result.isCancelled);
    EXPECT_EQ(result.output, "begun\n");
}

TEST_F(ChildStopTest, KillsAfterTheGraceTimeWhatIgnoresTheTerm)
{
    ChildWait wait;
    wait.timeoutMs = 500;
    wait.graceMs = 100;
    const ChildResult result =
        ChildProcess::Run(shell("trap '' TERM; echo begun; while :; do sleep 0.01; done"), wait);
    EXPECT_EQ(describe(result), "signal " + std::to_string(SIGKILL));
    EXPECT_TRUE(result.hasTimedOut);
    EXPECT_EQ(result.output, "begun\n");
}

TEST_F(ChildStopTest, KillsWithoutAGraceTimeIfItIsNegative)
{
    ChildWait wait;
    wait.timeoutMs = 300;
    wait.graceMs = -1;
    const ChildResult result =
        ChildProcess::Run(shell("trap '' TERM; while :; do sleep 0.01; done"), wait);
    EXPECT_EQ(describe(result), "signal " + std::to_string(SIGKILL));
}

TEST_F(ChildStopTest, StopsTheGrandchildrenInTheGroup)
{
    ChildWait wait;
    wait.timeoutMs = 500;
    wait.graceMs = 100;
    const std::string script =
        "sh -c 'trap \"\" TERM; echo $$ >$0; while :; do sleep 0.01; done' $1 & wait";
    const ChildResult result = ChildProcess::Run(shell(script, {mFolder.getPath("pid")}), wait);
    EXPECT_TRUE(result.hasTimedOut);
    EXPECT_EQ(describe(result), "signal " + std::to_string(SIGTERM));
    const std::string pid = readPid("pid");
    EXPECT_TRUE(support::waitUntil([&] { return !isAlive(pid); }));
}

TEST_F(ChildStopTest, KillsAGrandchildThatHoldsNoOutputWithoutTheGraceTime)
{
    const CancelAfterFile cancel(mFolder.getPath("pid"));
    ChildWait wait;
    wait.cancel = &cancel;
    wait.graceMs = 1'000'000;
    const std::string script =
        "sh -c 'trap \"\" TERM; echo $$ >$0.new; mv $0.new $0; while :; do sleep 0.01; done' $1 "
        ">/dev/null 2>&1 & wait";
    const ChildResult result = ChildProcess::Run(shell(script, {mFolder.getPath("pid")}), wait);
    EXPECT_EQ(describe(result), "signal " + std::to_string(SIGTERM));
    const std::string pid = readPid("pid");
    EXPECT_TRUE(support::waitUntil([&] { return !isAlive(pid); }));
}

TEST_F(ChildStopTest, StopsAGrandchildThatHoldsTheOutputOnly)
{
    ChildWait wait;
    wait.timeoutMs = 300;
    const ChildResult result = ChildProcess::Run(shell("sleep 300 & exit 4"), wait);
    EXPECT_EQ(describe(result), "exit 4");
    EXPECT_TRUE(result.hasTimedOut);
}

TEST_F(ChildStopTest, LeavesAProcessThatHasLeftTheGroup)
{
    ChildWait wait;
    wait.timeoutMs = 300;
    wait.graceMs = 50;
    const ChildResult result = ChildProcess::Run(
        shell("setsid sh -c 'echo $$ >$0; exec sleep 300' $1 & exit 4", {mFolder.getPath("pid")}),
        wait);
    EXPECT_EQ(describe(result), "exit 4");
    const std::string pid = readPid("pid");
    EXPECT_TRUE(isAlive(pid));
    ::kill(std::stoi(pid), SIGKILL);
}

// A program that leaves the group; as it isn't the group's first one, it may.
ChildOptions makeLeaver()
{
    ChildOptions options = shell("exec sleep 300");
    options.programs.push_back({"setsid", {"sleep", "300"}});
    return options;
}

// Waits until the last program has left the group, and gives its id.
int waitForLeaver(const ChildProcess& process)
{
    const std::vector<int> pids = process.getPids();
    EXPECT_TRUE(support::waitUntil([&] { return ::getpgid(pids.back()) != pids.front(); }));
    return pids.back();
}

TEST_F(ChildStopTest, StopsAProgramThatHasLeftTheGroup)
{
    ChildProcess process;
    ASSERT_TRUE(process.start(makeLeaver()));
    waitForLeaver(process);
    ChildWait wait;
    wait.timeoutMs = 0;
    const ChildResult result = process.communicate(wait);
    EXPECT_TRUE(result.hasTimedOut);
    EXPECT_EQ(describe(result), "signal " + std::to_string(SIGTERM));
}

TEST_F(ChildStopTest, EndsAProgramThatHasLeftTheGroupWithTheObject)
{
    int pid = 0;
    const auto begin = std::chrono::steady_clock::now();
    {
        ChildProcess process;
        ASSERT_TRUE(process.start(makeLeaver()));
        pid = waitForLeaver(process);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(250)) << "it waited";
    EXPECT_EQ(::kill(pid, 0), -1);
}

TEST_F(ChildStopTest, SignalsAProgramInItsGroupOnce)
{
    ChildOptions options = shell("exec cat");
    options.programs.push_back(
        {"/bin/sh",
         {"-c",
          "trap 'n=$n.' USR1; >$0; while [ ! -e $0.go ]; do sleep 0.01; done; "
          "echo signals: $n",
          mFolder.getPath("ready")}});
    options.input = ChildInput::Memory("");
    ChildProcess process;
    ASSERT_TRUE(process.start(options));
    ASSERT_TRUE(
        support::waitUntil([&] { return ::access(mFolder.getPath("ready").c_str(), F_OK) == 0; }));
    EXPECT_TRUE(process.sendSignal(SIGUSR1));
    mFolder.write("ready.go", "");
    const ChildResult result = process.communicate();
    EXPECT_EQ(result.output, "signals: .\n");
}

// Makes a pipe of a program large enough for all of its output.
void enlargeOutput(int pid)
{
    constexpr int kPipeBytes = 1'048'576;
    const std::string path = "/proc/" + std::to_string(pid) + "/fd/1";
    const int output = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_GE(::fcntl(output, F_SETPIPE_SZ, kPipeBytes), kPipeBytes);
    ::close(output);
}

TEST_F(ChildStopTest, GetsAllThatAKilledProgramHasWritten)
{
    constexpr std::size_t kBytes = 500'000;  // several reads
    // The program has written all before it is stopped, and has ended before all is read.
    struct SlowReader : qzCancelInterfaceReadOnly {
        bool shouldCancel() const override
        {
            if (isWritten) return true;
            support::writeFile(folder.getPath("go"), "");
            isWritten = support::waitUntil(
                [&] { return ::access(folder.getPath("written").c_str(), F_OK) == 0; });
            return true;
        }
        explicit SlowReader(const support::ScratchFolder& someFolder) : folder(someFolder) {}
        const support::ScratchFolder& folder;
        mutable bool isWritten = false;
    } const cancel(mFolder);
    ChildProcess process;
    int linesAfterStop = 0;
    std::size_t bytes = 0;
    ChildOptions options = shell(
        "trap '' TERM; until [ -e $1/go ]; do sleep 0.01; done; yes | head -c 500000; >$1/written;"
        "while :; do sleep 0.01; done",
        {mFolder.getPath()});
    options.output = ChildOutput::Lines([&](std::string_view line) {
        bytes += line.size() + 1;
        // The first read comes before the kill, which follows a grace time of none.
        const bool isAfterTheKill = cancel.isWritten && ++linesAfterStop == 40'000;
        EXPECT_TRUE(!isAfterTheKill || support::waitUntil([&] { return !process.isRunning(); }));
    });
    ASSERT_TRUE(process.start(options));
    enlargeOutput(process.getPids()[0]);
    ChildWait wait;
    wait.cancel = &cancel;
    wait.graceMs = 0;
    const ChildResult result = process.communicate(wait);
    EXPECT_EQ(describe(result), "signal " + std::to_string(SIGKILL));
    EXPECT_TRUE(result.isCancelled);
    EXPECT_EQ(bytes, kBytes);
}

TEST_F(ChildStopTest, SignalsTheProgramsAloneWithoutAGroup)
{
    ChildOptions options = shell("exec sleep 300");
    options.isOwnGroup = false;
    options.programs.push_back({"cat"});
    ChildProcess process;
    ASSERT_TRUE(process.start(options));
    EXPECT_EQ(::getpgid(process.getPids()[0]), ::getpgrp());
    ChildWait wait;
    wait.timeoutMs = 0;
    EXPECT_EQ(describe(process.communicate(wait)), "signal " + std::to_string(SIGTERM));
}

TEST_F(ChildStopTest, MakesOneGroupOfAPipeline)
{
    ChildOptions options = shell("exec sleep 300");
    options.programs.push_back({"cat"});
    ChildProcess process;
    ASSERT_TRUE(process.start(options));
    const int leader = process.getPids()[0];
    EXPECT_EQ(::getpgid(leader), leader);
    EXPECT_EQ(::getpgid(process.getPids()[1]), leader);
}

TEST_F(ChildStopTest, StopsOnRequest)
{
    const CancelAfterFile cancel(mFolder.getPath("begun"));
    ChildWait wait;
    wait.cancel = &cancel;
    const ChildResult result =
        ChildProcess::Run(shell(">$1; exec sleep 300", {mFolder.getPath("begun")}), wait);
    EXPECT_EQ(describe(result), "signal " + std::to_string(SIGTERM));
    EXPECT_TRUE(result.isCancelled);
    EXPECT_FALSE(result.hasTimedOut);
}

TEST_F(ChildStopTest, IsNoTimeoutIfTheProgramEndsBefore)
{
    const qzCancelInterfaceProxyReadOnly never;
    ChildWait wait;
    wait.timeoutMs = 1'000'000;
    wait.cancel = &never;
    const ChildResult result = ChildProcess::Run(shell("echo done"), wait);
    EXPECT_TRUE(result.isSuccess());
    EXPECT_FALSE(result.hasTimedOut);
    EXPECT_FALSE(result.isCancelled);
}

// --- The end of the parent

// Starts a child that writes its id to a file, and then waits for its end.
int runUntilKilled(const std::string& pidPath)
{
    ChildOptions options = shell("echo $$ >$1; exec sleep 300", {pidPath});
    options.endsWithParent = true;
    return describe(ChildProcess::Run(options)).empty() ? 1 : 2;
}

TEST_F(ChildStopTest, IsNoTimeoutAndNoCancelIfTheProgramHasEndedAndItsOutputIsUnread)
{
    struct Cancel : qzCancelInterfaceReadOnly {
        bool shouldCancel() const override { return true; }
    } const cancel;
    for (const bool isCancel : {false, true}) {
        ChildProcess process;
        ASSERT_TRUE(process.start(shell("head -c 50000 /dev/zero; echo bad >&2; exit 3")));
        ASSERT_TRUE(support::waitUntil([&] { return !process.isRunning(); }));
        ChildWait wait;
        wait.timeoutMs = 0;
        if (isCancel) wait.cancel = &cancel;
        const ChildResult result = process.communicate(wait);
        EXPECT_EQ(describe(result), "exit 3");
        EXPECT_FALSE(result.hasTimedOut);
        EXPECT_FALSE(result.isCancelled);
        EXPECT_EQ(result.output.size(), 50000U);
        EXPECT_EQ(result.error, "bad\n");
    }
}

// After a cancellation inside of `poll`, the thread sanitizer no longer sees what the thread locks,
// and reports races with the thread of the start.
#ifdef __SANITIZE_THREAD__
constexpr bool kSeesLocksOfACancelledThread = false;
#else
constexpr bool kSeesLocksOfACancelledThread = true;
#endif

// Starts a program whose streams need no file, which would be the first end of the thread.
bool startSleep(ChildProcess& process, bool endsWithParent)
{
    ChildOptions options = program("/bin/sleep", {"300"});
    options.endsWithParent = endsWithParent;
    options.input = ChildInput::Memory("text");
    return process.start(options);
}

TEST_F(ChildStopTest, IsKilledAndReapedOnAThreadThatIsCancelled)
{
    for (const bool endsWithParent : {false, true}) {
        const support::ChildResult outer = support::runInChild([&] {
            auto process = std::make_unique<ChildProcess>();
            if (!startSleep(*process, endsWithParent)) return 1;
            const int pid = process->getPids()[0];
            const bool isCancelled = support::endsByCancellation([&] {
                process.reset();
                ::pthread_testcancel();
            });
            return isCancelled && ::kill(pid, 0) != 0 ? 0 : 2;
        });
        EXPECT_EQ(outer.getEnd(), "exit 0");
    }
}

TEST_F(ChildStopTest, LeavesNothingOfACommunicationWhoseThreadIsCancelled)
{
    for (const bool endsWithParent : {false, kSeesLocksOfACancelledThread}) {
        const support::ChildResult outer = support::runInChild([&] {
            const std::size_t before = support::countOpenDescriptors();
            int pid = 0;
            const bool isCancelled = support::endsByCancellation([&] {
                ChildProcess process;
                if (!startSleep(process, endsWithParent)) return;
                pid = process.getPids()[0];
                process.communicate();
            });
            if (!isCancelled || pid == 0) return 1;
            if (::kill(pid, 0) == 0) return 2;
            return support::countOpenDescriptors() == before ? 0 : 3;
        });
        EXPECT_EQ(outer.getEnd(), "exit 0");
    }
}

constexpr int kMayNotTrace = 77;

// Runs a process until it has made a child, which then stands still.
pid_t traceToFirstChild(pid_t parent)
{
    const std::string threads = "/proc/" + std::to_string(parent) + "/task/";
    ::ptrace(PTRACE_SETOPTIONS, parent, 0, PTRACE_O_TRACECLONE | PTRACE_O_TRACEVFORK);
    for (pid_t stopped = parent; stopped > 0;) {
        ::ptrace(PTRACE_CONT, stopped, 0, 0);
        int status = 0;
        stopped = ::waitpid(-1, &status, __WALL);
        if (::access((threads + std::to_string(stopped)).c_str(), F_OK) != 0) return stopped;
    }
    return 0;
}

// Kills the parent of a program before the program's process has made its first step.
int runOrphan(const std::string& path)
{
    const pid_t parent = ::fork();
    if (parent == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, 0, 0) != 0) ::_exit(kMayNotTrace);
        ::raise(SIGSTOP);
        ::_exit(runUntilKilled(path));
    }
    int status = 0;
    ::waitpid(parent, &status, 0);
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    const pid_t child = traceToFirstChild(parent);
    if (child <= 0) return 1;
    ::kill(parent, SIGKILL);
    // Its other threads end before it does, and each of them must be waited for.
    for (pid_t ended = 0; ended != parent; ended = ::waitpid(-1, &status, __WALL)) {
        if (ended < 0) return 2;
    }
    ::ptrace(PTRACE_CONT, child, 0, 0);
    ::waitpid(child, &status, __WALL);
    if (WIFEXITED(status)) return 0;
    ::kill(child, SIGKILL);  // it executes the program
    return 3;
}

TEST_F(ChildStopTest, DoesNotRunIfItsParentIsKilledDuringTheStart)
{
    const int hangLimitSec = 60;
    const support::ChildResult outer =
        support::runInChild([&] { return runOrphan(mFolder.getPath("pid")); }, "", hangLimitSec);
    if (outer.exitCode == kMayNotTrace) GTEST_SKIP() << "no right to trace";
    EXPECT_EQ(outer.getEnd(), "exit 0");
    EXPECT_NE(::access(mFolder.getPath("pid").c_str(), F_OK), 0);
}

TEST_F(ChildStopTest, EndsWithAParentThatIsKilled)
{
    const std::string path = mFolder.getPath("pid");
    const pid_t parent = ::fork();
    if (parent == 0) ::_exit(runUntilKilled(path));
    const std::string pid = readPid("pid");
    EXPECT_TRUE(isAlive(pid));
    ::kill(parent, SIGKILL);
    ::waitpid(parent, nullptr, 0);
    EXPECT_TRUE(support::waitUntil([&] { return !isAlive(pid); }));
}

TEST_F(ChildStopTest, OutlivesTheThreadThatHasStartedIt)
{
    ChildProcess process;
    ChildOptions options = shell("read line; exit 7");
    options.endsWithParent = true;
    options.input = ChildInput::Memory("go\n");
    bool isStarted = false;
    std::thread([&] { isStarted = process.start(options); }).join();
    ASSERT_TRUE(isStarted);
    EXPECT_EQ(describe(process.communicate()), "exit 7");
}

TEST_F(ChildStopTest, LeavesNoChildOfAFailedStartWhoseThreadIsCancelled)
{
    const support::ChildResult outer = support::runInChild([&] {
        support::endsByCancellation([] {
            ChildOptions options = program("/no/such/program");
            options.input = ChildInput::Memory("text");
            ChildProcess().start(options);
        });
        return support::hasChildren() ? 1 : 0;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

TEST_F(ChildStopTest, HandlesNoSignalOfTheProcessOnTheThreadOfTheStart)
{
    const support::ChildResult outer = support::runInChild([] {
        ChildProcess process;
        if (!startSleep(process, /*endsWithParent=*/true)) return 1;
        sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGUSR1);
        ::sigprocmask(SIG_BLOCK, &signals, nullptr);
        ::kill(::getpid(), SIGUSR1);  // would end the process, if any thread let it through
        ::sigpending(&signals);
        return ::sigismember(&signals, SIGUSR1) == 1 ? 0 : 2;
    });
    EXPECT_EQ(outer.getEnd(), "exit 0");
}

constexpr int kHasNoLease = 77;

// The lease on the file of the program holds the start up until the signal is there.
int interruptAStart(const std::string& path, bool endsWithParent)
{
    const int leased = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (::fcntl(leased, F_SETLEASE, F_WRLCK) != 0) return kHasNoLease;
    sigset_t leaseBreak;
    ::sigemptyset(&leaseBreak);
    ::sigaddset(&leaseBreak, SIGIO);
    ::sigprocmask(SIG_BLOCK, &leaseBreak, nullptr);
    ::signal(SIGUSR1, [](int) { throw std::runtime_error("interrupted"); });
    const pthread_t self = ::pthread_self();
    std::thread interrupter([&] {
        int number = 0;
        ::sigwait(&leaseBreak, &number);
        ::pthread_kill(self, SIGUSR1);
        ::close(leased);
    });
    int result = 1;
    try {
        ChildOptions options = program(path);
        options.endsWithParent = endsWithParent;
        ChildProcess().start(options);
    } catch (const std::runtime_error&) {
        result = 0;
    }
    interrupter.join();
    return support::hasChildren() ? 2 : result;
}

TEST_F(ChildStopTest, PassesOnTheExceptionOfASignalDuringAStart)
{
    const int hangLimitSec = 60;
    const std::string path = mFolder.write("program", "#!/bin/sh\n");
    ::chmod(path.c_str(), 0755);
    for (const bool endsWithParent : {false, true}) {
        const support::ChildResult outer = support::runInChild(
            [&] { return interruptAStart(path, endsWithParent); }, "", hangLimitSec);
        if (outer.exitCode == kHasNoLease) GTEST_SKIP() << "this file system has no leases";
        EXPECT_EQ(outer.getEnd(), "exit 0") << endsWithParent;
    }
}

TEST_F(ChildStopTest, ReportsAFailedStartOnItsThread)
{
    ChildOptions options = program("/no/such/program");
    options.endsWithParent = true;
    EXPECT_EQ(describe(ChildProcess::Run(options)),
              "execve /no/such/program, errno " + std::to_string(ENOENT));
}

}  // namespace

}  // namespace qz::ext
