// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cerrno>
#include <climits>

#include <qz/qzCancelInterface.h>

#include "Deadline.h"

namespace qz::ext {

/// What ends a wait before its success: its time or a cancel request.
class WaitLimit {
public:
    /// How often a wait polls for a cancel request.
    static constexpr int kCancelPeriodMs = 20;

    /// @param timeoutMs a negative time has no limit.
    /// @param cancel polled during the wait; may be null.
    explicit WaitLimit(int timeoutMs, const qzCancelInterfaceReadOnly* cancel = nullptr)
        : mDeadline(timeoutMs), mCancel(cancel)
    {
    }

    /// Why the wait must end: ECANCELED, ETIMEDOUT, or 0 if it may go on.
    int getError() const
    {
        if (mCancel != nullptr && mCancel->shouldCancel()) return ECANCELED;
        return mDeadline.hasPassed() ? ETIMEDOUT : 0;
    }

    /// How long the next part of the wait may be: to the end or to the next poll of the cancel
    /// request, and at most `longestMs`. -1 for a wait without limit, as for `poll`.
    int getPauseMs(int longestMs = INT_MAX) const
    {
        if (mCancel != nullptr) longestMs = std::min(longestMs, kCancelPeriodMs);
        const int leftMs = mDeadline.getRemainingMs();
        if (leftMs < 0) return longestMs == INT_MAX ? -1 : longestMs;
        return std::min(leftMs, longestMs);
    }

private:
    const Deadline mDeadline;
    const qzCancelInterfaceReadOnly* const mCancel;
};

}  // namespace qz::ext
