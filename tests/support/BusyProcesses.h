// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include <sys/types.h>

namespace qz::support {

/// Processes that keep processors busy until the end of the object.
class BusyProcesses {
public:
    explicit BusyProcesses(int count);
    ~BusyProcesses();
    BusyProcesses(const BusyProcesses&) = delete;
    BusyProcesses& operator=(const BusyProcesses&) = delete;

private:
    std::vector<pid_t> mPids;
};

}  // namespace qz::support
