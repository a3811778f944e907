// SPDX-License-Identifier: MIT
#include "ScopedSignalBlock.h"

#include "WatchedSignals.h"

namespace qz {

// The functions that change the mask are here and not in the header because the system declares
// `pthread_sigmask` as a function that never throws. A compiler expects an exception only from the
// call of a function that it can't look into.

namespace {

thread_local bool tHasOutermostMask = false;
thread_local sigset_t tOutermostMask;

}  // namespace

void setSignalMask(const sigset_t& mask)
{
    // By a pointer, as the handler of a pending signal may throw out of the call.
    int (*const volatile setMask)(int, const sigset_t*, sigset_t*) = &::pthread_sigmask;
    setMask(SIG_SETMASK, &mask, nullptr);
}

void blockAsynchronousSignals(sigset_t& maskBefore)
{
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const WatchedSignal& watched : kWatchedSignals) {
        if (!watched.isFault) ::sigaddset(&signals, watched.number);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, &maskBefore);
}

ScopedSignalBlock::~ScopedSignalBlock() noexcept(false)
{
    if (!mHasBlocked) return;
    if (mIsOutermost) tHasOutermostMask = false;
    if (!mIsKept) setSignalMask(mBefore);
}

void ScopedSignalBlock::block()
{
    if (mHasBlocked) return;
    blockAsynchronousSignals(mBefore);
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

}  // namespace qz
