#pragma once

#include <iosfwd>
#include <string_view>

namespace qz {

/// The form of the local time in log lines, for strftime.
inline constexpr const char* kLogTimeFormat = "%a %b %d %H:%M:%S%z %Y";

/// Writes the two texts and a line end in one piece, and flushes.
void writeLine(std::ostream& out, std::string_view prefix, std::string_view message);

}  // namespace qz
