// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzCancelInterface.h>

namespace inventory {

/// Turns Ctrl-C and the polite requests to end into a request to cancel, so that the rows that are
/// ready still go out. The second request of a kind ends the process at once.
/// @return what the request sets; lives as long as the process.
const qz::qzCancelInterface& watchForInterruption();

/// Ends the process the way the request would have ended it.
[[noreturn]] void endAsRequested();

}  // namespace inventory
