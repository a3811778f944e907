#pragma once

#include <string>

namespace qz {

/// The id of the thread that loaded the library, by which the main thread is known.
extern const std::string gLoadingThreadId;

}  // namespace qz
