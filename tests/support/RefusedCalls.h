// SPDX-License-Identifier: MIT
#pragma once

namespace qz::support {

/// Lets a system call fail from now on, in this thread and its children, as a filter of a container
/// does. This can't be undone, so call it in a child. Throws if the system refuses.
/// @param number of the call, such as `SYS_getrandom`.
void refuseSystemCall(long number, int error);

}  // namespace qz::support
