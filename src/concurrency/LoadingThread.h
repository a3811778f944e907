// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace qz {

/// The id of the thread that loaded the library, which counts as the main thread.
extern const std::string gLoadingThreadId;

}  // namespace qz
