// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The line that a lock file holds.

#include <string>
#include <string_view>

#include <qz/ext/FileLock.h>

namespace qz::ext {

/// The line is no longer than this, with its end.
constexpr std::size_t kMaxLockLineBytes = 256;

/// The line of the holder.
std::string formatLockLine(const LockHolder& holder);

/// Reads a line from the start of a text. What is unknown stays empty.
LockHolder parseLockLine(std::string_view text);

/// Whether a file with this start is a lock file: empty, or with such a line.
bool isLockText(std::string_view text);

}  // namespace qz::ext
