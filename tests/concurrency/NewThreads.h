#pragma once

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

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

/// Whether a thread blocks a signal. False for a thread that has ended.
inline bool isSignalBlocked(long kernelId, int signal)
{
    const std::string label = "SigBlk:";
    std::ifstream file("/proc/self/task/" + std::to_string(kernelId) + "/status");
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, label.size(), label) != 0) continue;
        return (std::stoull(line.substr(label.size()), nullptr, 16) >> (signal - 1) & 1) != 0;
    }
    return false;
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
