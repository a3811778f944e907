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

// The model needs no memory at the first use on a thread.
[[gnu::tls_model("initial-exec")]] thread_local int tNumber = 0;  // of the alarm in force, or 0
[[gnu::tls_model("initial-exec")]] thread_local int tFatalSignal = 0;

}  // namespace

// The C library's functions for timers aren't made for handlers, the system calls are.
Alarm::Alarm(int kitSignal, int timeoutMs, int fatalSignal)
    : mOuterNumber(tNumber), mOuterSignal(tFatalSignal)
{
    tFatalSignal = fatalSignal;
    tNumber = gLastNumber.fetch_add(1) + 1;
    sigset_t unblocked;
    ::sigemptyset(&unblocked);
    ::sigaddset(&unblocked, kitSignal);
    ::pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
    sigevent event = {};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = kitSignal;
    event.sigev_value.sival_int = tNumber;
    event._sigev_un._tid = ::gettid();
    if (::syscall(SYS_timer_create, CLOCK_MONOTONIC, &event, &mTimer) != 0) return;
    itimerspec limit = {};
    limit.it_value.tv_sec = timeoutMs / 1000;
    limit.it_value.tv_nsec = timeoutMs % 1000 * 1'000'000L;
    ::syscall(SYS_timer_settime, mTimer, 0, &limit, nullptr);
}

Alarm::~Alarm()
{
    if (mTimer >= 0) ::syscall(SYS_timer_delete, mTimer);
    tNumber = mOuterNumber;
    tFatalSignal = mOuterSignal;
}

void Alarm::Expire(int number)
{
    if (number != tNumber) return;
    if (tFatalSignal != 0) endProcess(tFatalSignal);
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
