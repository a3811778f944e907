// SPDX-License-Identifier: MIT
#pragma once

#include <tuple>

#include <fcntl.h>
#include <sys/stat.h>

namespace qzlog {

/// What distinguishes a file from all others, also after it was renamed. The number of a file that
/// a rotation has removed is often given to the next one, so the time at which it was made belongs
/// to it.
struct FileIdentity {
    FileIdentity() = default;
    /// @param folder the descriptor of the folder, or of the file with an empty name.
    /// @param status what `stat` returns for the file.
    FileIdentity(int folder, const char* name, const struct stat& status)
        : device(status.st_dev), number(status.st_ino)
    {
        struct statx birth = {};
        // A file system that doesn't know it leaves the time 0.
        if (::statx(folder, name, AT_EMPTY_PATH, STATX_BTIME, &birth) != 0) return;
        birthSec = static_cast<long>(birth.stx_btime.tv_sec);
        birthNanosec = static_cast<long>(birth.stx_btime.tv_nsec);
    }

    bool operator<(const FileIdentity& other) const
    {
        return std::tie(device, number, birthSec, birthNanosec) <
               std::tie(other.device, other.number, other.birthSec, other.birthNanosec);
    }

    dev_t device = 0;
    ino_t number = 0;
    long birthSec = 0;
    long birthNanosec = 0;
};

}  // namespace qzlog
