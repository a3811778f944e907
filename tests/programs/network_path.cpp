// SPDX-License-Identifier: MIT
// Tells whether a path is on a network, on a file system whose type is the first argument, and
// whether another one is, of which the system tells nothing.

#include <sys/vfs.h>

#include <cstdlib>
#include <cstring>
#include <iostream>

#include <qz/qzDirUtils.h>

namespace {

long gType = 0;

}  // namespace

extern "C" int statfs64(const char* path, struct statfs64* status) noexcept
{
    status->f_type = gType;
    return std::strcmp(path, "/path\xE9") == 0 ? 0 : -1;  // as it was given, without a conversion
}

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 2) return 2;
    gType = std::strtol(arguments[1], nullptr, 0);
    std::cout << qz::qzDirUtils::IsNetworkPath("/path\xE9") << ' '
              << qz::qzDirUtils::IsNetworkPath("/other") << '\n';
    return 0;
}
