#pragma once

namespace qz {

/// Says that a full start begins, or that it has been undone.
void setFullyStarted(bool isFullyStarted);

/// True in a child that was forked off a fully started process: its threads are gone, and locks may
/// be held by threads that aren't there. It stays so until a full start of the child's own.
bool isForkedChild();

}  // namespace qz
