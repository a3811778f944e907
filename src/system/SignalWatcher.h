// SPDX-License-Identifier: MIT
#pragma once

namespace qz {

/// Installs the handler of the signals that the library watches, unless it is installed.
void installSignalWatcher();
/// Frees the table of the watcher. The handlers stay, and pass every signal on while there is no
/// log.
void removeSignalWatcher();
/// Puts a signal back to the action before the library's first installation, if the action in force
/// is the library's own handler. Safe between `fork` and `exec`.
void restoreFirstAction(int signal);

}  // namespace qz
