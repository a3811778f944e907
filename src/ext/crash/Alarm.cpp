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
    state.fatalSignal = fatalSignal;
    state.number = gLastNumber.fetch_add(1) + 1;
    state.timer = -1;
    state.stackBegin = findStackBegin();
    state.stackEnd = reinterpret_cast<std::uintptr_t>(this);
    sigset_t unblocked;
    ::sigemptyset(&unblocked);
    ::sigaddset(&unblocked, kitSignal);
    ::pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
    sigevent event = {};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = kitSignal;
    event.sigev_value.sival_int = state.number;
    event._sigev_un._tid = ::gettid();
    if (::syscall(SYS_timer_create, CLOCK_MONOTONIC, &event, &state.timer) != 0) return;
    itimerspec limit = {};
    limit.it_value.tv_sec = timeoutMs / 1000;
    limit.it_value.tv_nsec = timeoutMs % 1000 * 1'000'000L;
    limit.it_interval.tv_nsec = kRepetitionNs;
    ::syscall(SYS_timer_settime, state.timer, 0, &limit, nullptr);
}

Alarm::~Alarm()
{
    State& state = editState();
    if (state.timer >= 0) ::syscall(SYS_timer_delete, state.timer);
    state = mOuter;
}

void Alarm::Expire(int number, std::uintptr_t stackPointer)
{
    State& state = editState();
    if (number != state.number) return;
    if (stackPointer < state.stackBegin || stackPointer >= state.stackEnd) {
        if (state.timer >= 0) ::syscall(SYS_timer_delete, state.timer);
        state = {};
        return;
    }
    if (state.fatalSignal != 0) endProcess(state.fatalSignal);
    leavePart(kAlarmExpired);
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
