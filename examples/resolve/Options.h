#pragma once

#include <string>

namespace resolve {

struct Options {
    std::string root;
    std::string listPath;  // "-" for standard input
    unsigned long maxFiles = 10000000;
    bool wantsPlainLines = false;
    bool wantsHelp = false;
};

extern const char* const kUsage;

/// Reads the command line. @return false, with the reason in `error`, when it makes no sense.
bool parseOptions(int argumentCount, char** arguments, Options& options, std::string& error);

}  // namespace resolve
