#pragma once

namespace qz {

/// Installs the handler of the signals that the library watches, unless it is installed.
void installSignalWatcher();
/// Forgets the table of the watcher. The handlers stay, and without a log pass every signal on.
void removeSignalWatcher();

}  // namespace qz
