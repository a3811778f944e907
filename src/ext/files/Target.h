// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <utility>

#include <sys/stat.h>

#include <qz/ext/SystemFailure.h>

#include "base/OwnDescriptor.h"

namespace qz::ext {

/// The file that a path leads to when its links are followed: a name in an open folder. A rename of
/// folders or a change of the working folder doesn't lead to another file.
struct Target {
    OwnDescriptor folder;
    std::string name;
    std::optional<struct stat> status;  ///< Of a regular file; empty if it is missing.
};

/// Divides a path before its last name. The folder is "." if the path has none.
std::pair<std::string, std::string> splitPath(const std::string& localPath);

/// Follows the links of a path. The last file may be missing.
/// @return false for anything but a regular file or a missing one, and for a file or link that
///     somebody else has put into a folder of all users.
bool findTarget(const std::string& localPath, Target& target, SystemFailure& failure);

/// Reads the status of the file again. @return 0, or the error for a file that is refused.
int updateStatus(Target& target);

}  // namespace qz::ext
