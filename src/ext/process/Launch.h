// SPDX-License-Identifier: MIT
#pragma once

#include <array>

#include <sys/types.h>

#include "ProgramImage.h"
#include "base/FileDescriptor.h"

namespace qz::ext {

/// How a child differs from this process, besides its program.
struct LaunchPlan {
    /// The descriptors that become 0, 1 and 2; each is above 2.
    std::array<int, 3> streams;
    /// The process group to enter; 0 for a new one, -1 for that of this process.
    pid_t group;
    /// Whether the system kills the child when the calling thread ends.
    bool endsWithThread;
};

/// What became of a launch.
struct Launched {
    pid_t pid = -1;                ///< The child, which the caller must reap; -1 if there is none.
    FileDescriptor death;          ///< Readable when the child has ended; none in old kernels.
    const char* failed = nullptr;  ///< The call that failed; null if the program runs.
    int error = 0;                 ///< Its `errno`.
};

/// Makes a child, which shares this process's memory until it executes the program or fails, so
/// that the time doesn't depend on the size of this process. The calling thread is suspended
/// meanwhile, and its signals are blocked.
///
/// A signal that came meanwhile is handled before the return, and may be thrown.
/// @param launched receives what became of it. It is complete even after such an exception. A child
///     that failed has been reaped.
void launch(const ProgramImage& image, const LaunchPlan& plan, Launched& launched);

}  // namespace qz::ext
