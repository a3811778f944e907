#pragma once

#include <memory>
#include <string>

#include <qz/qzCancelConsoleEventCatcher.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzSystem.h>

namespace qz {

/// A source that never cancels.
extern qzCancelInterfaceProxyReadOnly gNeverCancels;
/// The catcher of the console's interrupt keys; null when there is none.
extern std::unique_ptr<qzCancelConsoleEventCatcher> gConsoleCatcher;
/// The id of the thread that loaded the library, by which the main thread is known.
extern const std::string gLoadingThreadId;
/// The next seed of the random generator: milliseconds since the epoch at load, and 1 more for each
/// thread that took one, in one atomic step. A class, as its making has a place in the order.
struct RandomSeed {
    long next;
};
extern RandomSeed gRandomSeed;
/// Counts every start, light or full.
extern impl::LibInitCounter gLightCounter;
/// Counts the full starts only.
extern impl::LibInitCounter gFullCounter;

}  // namespace qz
