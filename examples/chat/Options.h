// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace chat {

enum Status : int { StatusDone = 0, StatusLeft = 1, StatusUsage = 2, StatusFailed = 3 };

struct Options {
    std::string name;
    bool waits = false;
};

/// Reads the command line. @return the exit status when the program must end now.
std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options);

}  // namespace chat
