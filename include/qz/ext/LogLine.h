// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include <qz/qzExport.h>
#include <qz/qzLog.h>

namespace qz::ext {

/// A line of a log, taken apart. The texts are views: whoever fills them in decides how long they
/// are valid.
struct QZ_API LogLine {
    int type = qzLog::Unknown;       ///< A `qzLog::EntryType`.
    std::string_view subType = {};   ///< Empty for none.
    long processId = 0;              ///< The process that wrote the line.
    std::string_view threadId = {};  ///< Empty if none was taken.
    bool hasTime = false;            ///< Whether the next three fields are known.
    bool hasFraction = false;        ///< Whether the milliseconds are known.
    long timeMs = 0;                 ///< Milliseconds since the epoch.
    long offsetSec = 0;              ///< Local time minus UTC, where the line was written.
    std::string_view text = {};      ///< The message.
};

/// Takes a line of a log file apart, as `qzLog::LogEntry::computeLogPrefix` makes them.
///
/// The name of the month may be English, of the locale that the program has set (in its character
/// set), or begin with a number. With any other name, the line has no time.
/// @param line without its line end and without a byte order mark. The parsed texts are parts of
/// it.
/// @return false for a line that doesn't begin with a prefix; `parsed` is then unspecified.
/// Threads: any that don't change the locale at the same time.
QZ_API bool parseLogLine(std::string_view line, LogLine& parsed);

/// Appends a line as a JSON object and a line feed, in ASCII and UTF-8:
///
///     {"time":"2026-11-14T20:17:56.250+01:00","level":"INFO","subType":"orders","pid":4711,"tid":"4712","text":"ready"}
///
/// The time has the form of RFC 3339, with three digits of a fraction if it is known. Left out are
/// "time" if it is unknown or isn't in the years from 0 to 9999, "subType" and "tid" if they are
/// empty. A byte that isn't UTF-8 is written as the text "\xC3"; control characters, and others
/// that `escaped` makes visible, are escaped as JSON does it. Memory can run out.
/// Threads: any.
QZ_API void appendJsonLine(std::string& json, const LogLine& line);

/// Appends a time in the form of RFC 3339, such as "2026-11-14T20:17:56+01:00"; nothing if
/// `appendJsonLine` would leave it out.
QZ_API void appendTime(std::string& text, const LogLine& line);

/// The name of a type of entries, as lines show it: "INFO" for `qzLog::Info`, "UNKNOWN" for a value
/// that is no type.
QZ_API const char* getTypeName(int type);

}  // namespace qz::ext
