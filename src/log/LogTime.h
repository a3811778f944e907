#pragma once

#include <string>
#include <string_view>

namespace qz::log {

/// The form of the local time in log lines, for `strftime`.
inline constexpr const char* kTimeFormat = "%a %b %d %H:%M:%S%z %Y";

/// Gets a second since the epoch as log lines show it: in local time, in UTF-8.
/// @param made receives the text if it can't be cached.
/// @return a view of `made` or of the thread's own cache, valid until the thread's next call.
std::string_view getTimeText(long second, std::string& made);

}  // namespace qz::log
