#pragma once

namespace qz {

/// Installs the handler of the signals that the library watches, unless it is installed.
void installSignalWatcher();
/// Frees the table of the watcher. The handlers stay, and pass every signal on while there is no
/// log.
void removeSignalWatcher();

}  // namespace qz
