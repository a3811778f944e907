// SPDX-License-Identifier: MIT
// Signals around a start: those that the program has blocked, the one of a failed start, and those
// that come meanwhile.

#include <pthread.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ConcurrentPool.h>

#include "ProcessFixture.h"
#include "support/ChildProcess.h"

namespace qz {

using support::runInChild;
using ::testing::HasSubstr;

namespace {

// Prints the signal masks that programs have which it starts on a worker.
class MaskSolver : public ConcurrentPool::SolverBase {
public:
    void solve(qzMutex& mutex, qzWaitCondition& /*solverCondition*/) override
    {
        mutex.unlock();
        for (const auto priority : {qzProcess::PriorityInherit, qzProcess::PriorityLow}) {
            qzProcess process;
            process.startProcess("/bin/grep", {"SigBlk", "/proc/self/status"}, false, priority);
            mAllEnded = process.waitForFinished(kLongMs) && mAllEnded;
        }
        mutex.lock();
    }
    bool haveAllEnded() const { return mAllEnded; }

private:
    bool mAllEnded = true;
};

}  // namespace

TEST(qzProcessSignals, StartsNoProgramWithTheBlockedSignalsOfAWorker)
{
    const auto body = [] {
        sigset_t mask;
        ::sigemptyset(&mask);
        ::sigaddset(&mask, SIGUSR2);
        ::sigprocmask(SIG_SETMASK, &mask, nullptr);
        const support::LibraryStart start(FullInit);
        ConcurrentPool pool(2);
        MaskSolver solver;
        pool.runSolvers({&solver});
        return solver.haveAllEnded() ? 0 : 1;
    };
    const support::ChildResult result = runInChild(body);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "SigBlk:\t0000000000000800\nSigBlk:\t0000000000000800\n");
}

// --- What the application does with the signal of a failed start. The child's `exit` is then that
// of this program, so it happens in a process of its own.

static void writeHandled(int /*signal*/)
{
    [[maybe_unused]] const ssize_t written = ::write(2, "handled", 7);
}

enum class OwnAction { Ignored, Handled, Blocked };

class qzProcessStartSignal
    : public ::testing::TestWithParam<std::tuple<InitType, OwnAction, bool>> {};

INSTANTIATE_TEST_SUITE_P(Rows, qzProcessStartSignal,
                         ::testing::Combine(::testing::Values(LightInit, FullInit),
                                            ::testing::Values(OwnAction::Ignored,
                                                              OwnAction::Handled,
                                                              OwnAction::Blocked),
                                            ::testing::Bool()));

TEST_P(qzProcessStartSignal, DecidesHowAFailedStartReads)
{
    const auto [type, action, isStoppedBefore] = GetParam();
#ifdef __SANITIZE_ADDRESS__
    // The sanitizer's allocator may be locked by another thread at the fork for good, and an `exit`
    // of the child frees memory.
    if (type == FullInit && action != OwnAction::Blocked)
        GTEST_SKIP() << "the sanitizer does not survive the exit of a forked child";
#endif
    // clang 14 captures no structured bindings by reference.
    const auto body = [type = type, action = action, isStoppedBefore = isStoppedBefore] {
        std::optional<support::LibraryStart> start(type);
        if (isStoppedBefore) {
            start.reset();
            start.emplace(LightInit);
        }
        sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGUSR1);
        if (action == OwnAction::Blocked) ::sigprocmask(SIG_BLOCK, &signals, nullptr);
        if (action == OwnAction::Ignored) ::signal(SIGUSR1, SIG_IGN);
        if (action == OwnAction::Handled) ::signal(SIGUSR1, &writeHandled);
        qzProcess process;
        process.startProcess("/no/such/program", {}, false, qzProcess::PriorityInherit);
        if (!process.waitForFinished(kLongMs)) return 97;
        // The end of a handler's child may come after the first 10 ms, with the same result.
        return (process.hasFailedToStart() ? 1 : 0) + (process.hasCrashed() ? 2 : 0) +
               process.exitCode();
    };
    const support::ChildResult result = runInChild(body);
    EXPECT_EQ(result.getEnd(), action == OwnAction::Blocked ? "exit 1" : "exit 0");
    // A sanitizer may add words of its own at the exit.
    const bool isHandled = result.err.find("handled") != std::string::npos;
    EXPECT_EQ(isHandled, action == OwnAction::Handled) << result.err;
}

static pid_t gStarter = 0;

TEST(qzProcessSignals, EndsAFailedStartWhoseSignalIsIgnoredByAnOrdinaryExit)
{
    const auto body = [] {
        const support::LibraryStart start;
        gStarter = ::getpid();
        std::atexit([] {
            if (::getpid() != gStarter && ::write(2, "exit handler", 12) < 0) ::_exit(1);
        });
        ::signal(SIGUSR1, SIG_IGN);
        qzProcess process;
        process.startProcess("/no/such/program", {}, false, qzProcess::PriorityInherit);
        return process.waitForFinished(kLongMs) ? process.exitCode() : 97;
    };
    const support::ChildResult result = runInChild(body);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.err, HasSubstr("exit handler"));
}

static int gHoldUp[2] = {-1, -1};

