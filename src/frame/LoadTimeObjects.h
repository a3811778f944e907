#pragma once

#include <string>

#include <qz/qzCancelInterface.h>
#include <qz/qzSystem.h>

namespace qz {

/// A source that never cancels.
extern const qzCancelInterfaceProxyReadOnly gNeverCancels;
/// The id of the thread that loaded the library, by which the main thread is known.
extern const std::string gLoadingThreadId;
/// The next seed of the random generator: milliseconds since the epoch at load, and 1 more for each
/// thread that took one, in one atomic step.
extern long gRandomSeed;
/// Counts every start, light or full.
extern impl::LibInitCounter gLightCounter;
/// Counts the full starts only.
extern impl::LibInitCounter gFullCounter;

}  // namespace qz
