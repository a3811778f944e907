// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace qz::log {

/// The form of the local time in log lines, for `strftime`.
inline constexpr const char* kTimeFormat = "%a %b %d %H:%M:%S%z %Y";

/// Gets a second since the epoch as log lines show it: in local time, in UTF-8, with a blank after
/// it. The blank alone is the text of a second that the system can't represent.
/// @param made receives the text if it can't be cached.
/// @return a view of `made`, of the thread's own cache or of a constant, valid until the thread's
/// next call.
std::string_view getTimeText(long second, std::string& made);

/// The time texts of one batch. It looks the zone and the locale up once for all entries of a
/// second that follow each other: the entries were queued before, so a change that comes while the
/// batch is written is a change after them.
class BatchTime {
public:
    /// Gets the same text as `getTimeText`, valid until the next call.
    std::string_view getText(long second);
    /// Makes the next call look everything up again.
    void forget() { mText.clear(); }

private:
    long mSecond = 0;
    std::string mText;  // empty if there is none
};

}  // namespace qz::log
