// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include <sys/types.h>

namespace run {

/// Continues in a child process, which lives on if this one is killed, and can then still end what
/// it has started. This process only waits for it, and passes signals and the exit status on.
///
/// Call it before the process has threads.
/// @param watchedPid receives the id of this process, whose end the child must watch for.
/// @return the exit status, in this process; nothing in the child.
std::optional<int> continueInWorker(pid_t& watchedPid);

}  // namespace run
