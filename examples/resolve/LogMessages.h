#pragma once

#include <list>

#include <qz/qzLog.h>

namespace resolve {

/// Tells on the error stream what the library warns of, for as long as it lives: why a tree can't
/// be indexed stands in the log alone. Standard output is for the result.
class LogMessages {
public:
    LogMessages();
    ~LogMessages();
    LogMessages(const LogMessages&) = delete;
    LogMessages& operator=(const LogMessages&) = delete;

private:
    static void Tell(std::list<qz::qzLog::LogEntry>& batch, void* data);
};

}  // namespace resolve
