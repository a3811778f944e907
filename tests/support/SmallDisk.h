// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace qz::support {

/// The exit code of a program that may have no disk of its own.
constexpr int kNoSmallDisk = 77;

/// Mounts a small disk (tmpfs) at a folder, for this process and its children only.
/// @param size as the option of the file system, for example "512k".
/// @return false when the process may not, with the reason in `errno`.
bool mountSmallDisk(const std::string& folder, const std::string& size);

}  // namespace qz::support
