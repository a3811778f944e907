#include "SignalSafety.h"

#include "WatchedSignals.h"

namespace qz::log {

// The functions that change the mask are here and not in the header because the system declares
// `pthread_sigmask` as a function that never throws. A compiler expects an exception only from the
// call of a function that it can't look into.

namespace {

thread_local int tReports = 0;
thread_local int tHandlerCalls = 0;
thread_local int tLocks = 0;

thread_local bool tHasOutermostMask = false;
thread_local sigset_t tOutermostMask;

}  // namespace

void setSignalMask(const sigset_t& mask)
{
    ::pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

ScopedSignalBlock::~ScopedSignalBlock() noexcept(false)
{
    if (!mHasBlocked) return;
    if (mIsOutermost) tHasOutermostMask = false;
    setSignalMask(mBefore);
}

void ScopedSignalBlock::block()
{
    if (mHasBlocked) return;
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const WatchedSignal& watched : kWatchedSignals) {
        if (!watched.isFault) ::sigaddset(&signals, watched.number);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, &mBefore);
    mHasBlocked = true;
    mIsOutermost = !tHasOutermostMask;
    if (mIsOutermost) SetInheritedMask(mBefore);
}

const sigset_t* ScopedSignalBlock::GetOutermostMask()
{
    return tHasOutermostMask ? &tOutermostMask : nullptr;
}

void ScopedSignalBlock::SetInheritedMask(const sigset_t& mask)
{
    tOutermostMask = mask;
    tHasOutermostMask = true;
}

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

}  // namespace qz::log
