#include "SignalsPutOff.h"

#include "WatchedSignals.h"

namespace qz::log {

// The destructor stands here, and not in the header, for its callers' sake: the call of the system
// is declared as one that never throws, and only a call of an unknown function lets a compiler
// expect an exception.

SignalsPutOff::~SignalsPutOff() noexcept(false)
{
    if (mHasBegun) ::pthread_sigmask(SIG_SETMASK, &mBefore, nullptr);
}

void SignalsPutOff::begin()
{
    if (mHasBegun) return;
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const WatchedSignal& watched : kWatchedSignals) {
        if (!watched.isFault) ::sigaddset(&signals, watched.number);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals, &mBefore);
    mHasBegun = true;
}

}  // namespace qz::log