TEST(qzProcessSignals, TakesAStartThatFailsLaterForACrash)
{
    const auto body = [] {
        const support::LibraryStart start;
        if (::pipe(gHoldUp) != 0) return 97;
        // The child sleeps on its way to the program, by itself.
        ::pthread_atfork(nullptr, nullptr, [] {
            char byte = 0;
            while (::read(gHoldUp[0], &byte, 1) < 0 && errno == EINTR) {
            }
        });
        qzProcess process;
        process.startProcess("/no/such/program", {}, false, qzProcess::PriorityInherit);
        if (process.getState() != qzProcess::Running) return 98;
        if (::write(gHoldUp[1], "x", 1) != 1 || !process.waitForFinished(kLongMs)) return 99;
        return (process.hasFailedToStart() ? 1 : 0) + (process.hasCrashed() ? 2 : 0) +
               process.exitCode();
    };
    EXPECT_EQ(runInChild(body).getEnd(), "exit 12");
}

TEST(qzProcessSignals, LetsNoExceptionOfAHandlerLeaveTheChild)
{
    // Otherwise the application would go on in two processes.
    const auto body = [] {
        const support::LibraryStart start(FullInit);
        ::pthread_atfork(nullptr, nullptr, [] { ::kill(::getpid(), SIGINT); });
        const pid_t self = ::getpid();
        qzProcess process;
        try {
            process.startProcess("/no/such/program", {}, false, qzProcess::PriorityInherit);
        } catch (const std::exception&) {
        }
        if (::getpid() != self) {
            std::fputs("the child goes on", stderr);
            std::fflush(stderr);
            ::_exit(0);
        }
        process.waitForFinished(kLongMs);
        return 0;
    };
    const support::ChildResult result = runInChild(body, {}, 120);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.err, ::testing::Not(HasSubstr("the child goes on")));
}

TEST(qzProcessSignals, PassesOnTheExceptionOfASignalDuringAFork)
{
    const auto body = [] {
        const support::LibraryStart start;
        ::signal(SIGUSR2, [](int) { throw std::runtime_error("interrupted"); });
        ::pthread_atfork(
            nullptr, [] { ::kill(::getpid(), SIGUSR2); }, nullptr);
        qzProcess process;
        try {
            process.startProcess("/no/such/program", {}, false, qzProcess::PriorityInherit);
        } catch (const std::runtime_error&) {
            return process.hasFailedToStart() && !support::hasChildren() ? 0 : 2;
        }
        return 1;
    };
    EXPECT_EQ(runInChild(body, {}, 120).getEnd(), "exit 0");
}

static void throwOnSignal()
{
    struct sigaction action = {};
    action.sa_handler = [](int) { throw std::runtime_error("interrupted"); };
    action.sa_flags = SA_NODEFER;
    ::sigaction(SIGUSR2, &action, nullptr);
}

TEST(qzProcessSignals, FollowsTheChildAfterASignalDuringItsStartThatThrows)
{
    // A process for each: after one handler that has thrown, the thread sanitizer calls no other.
    for (const auto priority : {qzProcess::PriorityInherit, qzProcess::PriorityLow}) {
        const auto body = [priority] {
            const support::LibraryStart start;
            throwOnSignal();
            // The child sends it while its start is awaited.
            const std::string script = "kill -USR2 $PPID; sleep 0.1; exit 5";
            qzProcess process;
            bool isInterrupted = false;
            try {
                process.startProcess("/bin/sh", {"-c", script}, false, priority);
                process.waitForFinished(kLongMs);  // on a busy machine it comes only now
            } catch (const std::runtime_error&) {
                isInterrupted = true;
            }
            if (!isInterrupted || process.hasFailedToStart()) return 1;
            if (!process.waitForFinished(kLongMs) || process.exitCode() != 5) return 2;
            return support::hasChildren() ? 3 : 0;
        };
        EXPECT_EQ(runInChild(body, {}, 120).getEnd(), "exit 0") << "priority " << priority;
    }
}

TEST(qzProcessSignals, LeavesNoChildAfterASignalDuringADetachedStartThatThrows)
{
    const auto body = [] {
        const support::LibraryStart start;
        throwOnSignal();
        const std::string script = "kill -USR2 " + std::to_string(::getpid());
        try {
            qzProcess::StartDetachedUtf8("/bin/sh", {"-c", script}, "", false);
            support::waitUntil([] { return false; }, std::chrono::seconds(60));
        } catch (const std::runtime_error&) {
            return support::hasChildren() ? 2 : 0;
        }
        return 1;
    };
    EXPECT_EQ(runInChild(body, {}, 120).getEnd(), "exit 0");
}

// The library's handler would report it, and the report would be the child's only output.
TEST(qzProcessSignals, ReportsNoSignalOfAFailedStart)
{
    const auto body = [] {
        const support::LibraryStart start(FullInit);
        qzProcess process;
        process.startProcess("/no/such/program", {}, false, qzProcess::PriorityInherit);
        process.waitForFinished(kLongMs);
        qzLog::msInstance->flush();
        return 0;
    };
    const support::ChildResult result = runInChild(body);
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "");
}

}  // namespace qz
