// SPDX-License-Identifier: MIT
#include "Handlers.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <optional>

#include <pthread.h>
#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include "Alarm.h"
#include "FaultGuard.h"
#include "KitSignal.h"
#include "ReportLock.h"
#include "SignalNames.h"

// What happens at a crash, on its thread:
//   handleSignal                    the kit's handler, on the alternate stack
//     report                        under the lock of reports and an alarm
//       a fault in a part of it     ends that part; the next one goes on
//     passOn                        to the handler before, under another alarm. The library's own
//                                   handler throws out of it, or ends the process.

namespace qz::ext::crash {

namespace {

std::atomic<Session*> gSession = nullptr;  // owned; changed by the holder of the lock of reports
// Of the session in force; copies, as it may be destroyed by the thread that removes the kit.
std::atomic<pid_t> gProcessId = 0;
std::atomic<int> gReportLimitMs = 0;
std::atomic<int> gHandlingLimitMs = 0;
std::atomic<Session*> gAbandoned = nullptr;  // never destroyed
struct sigaction gPrevious[kSignalCount];
bool gAreInstalled = false;  // the handlers; used by the thread that installs the kit
std::terminate_handler gPreviousTerminate = nullptr;

// The call of a previous handler on this thread. After a new start of the library, its handler is
// installed over the kit's, and both have each other as the previous one.
struct Chained {
    const void* context;
    const void* frame;
};
[[gnu::tls_model("initial-exec")]] thread_local Chained tChained = {};

class ChainMark {
public:
    ChainMark(const void* context, const void* frame) : mOuter(tChained)
    {
        tChained = {context, frame};
    }
    ~ChainMark() { tChained = mOuter; }
    ChainMark(const ChainMark&) = delete;
    ChainMark& operator=(const ChainMark&) = delete;

private:
    const Chained mOuter;
};

// A handler that has left by a jump leaves its mark. The next signal has its frame at the same
// place, and not below it.
bool isReentered(const void* context, const void* frame)
{
    return tChained.context == context && frame < tChained.frame;
}

void report(const Cause& cause)
{
    if (getSession() == nullptr) return;
    const ReportLock lock(gReportLimitMs);
    Session* const session = gSession;
    if (!lock.isHeld() || session == nullptr) return;
    const Alarm alarm(getKitSignal(), gReportLimitMs, /*fatalSignal=*/0);
    session->report(cause);
}

// The instruction causes the signal again when the handler returns.
bool isRepeated(int signal, const siginfo_t& info)
{
    return info.si_code > 0 &&
           (signal == SIGSEGV || signal == SIGBUS || signal == SIGFPE || signal == SIGILL);
}

void takeDefaultAction(int signal, const siginfo_t& info)
{
    if (!isRepeated(signal, info)) {
        endProcess(signal);
        return;
    }
    // So the image of the memory shows the fault itself.
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    ::sigaction(signal, &action, nullptr);
}

void callPrevious(const struct sigaction& previous, int signal, siginfo_t* info, void* context)
{
    const ChainMark mark(context, __builtin_frame_address(0));
    if ((previous.sa_flags & SA_SIGINFO) != 0) {
        previous.sa_sigaction(signal, info, context);
    } else {
        previous.sa_handler(signal);
    }
}

const struct sigaction& getPrevious(int signal)
{
    int i = 0;
    while (i + 1 < kSignalCount && kSignals[i] != signal)
        ++i;
    return gPrevious[i];
}

void passOn(int signal, siginfo_t* info, void* context)
{
    const struct sigaction& previous = getPrevious(signal);
    const bool isIgnored = previous.sa_handler == SIG_IGN;
    if (isIgnored && !isRepeated(signal, *info)) return;
    if (isIgnored || previous.sa_handler == SIG_DFL) {
        takeDefaultAction(signal, *info);
        return;
    }
    std::optional<Alarm> alarm;
    if (getSession() != nullptr) alarm.emplace(getKitSignal(), gHandlingLimitMs, signal);
    callPrevious(previous, signal, info, context);
}

void handleSignal(int signal, siginfo_t* info, void* context)
{
    const int interruptedErrno = errno;
    const auto* const interrupted = static_cast<const ucontext_t*>(context);
    Alarm::CancelAbandoned(static_cast<std::uintptr_t>(interrupted->uc_mcontext.gregs[REG_RSP]));
    if (isReentered(context, __builtin_frame_address(0))) {
        endProcess(signal);
        return;
    }
    // Doesn't return if a part of a report has failed.
    if (ReportLock::IsHeldByCaller()) leavePart(signal);
    report({signal, info, static_cast<ucontext_t*>(context)});
    errno = interruptedErrno;
    passOn(signal, info, context);
    errno = interruptedErrno;
}

[[noreturn]] void handleTerminate()
{
    report({});
    std::optional<Alarm> alarm;
    if (getSession() != nullptr) alarm.emplace(getKitSignal(), gHandlingLimitMs, SIGABRT);
    if (gPreviousTerminate != nullptr) gPreviousTerminate();
    std::abort();
}

bool isOwn(const struct sigaction& action)
{
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == &handleSignal;
}

void installHandlers()
{
    struct sigaction action = {};
    action.sa_sigaction = &handleSignal;
    // As for the library's handler, which may leave by an exception.
    action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_ONSTACK;
    ::sigemptyset(&action.sa_mask);
    for (int i = 0; i < kSignalCount; ++i) {
        struct sigaction present = {};
        if (::sigaction(kSignals[i], nullptr, &present) != 0 || isOwn(present)) continue;
        gPrevious[i] = present;
        ::sigaction(kSignals[i], &action, nullptr);
    }
    gAreInstalled = true;
    const std::terminate_handler present = std::get_terminate();
    if (present == &handleTerminate) return;
    gPreviousTerminate = present;
    std::set_terminate(&handleTerminate);
}

// A handler that somebody has installed over the kit's stays, and the kit's passes on what it gets.
void restoreHandlers()
{
    gAreInstalled = false;
    for (int i = 0; i < kSignalCount; ++i) {
        struct sigaction present = {};
        if (::sigaction(kSignals[i], nullptr, &present) == 0 && isOwn(present))
            ::sigaction(kSignals[i], &gPrevious[i], nullptr);
    }
    if (std::get_terminate() == &handleTerminate) std::set_terminate(gPreviousTerminate);
}

// The session is the parent's. It is not destroyed, as its lock and its memory may be in use.
void forgetInChild()
{
    gAbandoned = gSession.exchange(nullptr);
    ReportLock::Reset();
}

constexpr int kMostWaitMs = 10'000;

// After all objects of the program and of the libraries that use this one, so that what crashes in
// their destructors is reported.
[[gnu::destructor]] void finishAtExit()
{
    Session* const session = getSession();
    if (session == nullptr) return;
    const ReportLock lock(kMostWaitMs);
    if (!lock.isHeld()) return;
    gSession = nullptr;
    session->finish();
    // The log's thread may still be adding entries, so the session is not destroyed.
    gAbandoned = session;
}

}  // namespace

std::unique_ptr<Session> replaceSession(std::unique_ptr<Session> session)
{
    static const int registered = ::pthread_atfork(nullptr, nullptr, &forgetInChild);
    static_cast<void>(registered);
    const bool isInstalled = session != nullptr;
    if (isInstalled) {
        gProcessId = ::getpid();
        gReportLimitMs = session->getOptions().reportLimitMs;
        gHandlingLimitMs = session->getOptions().handlingLimitMs;
    } else {
        restoreHandlers();
    }
    std::unique_ptr<Session> before;
    {
        const ReportLock lock(kMostWaitMs);
        if (lock.isHeld()) before.reset(gSession.exchange(session.release()));
    }
    if (isInstalled) installHandlers();
    return before;
}

bool areHandlersReplaced()
{
    bool isReplaced = false;
    for (int i = 0; gAreInstalled && i < kSignalCount; ++i) {
        struct sigaction present = {};
        if (::sigaction(kSignals[i], nullptr, &present) != 0) continue;
        if (isOwn(present)) return false;
        isReplaced |= present.sa_sigaction == gPrevious[i].sa_sigaction;
    }
    return isReplaced;
}

Session* getSession()
{
    Session* const session = gSession;
    return session != nullptr && gProcessId == ::getpid() ? session : nullptr;
}

}  // namespace qz::ext::crash
