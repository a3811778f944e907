#pragma once

#include <list>
#include <mutex>
#include <string>
#include <vector>

#include <qz/qzLog.h>

namespace qz::support {

/// Collects what the log gives to its custom handler, and keeps the console quiet meanwhile.
///
/// Wants a started library whose log has no custom handler, and ends before the stop. At the end
/// the log shows entries on the console again.
class LogCapture {
public:
    /// @param level what the log shows from now on; the level before comes back at the end.
    explicit LogCapture(qzLogLevel level = LogLevelNormal);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// All entries so far.
    std::vector<qzLog::LogEntry> getEntries() const;
    /// Each entry as "TYPE(sub-type) message", without process, thread and time.
    std::vector<std::string> getLines() const;
    /// The messages alone.
    std::vector<std::string> getMessages() const;
    /// Forgets the entries so far.
    void clear();

private:
    static void Collect(std::list<qzLog::LogEntry>& batch, void* capture);

    qzLogLevel mOldLevel;
    mutable std::mutex mMutex;
    std::vector<qzLog::LogEntry> mEntries;  // guarded by mMutex; a log thread may fill it
};

}  // namespace qz::support
