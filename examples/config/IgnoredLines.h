// SPDX-License-Identifier: MIT
#pragma once

#include <list>

#include <qz/qzLog.h>

namespace config {

/// Prints on standard error which lines of ini files were ignored, and why, while it exists. The
/// library reports them to the log, whose own output to the console is switched off.
class IgnoredLines {
public:
    IgnoredLines();
    ~IgnoredLines();
    IgnoredLines(const IgnoredLines&) = delete;
    IgnoredLines& operator=(const IgnoredLines&) = delete;

private:
    static void Print(std::list<qz::qzLog::LogEntry>& batch, void* data);
};

}  // namespace config
