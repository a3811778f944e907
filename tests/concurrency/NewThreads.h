// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "concurrency/Waiter.h"
#include "support/Waiting.h"

namespace qz {

/// The kernel's numbers of the process's threads.
inline std::set<long> listThreads()
{
    std::set<long> ids;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        ids.insert(std::stol(entry.path().filename()));
    }
    return ids;
}

/// A line of what the kernel says about a thread, after its label; empty for a thread that has
/// ended.
inline std::string readStatus(long kernelId, const std::string& label)
{
    std::ifstream file("/proc/self/task/" + std::to_string(kernelId) + "/status");
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, label.size(), label) == 0) return line.substr(label.size());
    }
    return {};
}

/// Whether a thread that waits blocks a signal. A thread that has just been started blocks all of
/// them, so this waits until it sleeps.
inline bool isSignalBlocked(long kernelId, int signal)
{
    if (!support::waitUntil([kernelId] { return isAsleep(kernelId); })) return false;
    const std::string mask = readStatus(kernelId, "SigBlk:");
    return !mask.empty() && (std::stoull(mask, nullptr, 16) >> (signal - 1) & 1) != 0;
}

/// Waits until none of the threads runs, and none has run while they were checked.
inline bool awaitSleep(const std::vector<long>& kernelIds)
{
    const auto readSwitches = [&kernelIds] {
        std::string switches;
        for (const long id : kernelIds)
            switches += readStatus(id, "voluntary_ctxt_switches:");
        return switches;
    };
    return support::waitUntil([&] {
        const std::string before = readSwitches();
        return std::all_of(kernelIds.begin(), kernelIds.end(), isAsleep) &&
               readSwitches() == before;
    });
}

/// Finds the threads that were started after its construction.
class NewThreads {
public:
    std::vector<long> get() const
    {
        std::vector<long> ids;
        for (const long id : listThreads()) {
            if (mBefore.count(id) == 0) ids.push_back(id);
        }
        return ids;
    }

private:
    std::set<long> mBefore = listThreads();
};

}  // namespace qz
