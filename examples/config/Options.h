#pragma once

#include <string>
#include <utility>
#include <vector>

namespace config {

struct Options {
    std::vector<std::string> inputPaths;
    std::vector<std::pair<std::string, std::string>> settings;  // key and value
    std::string wantedKey;
    std::string savePath;
    bool wantsValue = false;  // of `wantedKey`
    bool wantsHelp = false;
};

extern const char* const kUsage;

/// Reads the command line. @return false, with the reason in `error`, when it makes no sense.
bool parseOptions(int argumentCount, char** arguments, Options& options, std::string& error);

}  // namespace config
