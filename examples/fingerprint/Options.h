// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace fingerprint {

struct Options {
    std::vector<std::string> folders;
    unsigned long threadCount = 0;  // 0 for what the container allows
    unsigned long memoryMiB = 0;    // 0 for a part of what the container allows
    std::string csvPath;
    std::string comparedPath;
    bool isQuiet = false;
};

/// Reads the command line. @return the exit status when the program must end now.
std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options);

}  // namespace fingerprint
