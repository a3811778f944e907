#pragma once

#include <string>

#include <time.h>

namespace qz {

/// Breaks a second since the epoch down into local time.
///
/// The C library holds a lock while it does this, and another thread of the parent may have held
/// that lock when a marked child was forked. Such a child therefore computes the time from the
/// offset that the parent used last.
/// @return false if the system can't represent the second.
bool getLocalTime(long second, tm& parts);

/// Formats a time like `strftime`, in the calling thread's locale.
/// @return the text in UTF-8; empty if it doesn't fit into 128 bytes.
std::string formatTime(const tm& parts, const char* format);

}  // namespace qz
