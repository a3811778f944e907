// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace inventory {

struct Options {
    std::vector<std::string> folders = {"/usr/include", "/usr/share"};
    std::string outputPath = "inventory.csv";
    unsigned long rowsPerFile = 10000;
};

/// Reads the command line. @return the exit status when the program must end now.
std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options);

}  // namespace inventory
