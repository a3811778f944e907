// SPDX-License-Identifier: MIT
#include "Alarm.h"

#include <atomic>

#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "FaultGuard.h"

namespace qz::ext::crash {

namespace {

std::atomic<int> gLastNumber = 0;

// A signal that comes when it can't end anything, between two parts of a report, is repeated.
constexpr long kRepetitionNs = 100'000'000;

// Above the frame of the constructor: its return address, and the lower end of its caller.
constexpr std::uintptr_t kCallBytes = 64;

std::uintptr_t findStackBegin()
{
    stack_t stack = {};
    const bool isAlternate =
        ::sigaltstack(nullptr, &stack) == 0 && (stack.ss_flags & SS_ONSTACK) != 0;
    return isAlternate ? reinterpret_cast<std::uintptr_t>(stack.ss_sp) : 0;
}

}  // namespace

Alarm::State& Alarm::editState()
{
    // The model needs no memory at the first use on a thread.
    [[gnu::tls_model("initial-exec")]] thread_local State state;
    return state;
}

// The C library's functions for timers aren't made for handlers, the system calls are.
Alarm::Alarm(int kitSignal, int timeoutMs, int fatalSignal) : mOuter(editState())
{
    State& state = editState();
    Limit& limit = state.innermost;
    limit.fatalSignal = fatalSignal;
    limit.number = gLastNumber.fetch_add(1) + 1;
    limit.timer = -1;
    limit.stackBegin = findStackBegin();
    // This object may be elsewhere: the address sanitizer has stacks of its own for objects.
    limit.stackEnd = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) + kCallBytes;
    // The innermost one may be on another stack than the others.
    Limit& fatal = state.outermostFatal;
    fatal.stackBegin = limit.stackBegin;
    fatal.stackEnd = limit.stackEnd;
    sigset_t unblocked;
    ::sigemptyset(&unblocked);
    ::sigaddset(&unblocked, kitSignal);
    ::pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
    sigevent event = {};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = kitSignal;
    event.sigev_value.sival_int = limit.number;
    event._sigev_un._tid = ::gettid();
    if (::syscall(SYS_timer_create, CLOCK_MONOTONIC, &event, &limit.timer) != 0) return;
    if (fatalSignal != 0 && fatal.number == 0) fatal = limit;
    itimerspec time = {};
    time.it_value.tv_sec = timeoutMs / 1000;
    time.it_value.tv_nsec = timeoutMs % 1000 * 1'000'000L;
    time.it_interval.tv_nsec = kRepetitionNs;
    ::syscall(SYS_timer_settime, limit.timer, 0, &time, nullptr);
}

Alarm::~Alarm()
{
    State& state = editState();
    if (state.innermost.timer >= 0) ::syscall(SYS_timer_delete, state.innermost.timer);
    state = mOuter;
}

void Alarm::Expire(int number, std::uintptr_t stackPointer)
{
    CancelAbandoned(stackPointer);
    const State& state = editState();
    if (number == state.outermostFatal.number) endProcess(state.outermostFatal.fatalSignal);
    if (number == state.innermost.number) leavePart(kAlarmExpired);
}

void Alarm::CancelAbandoned(std::uintptr_t stackPointer)
{
    State& state = editState();
    for (const Limit* const limit : {&state.innermost, &state.outermostFatal}) {
        const bool isInside = stackPointer >= limit->stackBegin && stackPointer < limit->stackEnd;
        if (limit->number != 0 && !isInside) Cancel(state, limit->number);
    }
}

void Alarm::Cancel(State& state, int number)
{
    int timer = -1;
    for (Limit* const limit : {&state.innermost, &state.outermostFatal}) {
        if (limit->number != number) continue;
        timer = limit->timer;
        *limit = {};
    }
    if (timer >= 0) ::syscall(SYS_timer_delete, timer);
}

void endProcess(int signal)
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    ::sigaction(signal, &action, nullptr);
    sigset_t unblocked;
    ::sigemptyset(&unblocked);
    ::sigaddset(&unblocked, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
    ::syscall(SYS_tgkill, ::getpid(), ::gettid(), signal);
}

}  // namespace qz::ext::crash
