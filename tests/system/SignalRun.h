// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace qz {

/// A run of tests/programs/signals.cpp, with what differs from run to run taken out of its output.
struct SignalRun {
    std::string end;
    /// The lines of its output: what it shows in brackets, and the log's as "TYPE message".
    std::vector<std::string> lines;
    /// The lines of stack traces.
    std::vector<std::string> trace;

    bool hasLine(const std::string& line) const
    {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
};

/// The ids that a run shows first; "none" where they are not known.
struct RunIds {
    std::string pid = "none";
    std::string parent = "none";
};

/// Sorts lines into those of traces and all others.
void sortLines(const std::string& text, const RunIds& ids, SignalRun& run);

/// Runs the steps, see the program. What hangs for two minutes is ended.
SignalRun runSignals(std::vector<std::string> steps);

/// The end of a report's text, and of the exception that may follow.
std::string makeOrigin(const std::string& from, const std::string& uid,
                       const std::string& thread = "MAIN");

/// The user that the process runs as.
std::string getUid();

/// What a signal that the process sends itself by "raise" reads like.
std::string makeText(const std::string& signalText);

std::string makeInfo(const std::string& signalText);

/// A line with "#" in the place of the address of a fault, which is where the sender of other
/// signals is, and of the user.
std::string hideAddress(const std::string& line);

/// A pattern with a signal's number in the place of each "#".
std::string fillIn(const std::string& pattern, const std::string& number);

// What the replaced `syslog` shows before a report.
inline const std::string kSyslogInfo = "[syslog 6 qzSystem]";
inline const std::string kSyslogCritical = "[syslog 2 qzSystem]";

}  // namespace qz
