// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <time.h>

namespace qz {

/// Breaks a second near the present time down into local time, for the lines of the log. The zone
/// that applies to it is remembered.
///
/// The C library holds a lock while it does this. Where the thread that holds the lock may never
/// release it, the time is computed from the zone that was remembered last: in a marked child, as a
/// thread of the parent may have held the lock at the fork, and during a `KnownZoneScope`.
/// @return false if the system can't represent the second.
bool getLocalTime(long second, tm& parts);

/// While an object exists, no thread waits in `getLocalTime` for the time zones of the C library.
/// For the report of a signal, which may have interrupted a thread that has locked them.
class KnownZoneScope {
public:
    KnownZoneScope() noexcept;
    ~KnownZoneScope();
    KnownZoneScope(const KnownZoneScope&) = delete;
    KnownZoneScope& operator=(const KnownZoneScope&) = delete;
};

/// Remembers the zone that applies now, for a child that is about to be forked.
void rememberPresentZone();

/// Formats a time like `strftime`, in the calling thread's locale.
/// @return the text in UTF-8; empty if it doesn't fit into 128 bytes.
std::string formatTime(const tm& parts, const char* format);

/// Formats the present local time by `getLocalTime` and `formatTime`.
std::string getPresentTimeText(const char* format);

}  // namespace qz
