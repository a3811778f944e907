#pragma once

#include <string>
#include <string_view>

namespace qz {

/// Gives a second since the epoch as log lines show it: in local time, and in UTF-8.
/// @param made receives the text when it can't be kept.
/// @return a view of `made` or of the thread's own text, good until the thread's next call.
std::string_view getLogTime(long second, std::string& made);

}  // namespace qz
