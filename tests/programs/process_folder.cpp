// SPDX-License-Identifier: MIT
// Tells the folder of a program whose file is the first argument, as far as the system says.
// Without an argument the system says nothing.

#include <unistd.h>

#include <iostream>
#include <string>

#include <qz/qzDirUtils.h>

#include "support/LibraryStart.h"

namespace {

const char* gFile = nullptr;

}  // namespace

extern "C" ssize_t readlink(const char* path, char* target, size_t size) noexcept
{
    if (gFile == nullptr || std::string(path) != "/proc/self/exe") return -1;
    return static_cast<ssize_t>(std::string(gFile).copy(target, size));
}

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    if (argumentCount > 1) gFile = arguments[1];
    std::string folder = "before";
    const bool isThere = qz::qzDirUtils::GetProcessFolderUtf8(folder);
    std::cout << isThere << " '" << folder << "'\n";
    return 0;
}
