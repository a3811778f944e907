// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzCancelConsoleEventCatcher.h>

namespace qz {

/// The catcher of the console's interrupt keys, which the library owns; null if there is none.
///
/// The end of the process doesn't destroy it: other threads may still work then, and poll it.
extern qzCancelConsoleEventCatcher* gConsoleCatcher;

}  // namespace qz
