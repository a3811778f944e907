// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace qz::ext {

/// Reads the access control list of a file, in the form in which the system stores it.
/// @param folder the descriptor of its folder.
/// @return empty text for none; nothing if that can't be known, as without /proc, or if the file
///     system has no such lists.
std::optional<std::string> readAccessList(int folder, const std::string& name);

/// Gives an open file a list, or takes its own away if the list is empty.
/// @return false after a failure, with the reason in `errno`.
bool writeAccessList(int file, const std::string& list);

}  // namespace qz::ext
