// SPDX-License-Identifier: MIT
// Tells the free space of a disk whose figures all differ, and of one that the system can't tell
// of.

#include <sys/statvfs.h>

#include <cstring>
#include <iostream>
#include <string>

#include <qz/qzDirUtils.h>

#include "support/LibraryStart.h"

extern "C" int statvfs64(const char* path, struct statvfs64* status) noexcept
{
    status->f_bsize = 1UL << 32U;
    status->f_frsize = 512;
    status->f_blocks = 7;
    status->f_bfree = 5;
    status->f_bavail = 3;
    return std::strcmp(path, "/disk") == 0 ? 0 : -1;
}

int main()
{
    const qz::support::LibraryStart library;
    std::string error = "before";
    std::cout << qz::qzDirUtils::GetAvailableDiskSizeUtf8("/disk", error) << ' '
              << qz::qzDirUtils::GetAvailableDiskSizeUtf8("/other", error) << '\n';
    return 0;
}
