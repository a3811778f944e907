// SPDX-License-Identifier: MIT
#pragma once

#include <list>
#include <mutex>
#include <string>
#include <vector>

#include <qz/qzLog.h>

namespace qz::support {

/// Collects the entries that the log passes to its custom handler, without output on the console.
///
/// The library must be started and its log must have no custom handler. The capture must end before
/// the library stops. Afterwards the log prints entries on the console again.
class LogCapture {
public:
    /// @param level the level of the log until the end of the capture, which restores the old one.
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
