// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>
#include <sys/types.h>

#include "frame/base/FileDescriptor.h"

namespace qz::system {

// All of this is safe between `fork` and `exec`.

/// The signal by which a child reports that it could not run its program.
inline constexpr int kStartFailedSignal = SIGUSR1;

/// Waits for a child by `waitid` with WEXITED, undisturbed by signals.
/// @param end receives what the system reports, zeroes if the child is still running.
/// @return false if there is no such child.
bool waitForChild(pid_t pid, int options, siginfo_t& end);

/// Whether a child ended as one that could not run its program.
bool hasStartFailed(const siginfo_t& end);

/// Sleeps for the whole time, whatever signals come.
void sleepWholeTime(int timeMs);

/// Notices the death of a process early; without a process descriptor it only lets time pass.
class ProcessDeathWatch {
public:
    /// @param pid a child that nobody else waits for, or a parent.
    explicit ProcessDeathWatch(pid_t pid);

    /// Sleeps, for a shorter time if the process has died. It reports a death only once, as the
    /// caller's next check may not see it: a tracer of the process sees it first.
    /// @return whether the process has died.
    bool sleep(int timeMs);

private:
    FileDescriptor mProcess;
};

/// Sleeps for the 10 ms in which a failed start is recognised, for a shorter time if the child has
/// died.
///
/// On a busy machine, or after a fork of much memory, 10 ms may pass before the child has had a
/// processor. So the sleep goes on, for some seconds at most, while nothing else keeps the child
/// from its program or from the end that reports a failure.
void sleepForStart(pid_t child);

}  // namespace qz::system
