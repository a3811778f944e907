// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qz::support {

/// How a child process ended, and what it wrote.
struct ChildResult {
    int exitCode = -1;  ///< -1 for a child that a signal ended.
    int signal = 0;     ///< The signal that ended it, or 0.
    bool timedOut = false;
    std::string out;  ///< Its standard output.
    std::string err;  ///< Its standard error stream.

    /// The end as a text, for example "exit 0", "signal 6" or "timed out", for one plain assertion.
    std::string getEnd() const;
};

/// Runs `body` in a forked child and waits for its end.
///
/// The body's result is the exit code. No destructor and no exit handler of the parent's objects
/// runs in the child; an exception that leaves the body ends it by SIGABRT.
/// @param input the child's standard input.
/// @param timeoutSec ends a child that hangs.
ChildResult runInChild(const std::function<int()>& body, const std::string& input = {},
                       int timeoutSec = 300);

/// A program of tests/programs and what it is started with.
struct ProgramRun {
    std::string program;  ///< Name of the source file, without ".cpp"; or a path with a slash.
    std::vector<std::string> arguments = {};
    /// Variables to set, or to take away with `std::nullopt`.
    std::map<std::string, std::optional<std::string>> environment = {};
    std::string input = {};
    /// `RLIMIT_...` and the value for it.
    std::vector<std::pair<int, unsigned long>> limits = {};
    std::string workingFolder = {};  ///< Empty for that of the test.
    int timeoutSec = 300;
};

/// Starts a program and waits for its end. Exit code 127 means that it can't be started.
ChildResult runProgram(const ProgramRun& run);

}  // namespace qz::support
