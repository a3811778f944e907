// SPDX-License-Identifier: MIT
#include "SignalSafety.h"

#include <cerrno>

#include <signal.h>
#include <time.h>

#include "frame/base/ErrnoPreserver.h"

namespace qz::log {

namespace {

thread_local int tReports = 0;
thread_local int tHandlerCalls = 0;
thread_local int tLocks = 0;

}  // namespace

SignalReport::SignalReport() noexcept
{
    ++tReports;
}

SignalReport::~SignalReport()
{
    --tReports;
}

bool SignalReport::IsRunning()
{
    return tReports != 0;
}

HandlerCall::HandlerCall() noexcept
{
    ++tHandlerCalls;
}

HandlerCall::~HandlerCall()
{
    --tHandlerCalls;
}

bool HandlerCall::IsRunning()
{
    return tHandlerCalls != 0;
}

void LockCount::Increment()
{
    ++tLocks;
}

void LockCount::Decrement()
{
    --tLocks;
}

void LockCount::Reset()
{
    tLocks = 0;
}

bool LockCount::IsZero()
{
    return tLocks == 0;
}

void discardOwnFileSizeSignal()
{
    if (errno != EFBIG) return;
    const ErrnoPreserver preserver;
    sigset_t fileSize;
    ::sigemptyset(&fileSize);
    ::sigaddset(&fileSize, SIGXFSZ);
    constexpr timespec kNoWait = {};
    ::sigtimedwait(&fileSize, nullptr, &kNoWait);
}

}  // namespace qz::log
