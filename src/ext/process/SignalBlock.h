// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>

namespace qz::ext {

/// Blocks all signals of the calling thread until the end of the scope.
class SignalBlock {
public:
    SignalBlock()
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &mMask);
    }
    /// A signal that came meanwhile is handled now, and a handler of the application may throw.
    ~SignalBlock() noexcept(false)
    {
        // By a pointer, as the system declares the function as one that never throws.
        int (*const volatile setMask)(int, const sigset_t*, sigset_t*) = &::pthread_sigmask;
        setMask(SIG_SETMASK, &mMask, nullptr);
    }
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    sigset_t mMask;
};

}  // namespace qz::ext
