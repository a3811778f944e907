#pragma once

#include <list>

#include <qz/qzLog.h>

namespace config {

/// Tells on the error stream which lines of ini files were ignored, and why, for as long as it
/// lives. The library reports them to the log; what goes to the console by itself is switched off.
class IgnoredLines {
public:
    IgnoredLines();
    ~IgnoredLines();
    IgnoredLines(const IgnoredLines&) = delete;
    IgnoredLines& operator=(const IgnoredLines&) = delete;

private:
    static void Tell(std::list<qz::qzLog::LogEntry>& batch, void* data);
};

}  // namespace config
