// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace run {

struct Options {
    std::string program;
    std::vector<std::string> arguments;
    std::string logPath;           // empty for the console
    std::string lockName;          // empty for any number of instances
    unsigned long timeoutSec = 0;  // 0 for no limit
    unsigned long retries = 0;
};

/// Reads the command line. @return the exit status when the program must end now.
std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options);

}  // namespace run
