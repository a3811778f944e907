// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace resolve {

struct Options {
    std::string root;
    std::string listPath;  // "-" for standard input
    unsigned long maxFiles = 10000000;
    bool wantsPlainLines = false;
};

/// Reads the command line. @return the exit status when the program must end now.
std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options);

}  // namespace resolve
