// SPDX-License-Identifier: MIT
// Makes the folder of the first argument while somebody else makes the last component a moment
// earlier, and then once more.

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <iostream>
#include <string>

#include <qz/qzDirUtils.h>

#include "support/LibraryStart.h"

namespace {

std::string gContestedPath;

}  // namespace

extern "C" int mkdir(const char* path, mode_t mode) noexcept
{
    if (path == gContestedPath) ::mkdirat(AT_FDCWD, path, mode);
    return ::mkdirat(AT_FDCWD, path, mode);
}

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 2) return 2;
    const qz::support::LibraryStart library;
    gContestedPath = arguments[1];
    const bool isMade = qz::qzDirUtils::MkpathUtf8(gContestedPath);
    const bool isExistError = errno == EEXIST;
    std::cout << "made: " << isMade << ", EEXIST: " << isExistError << '\n';
    std::cout << "again: " << qz::qzDirUtils::MkpathUtf8(gContestedPath) << '\n';
    return 0;
}
