// SPDX-License-Identifier: MIT
#pragma once

#include <list>

#include <qz/qzLog.h>

namespace resolve {

/// Prints the library's warnings on standard error while it exists: only the log has the reason why
/// a tree can't be indexed. Standard output is for the result.
class LogMessages {
public:
    LogMessages();
    ~LogMessages();
    LogMessages(const LogMessages&) = delete;
    LogMessages& operator=(const LogMessages&) = delete;

private:
    static void Print(std::list<qz::qzLog::LogEntry>& batch, void* data);
};

}  // namespace resolve
