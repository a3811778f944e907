// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/ext/SystemFailure.h>

namespace qz::ext {

/// Finds the path of a file in a folder that only the user may enter: XDG_RUNTIME_DIR if it is an
/// absolute path, and otherwise "/tmp/NAME-UID", which is made if it is missing. The folder must
/// belong to the effective user, with no right for anybody else.
/// @param name in UTF-8; of 1 to 100 bytes, without a slash, and it begins with no dot.
/// @param suffix of the file, after the name.
/// @param localPath receives the path in the local character set.
/// @return false if there is no such folder or the name isn't allowed.
bool findPrivatePath(const std::string& name, const char* suffix, std::string& localPath,
                     SystemFailure* failure);

}  // namespace qz::ext
