// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// What every contender reports in the log rows.

#include <string>

namespace bench {

/// The five things that a switched-off report would have shown. They are looked at by reference,
/// so that no contender pays for copies of them.
struct ReportArguments {
    const char* verb = "opened ";
    std::string name = "/var/lib/records/2026-11.dat";
    int count = 42;
    double share = 0.75;
    unsigned long bytes = 123456789;
};

/// The fields of the line whose prefix is written: INFO of the sub-type "iodevice".
inline constexpr const char* kSubType = "iodevice";
inline constexpr const char* kThreadId = "140388";
inline constexpr long kThreadNumber = 140388;
/// 2026-11-14 20:17:56.250 UTC.
inline constexpr long kFirstTimeMs = 1794687476250;
/// The lines follow each other by a millisecond, so one in a thousand sees another second.
inline constexpr long kLineDistanceMs = 1;

/// Sets a time zone of one hour east of Greenwich without a change of clocks; POCO writes no number
/// for Greenwich itself.
void useFixedTimeZone();

/// The prefix of the first line, with this process's id, as everyone has to write it.
std::string getExpectedPrefix();

}  // namespace bench
