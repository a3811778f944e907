// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

#include <qz/ext/CrashReport.h>

/// What of a report is printed.
struct ShowOptions {
    std::size_t mostEntries = static_cast<std::size_t>(-1);
    bool showsRegisters = false;
};

/// Prints a report to the standard output, and what is missing to the standard error stream.
void show(const qz::ext::CrashReport& report, const ShowOptions& options);

/// How a process ended, in a few words, for example "SIGSEGV (11), SEGV_MAPERR (1), at 0x0".
std::string describeEnd(const qz::ext::CrashReport& report);

/// A time in the local zone, for example "2026-11-14 20:17:56".
std::string describeTime(long timeMs);
