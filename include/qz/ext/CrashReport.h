// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <qz/ext/SystemFailure.h>
#include <qz/qzExport.h>

namespace qz::ext {

/// A place in the code, as a report names it.
struct CrashFrame {
    std::uint64_t address = 0;  ///< Where it was in that process.
    std::uint64_t offset = 0;   ///< The address in the file, as `addr2line` takes it.
    std::string buildId;        ///< Of the file, in hexadecimal digits; empty if unknown.
    std::string file;           ///< The program or shared object; empty if it is in none.
};

/// What was reported about one signal, or one call of `std::terminate`.
struct CrashEvent {
    long number = 0;                     ///< In the order of the reports, from 1 on.
    long timeMs = 0;                     ///< Milliseconds since the epoch.
    std::string cause;                   ///< For example "SIGSEGV (11), SEGV_MAPERR (1), at 0x0".
    std::string exceptionType;           ///< As the compiler encodes it; empty for none.
    std::string exceptionText;           ///< Of `what()`; empty for none.
    std::string thread;                  ///< Number and name, for example "4713 worker".
    std::vector<std::string> registers;  ///< For example "rip 0x401136".
    std::vector<CrashFrame> frames;      ///< From the fault outwards.
    std::vector<std::string> remarks;    ///< Why parts of the report are missing.
    bool isComplete = false;             ///< Whether the end of the report was written.
};

/// The content of a file that `CrashKit` has left.
struct CrashReport {
    std::string program;            ///< The path of the program.
    long processId = 0;             ///< Its process.
    long startMs = 0;               ///< When the kit was installed.
    bool isRunning = false;         ///< Whether that process still has the file open.
    bool hasEndedNormally = false;  ///< Whether the process went on to a normal end.
    /// In the order in which they were reported. If they were too many for the file, only the
    /// first and the last ones.
    std::vector<CrashEvent> events;
    /// The last log entries, oldest first. Text, and may have several lines each.
    std::vector<std::string> entries;
};

/// Reads a file of `CrashKit`. The content isn't trusted: sizes are limited, a part that makes no
/// sense is left out, and texts may hold anything.
/// @param path in UTF-8, of a regular file.
/// @param report replaced if the result is true.
/// @param failure receives the reason if the result is false, EBADMSG for a file of another kind;
///     may be null.
QZ_API bool readCrashReport(const std::string& path, CrashReport& report,
                            SystemFailure* failure = nullptr);

}  // namespace qz::ext
