// SPDX-License-Identifier: MIT
#pragma once

namespace qz::system {

/// How a wait for a descriptor ended.
enum class DescriptorWait {
    Ready,
    TimedOut,
    Failed,  ///< The system refused the wait, or the descriptor is closed.
};

/// Waits until one of `poll`'s events comes; an error and a hang-up always count as one. Signals
/// don't shorten the wait. Safe between `fork` and `exec`.
/// @param timeoutMs a negative time has no limit.
DescriptorWait waitForDescriptor(int descriptor, short events, int timeoutMs);

}  // namespace qz::system
