// SPDX-License-Identifier: MIT
// Prints the arguments that the library finds for this process, each as "SIZE:TEXT" on a line, and
// then what the log said, as "log: LINE".
//
// The environment decides what it finds: CMDLINE and EXE name the files that stand for the
// process's command line and its program, START starts the library, REMOVE removes the program's
// file.

#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include <qz/qzSystemUtils.h>

#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace {

constexpr const char* kCommandLinePath = "/proc/self/cmdline";
constexpr const char* kProgramPath = "/proc/self/exe";

bool isSet(const char* variable)
{
    return std::getenv(variable) != nullptr;
}

// What is to be opened in place of `path`.
const char* getStandIn(const char* path, const char* replacedPath, const char* variable)
{
    return std::strcmp(path, replacedPath) == 0 && isSet(variable) ? std::getenv(variable) : path;
}

void removeProgramFile()
{
    char path[PATH_MAX] = {};
    if (::readlink(kProgramPath, path, sizeof path - 1) < 0 || ::unlink(path) != 0) std::abort();
}

}  // namespace

extern "C" {

FILE* fopen(const char* path, const char* mode)
{
    using Open = FILE* (*)(const char*, const char*);
    static const auto realOpen = reinterpret_cast<Open>(::dlsym(RTLD_NEXT, "fopen"));
    if (std::strcmp(path, kCommandLinePath) == 0 && std::strcmp(mode, "rbe") != 0) std::abort();
    return realOpen(getStandIn(path, kCommandLinePath, "CMDLINE"), mode);
}

char* realpath(const char* path, char* resolved) noexcept
{
    using Resolve = char* (*)(const char*, char*);
    static const auto realResolve = reinterpret_cast<Resolve>(::dlsym(RTLD_NEXT, "realpath"));
    return realResolve(getStandIn(path, kProgramPath, "EXE"), resolved);
}

}  // extern "C"

int main()
{
    std::optional<qz::support::LibraryStart> start;
    std::optional<qz::support::LogCapture> capture;
    if (isSet("START")) {
        start.emplace();
        capture.emplace();
    }
    if (isSet("REMOVE")) removeProgramFile();

    std::vector<std::string> arguments{"old", "older"};
    qz::qzSystemUtils::ExtractCommandLineUtf8(arguments);
    for (const std::string& argument : arguments)
        std::cout << argument.size() << ':' << argument << '\n';
    if (!capture) return 0;
    for (const std::string& line : capture->getLines())
        std::cout << "log: " << line << '\n';
    return 0;
}
