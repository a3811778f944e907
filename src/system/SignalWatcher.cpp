// SPDX-License-Identifier: MIT
#include "SignalWatcher.h"

#include <cerrno>
#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>

#include <execinfo.h>
#include <signal.h>
#include <ucontext.h>

#include <qz/qzException.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "HumanizedBytes.h"
#include "SignalText.h"
#include "frame/base/FreeMemory.h"
#include "frame/base/TimeText.h"
#include "frame/base/WatchedSignals.h"
#include "log/SignalSafety.h"

// The handler makes ordinary calls, which use memory and locks. That isn't safe in a signal
// handler, and is intended: a report of a crash is worth the risk. log/SignalSafety.h lists what
// may happen.

namespace qz {

namespace {

constexpr std::size_t kSignalCount = std::size(kWatchedSignals);
constexpr int kMaxFrames = 255;

struct SignalRecord {
    int number;
    struct sigaction installed;
    struct sigaction old;
};

std::unique_ptr<SignalRecord[]> gTable;

// The actions before the library's first installation. The handler needs them after a stop, and so
// does the next start, which finds the library's own handler.
struct sigaction gFirstActions[kSignalCount];

std::size_t getIndex(int signal)
{
    std::size_t i = 0;
    while (i < kSignalCount && kWatchedSignals[i].number != signal)
        ++i;
    return i;
}

// Without a log nothing can be reported. A fault within a report would cause the next report, and
// so on.
bool canReport(int signal)
{
    if (qzLog::msInstance == nullptr) return false;
    const std::size_t index = getIndex(signal);
    return index == kSignalCount || !kWatchedSignals[index].isFault ||
           !log::SignalReport::IsRunning();
}

// The sender of the signal, and the interrupted thread.
void writeOrigin(std::ostream& out, const siginfo_t& info)
{
    const unsigned long usedRam =
        qzSystemUtils::GetUsedRamQuantityInBytes(qzSystemUtils::RamResident);
    out << ", from PID " << info.si_pid << ", PID " << qzSystemUtils::GetCurrentProcessID()
        << " TID " << qzThread::CurrentThreadId() << ", PPID "
        << qzSystemUtils::GetParentProcessID() << ", used RAM " << humanizeBytes(usedRam)
        << ", sent by UID " << info.si_uid;
}

// Inlined into the handler, so that the handler is the first frame, which is left out.
[[gnu::always_inline]] inline void writeTrace(std::ostream& out)
{
    void* frames[kMaxFrames];
    const int count = ::backtrace(frames, kMaxFrames);
    const std::unique_ptr<char*, FreeMemory> symbols(::backtrace_symbols(frames, count));
    if (symbols == nullptr) return;
    for (int i = 1; i < count; ++i) {
        out << "\n\t " << symbols.get()[i];
    }
}

// An asynchronous signal stays blocked meanwhile, as it does without the library. Signals that come
// faster than they are handled would nest until the stack is full.
void callOldHandler(const struct sigaction& old, int signal, siginfo_t* info, void* context)
{
    sigset_t mask = static_cast<ucontext_t*>(context)->uc_sigmask;
    const bool isFault = kWatchedSignals[getIndex(signal)].isFault;
    if (!isFault && (old.sa_flags & SA_NODEFER) == 0) ::sigaddset(&mask, signal);
    setSignalMask(mask);
    if ((old.sa_flags & SA_SIGINFO) != 0) {
        old.sa_sigaction(signal, info, context);
    } else {
        old.sa_handler(signal);
    }
}

// A handler that calls this one, or a sanitizer's runtime, may have blocked the signal.
void raiseUnblocked(int signal)
{
    sigset_t unblocked;
    sigset_t before;
    ::sigemptyset(&unblocked);
    ::sigaddset(&unblocked, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &unblocked, &before);
    ::raise(signal);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

// Does what the signal would have done without the library.
void passOn(int signal, siginfo_t* info, void* context)
{
    const std::size_t index = getIndex(signal);
    if (index == kSignalCount) return;
    const SignalRecord* const record = gTable != nullptr ? &gTable[index] : nullptr;
    const struct sigaction& old = record != nullptr ? record->old : gFirstActions[index];
    if (old.sa_handler == SIG_IGN) return;
    if (old.sa_handler != SIG_DFL) {
        callOldHandler(old, signal, info, context);
        return;
    }
    struct sigaction defaultAction = {};
    defaultAction.sa_handler = SIG_DFL;
    struct sigaction present = {};
    ::sigaction(signal, &defaultAction, &present);
    raiseUnblocked(signal);
    ::sigaction(signal, record != nullptr ? &record->installed : &present, nullptr);
}

// A call of an address without code faults at that address, from which no stack can be unwound.
// This rewinds the thread to the call, so that its stack can be shown, and unwound to its guard.
void rewindBadCall(const siginfo_t& info, void* context)
{
    const bool isFault = info.si_code == SEGV_MAPERR || info.si_code == SEGV_ACCERR;
    auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    greg_t& instruction = registers[REG_RIP];
    if (!isFault || reinterpret_cast<greg_t>(info.si_addr) != instruction) return;
    const auto* const stack = reinterpret_cast<const greg_t*>(registers[REG_RSP]);
    instruction = *stack - 1;  // the last byte of the call, as what follows may be another scope
    registers[REG_RSP] += static_cast<greg_t>(sizeof *stack);
}

// Returns what is to be thrown. Inlined into the handler, see writeTrace.
[[gnu::always_inline]] inline std::optional<std::runtime_error> report(
    int signal, const siginfo_t& info, const SignalDecision& decision)
{
    // In this order, so that the next signal finds this report ended, and its memory freed: that
    // signal's report waits for the allocator for ever if this one has locked it.
    ScopedSignalBlock signals;
    const log::SignalReport running;
    const KnownZoneScope zone;
    std::ostringstream text;
    writeSignal(text, signal);
    writeSignalCode(text, signal, info.si_code);
    writeOrigin(text, info);
    std::optional<std::runtime_error> failure;  // its text is that without the trace
    if (decision.isFatal) failure.emplace(text.str());
    if (decision.wantsTrace) writeTrace(text);
    qzLogObject(decision.isFatal ? qzLog::Critical : qzLog::Info, /*synchronous=*/true, nullptr,
                "qzSystem")
        << text.str();
    if (!decision.isFatal) signals.keep();  // the next one comes after this handler, not within it
    return failure;
}

void handleSignal(int signal, siginfo_t* info, void* context)
{
    const int interruptedErrno = errno;
    if (canReport(signal)) {
        if (signal == SIGSEGV) rewindBadCall(*info, context);
        const SignalDecision decision = decideAboutSignal(signal);
        const std::optional<std::runtime_error> failure = report(signal, *info, decision);
        if (failure) {
            // A handler that has called this one may have blocked signals, and doesn't return.
            setSignalMask(static_cast<ucontext_t*>(context)->uc_sigmask);
            throw std::runtime_error(*failure);
        }
    }
    passOn(signal, info, context);
    errno = interruptedErrno;
}

struct sigaction makeAction(int signal)
{
    struct sigaction action = {};
    ::sigemptyset(&action.sa_mask);
    if (signal == SIGPIPE) {
        action.sa_handler = SIG_IGN;  // the write that breaks the pipe fails instead
        return action;
    }
    action.sa_sigaction = &handleSignal;
    // The handler may leave by an exception, and the signal must stay usable then.
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    return action;
}

bool isOwn(const struct sigaction& action)
{
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == &handleSignal;
}

void install(std::size_t index, SignalRecord& record)
{
    record.number = kWatchedSignals[index].number;
    record.installed = makeAction(record.number);
    if (::sigaction(record.number, &record.installed, &record.old) != 0) {
        logCritical() << "Failed to register signal " << record.number;
        return;
    }
    struct sigaction& first = gFirstActions[index];
    if (isOwn(record.old)) {
        record.old = first;
    } else {
        first = record.old;
    }
}

// The first call of `backtrace` loads a library, which isn't safe in a handler.
void loadTraceSupport()
{
    void* frame = nullptr;
    ::backtrace(&frame, 1);
}

}  // namespace

void installSignalWatcher()
{
    if (gTable != nullptr) return;
    loadTraceSupport();
    cacheSignalDescriptions();
    gTable = std::make_unique<SignalRecord[]>(kSignalCount);
    for (std::size_t i = 0; i < kSignalCount; ++i) {
        install(i, gTable[i]);
    }
}

void removeSignalWatcher()
{
    gTable.reset();
}

void restoreFirstAction(int signal)
{
    const std::size_t index = getIndex(signal);
    struct sigaction present = {};
    if (index == kSignalCount || ::sigaction(signal, nullptr, &present) != 0) return;
    if (isOwn(present)) ::sigaction(signal, &gFirstActions[index], nullptr);
}

bool exception::IsSigWatcherRegistered()
{
    return gTable != nullptr;
}

}  // namespace qz
