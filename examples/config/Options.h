// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace config {

struct Options {
    std::vector<std::string> inputPaths;
    std::vector<std::pair<std::string, std::string>> settings;  // key and value
    std::string wantedKey;                                      // empty for the table of all values
    std::string savePath;                                       // empty to save nothing
};

/// Reads the command line. @return the exit status when the program must end now.
std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options);

}  // namespace config
