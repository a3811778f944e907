// SPDX-License-Identifier: MIT
#pragma once

#include <qz/MemoryAndCpuWatcher.h>

namespace qz {

/// The largest sample of a series; 0 if it is empty.
template <typename T>
T getPeak(const MemoryAndCpuWatcher::Series<T>& series)
{
    return series.count != 0 ? series.maximum : T(0);
}

}  // namespace qz
