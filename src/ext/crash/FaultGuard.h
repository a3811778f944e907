// SPDX-License-Identifier: MIT
#pragma once

#include <setjmp.h>

namespace qz::ext::crash {

/// What `leavePart` passes when the time is over; a fault passes its signal.
inline constexpr int kAlarmExpired = 1000;

/// The thread that writes a report, and where to go on if a part of it fails. Only the holder of
/// the lock of reports uses it.
struct PartReturn {
    sigjmp_buf place;
    volatile bool isRunning;
};
extern PartReturn gPartReturn;

/// Runs a part of a report. It may read any memory: a fault in it, or the alarm, ends it, without
/// destructors. @return 0, or why it has been ended.
template <typename Part>
[[gnu::noinline]] int runPart(const Part& part)
{
    const int reason = sigsetjmp(gPartReturn.place, /*savemask=*/1);
    if (reason == 0) {
        gPartReturn.isRunning = true;
        part();
    }
    gPartReturn.isRunning = false;
    return reason;
}

/// On the thread of the report: ends the part that runs, if there is one.
void leavePart(int reason);

}  // namespace qz::ext::crash
