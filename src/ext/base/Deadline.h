// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <climits>
#include <optional>

namespace qz::ext {

/// The moment at which a wait must end, by the monotonic clock.
class Deadline {
public:
    /// A deadline `timeoutMs` milliseconds from now; a negative time is none at all.
    explicit Deadline(int timeoutMs)
    {
        if (timeoutMs >= 0) mEnd = Clock::now() + std::chrono::milliseconds(timeoutMs);
    }

    /// Whether the moment has come.
    bool hasPassed() const { return mEnd && Clock::now() >= *mEnd; }

    /// What is left in milliseconds, rounded up, so that a `poll` of this time doesn't end before
    /// the deadline; -1 without a deadline.
    int getRemainingMs() const
    {
        if (!mEnd) return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*mEnd - Clock::now());
        return static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
    }

private:
    using Clock = std::chrono::steady_clock;

    std::optional<Clock::time_point> mEnd;
};

}  // namespace qz::ext
