#pragma once

#include <string>
#include <vector>

namespace inventory {

struct Options {
    std::vector<std::string> folders = {"/usr/include", "/usr/share"};
    std::string outputPath = "inventory.csv";
    unsigned long rowsPerFile = 10000;
    bool wantsHelp = false;
};

extern const char* const kUsage;

/// Reads the command line. @return false, with the reason in `error`, when it makes no sense.
bool parseOptions(int argumentCount, char** arguments, Options& options, std::string& error);

}  // namespace inventory
