#pragma once

namespace qz::log {

// What the route to the system log does around a fork. A thread within `syslog` holds a lock of the
// C library, so a fork waits until no thread of the log is in there.

/// Waits for the thread that is in `syslog`, for a second at most: the system may not take its
/// text.
void prepareSystemLogForFork();
void resumeSystemLogInParent();
/// If the parent's wait was in vain, the child sends nothing to the system log.
void resumeSystemLogInChild();

}  // namespace qz::log
