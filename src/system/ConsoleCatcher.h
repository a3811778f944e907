#pragma once

#include <memory>

#include <qz/qzCancelConsoleEventCatcher.h>

namespace qz {

/// The catcher of the console's interrupt keys; null if there is none.
extern std::unique_ptr<qzCancelConsoleEventCatcher> gConsoleCatcher;

}  // namespace qz
