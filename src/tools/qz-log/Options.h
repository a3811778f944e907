// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <qz/qzLog.h>

namespace qzlog {

/// Which entries are shown.
struct Filter {
    int leastType = qz::qzLog::Dev;
    std::string subType;          ///< Empty for all.
    unsigned long processId = 0;  ///< 0 for all.
    std::optional<long> fromMs;
    std::optional<long> toMs;
    std::string text;  ///< What an entry must contain; empty for all.
};

/// What the command line requests.
struct Options {
    std::vector<std::string> paths;
    Filter filter;
    bool isJson = false;
    bool isStats = false;
    bool isFollowing = false;
};

/// Reads the command line. @return the exit status when the program must end now.
std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options);

}  // namespace qzlog
