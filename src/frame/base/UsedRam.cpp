// SPDX-License-Identifier: MIT
#include <cstring>

#include <qz/qzSystemUtils.h>

#include "StandardFile.h"
#include "StatusLine.h"

namespace qz {

unsigned long qzSystemUtils::GetUsedRamQuantityInBytes(RamMetric metric)
{
    if (metric == RamReserved) return 0;
    const StandardFile status(std::fopen("/proc/self/status", "re"));
    if (status == nullptr) return 0;
    char line[kStatusLineSize];
    while (std::fgets(line, sizeof line, status.get()) != nullptr) {
        if (std::strncmp(line, "VmRSS:", 6) == 0) return parseKilobytes(line);
    }
    return 0;
}

}  // namespace qz
