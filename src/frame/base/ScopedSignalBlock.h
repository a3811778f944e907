// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>

namespace qz {

/// Sets the calling thread's signal mask. A signal that was pending is handled within the call, and
/// the handlers of some signals throw.
void setSignalMask(const sigset_t& mask);

/// Blocks the asynchronous signals of the table on the calling thread.
/// @param maskBefore receives what was blocked before.
void blockAsynchronousSignals(sigset_t& maskBefore);

/// Blocks the asynchronous watched signals on the calling thread: those that come from outside, and
/// not from what the thread itself does.
class ScopedSignalBlock {
public:
    enum When { Now, Later };

    explicit ScopedSignalBlock(When when = Now)
    {
        if (when == Now) block();
    }
    /// Restores the mask. A signal that came meanwhile is handled here, and may be thrown.
    ~ScopedSignalBlock() noexcept(false);
    ScopedSignalBlock(const ScopedSignalBlock&) = delete;
    ScopedSignalBlock& operator=(const ScopedSignalBlock&) = delete;

    /// Blocks the signals, unless this object has done so. A thread that is started meanwhile
    /// inherits the mask for its whole life.
    void block();
    /// Makes the end of the scope leave the signals blocked: in a handler of a signal, after which
    /// the system restores the mask.
    void keep() { mIsKept = true; }

    /// The mask of the calling thread before its outermost block; null if there is no block.
    static const sigset_t* GetOutermostMask();
    /// Makes the calling thread, which was started within a block of another thread, know the mask
    /// that it would have without that block.
    static void SetInheritedMask(const sigset_t& mask);

    const sigset_t& getMaskBefore() const { return mBefore; }

private:
    bool mHasBlocked = false;
    bool mIsOutermost = false;
    bool mIsKept = false;
    sigset_t mBefore;
};

}  // namespace qz
