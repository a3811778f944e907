// SPDX-License-Identifier: MIT
#pragma once

#include <set>
#include <string>

#include <qz/ext/SystemFailure.h>

/// Lists the reports of a folder, each once.
class Watch {
public:
    explicit Watch(std::string folder) : mFolder(std::move(folder)) {}

    /// Prints a line for each report that wasn't listed yet: of a process that has crashed, or
    /// that has ended and left its file.
    /// @return false if the folder can't be read, with the reason on the standard error stream.
    bool listNew();
    /// Whether a report couldn't be read, with the reason on the standard error stream.
    bool hasFailed() const { return mHasFailed; }

private:
    void noteFailure(const std::string& path, const qz::ext::SystemFailure& failure);

    const std::string mFolder;
    std::set<std::string> mListed;  // or unreadable
    bool mHasFailed = false;
};
