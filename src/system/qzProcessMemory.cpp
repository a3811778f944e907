// SPDX-License-Identifier: MIT
#include <cstring>

#include <qz/qzProcess.h>

#include "ProcessState.h"
#include "frame/base/StandardFile.h"
#include "frame/base/StatusLine.h"

namespace qz {

bool qzProcess::getMemoryStatistics(unsigned long& resident, unsigned long& peak) const
{
    resident = 0;
    peak = 0;
    if (!mImpl->currentProcess && mImpl->pid == 0) return false;
    const std::string name = mImpl->currentProcess ? "self" : std::to_string(mImpl->pid);
    const StandardFile status(std::fopen(("/proc/" + name + "/status").c_str(), "re"));
    if (status == nullptr) return false;
    char line[kStatusLineSize];
    // Compatibility: only the first of the two counts.
    while (std::fgets(line, sizeof line, status.get()) != nullptr) {
        const bool isResident = std::strncmp(line, "VmRSS:", 6) == 0;
        if (!isResident && std::strncmp(line, "VmPeak:", 7) != 0) continue;
        (isResident ? resident : peak) = parseKilobytes(line);
        break;
    }
    return true;
}

}  // namespace qz
