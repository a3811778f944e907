// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>

namespace qz {

/// Reports an object for several threads that is constructed before the full start.
inline void warnBeforeFullStart(const char* text)
{
    if (!IsQzSystemThreadSafe()) logCritical(nullptr, "qzSystem") << text;
}

inline constexpr const char* kEarlyMutex = "Mutex created before full init of qzSystem";

}  // namespace qz
