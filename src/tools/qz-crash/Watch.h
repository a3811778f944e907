// SPDX-License-Identifier: MIT
#pragma once

#include <set>
#include <string>

/// Lists the reports of a folder, each once.
class Watch {
public:
    explicit Watch(std::string folder) : mFolder(std::move(folder)) {}

    /// Prints a line for each report that wasn't listed yet: of a process that has crashed, or
    /// that has ended and left its file.
    /// @return false if the folder can't be read, with the reason on the standard error stream.
    bool listNew();

private:
    const std::string mFolder;
    std::set<std::string> mListed;
};
