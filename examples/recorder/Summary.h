#pragma once

#include <list>

#include <qz/qzLog.h>

#include "Part.h"

namespace recorder {

/// Counts the entries of the log by type; stands as the log's custom handler while it lives.
class EntryCounter {
public:
    EntryCounter();
    ~EntryCounter();
    EntryCounter(const EntryCounter&) = delete;
    EntryCounter& operator=(const EntryCounter&) = delete;

    /// Counts what was reported up to the log's last flush.
    unsigned long getCount(qz::qzLog::EntryType type) const { return mCounts[type]; }

private:
    static void Count(std::list<qz::qzLog::LogEntry>& batch, void* counter);

    unsigned long mCounts[qz::qzLog::Unknown + 1] = {};
};

/// Adds what a part came to. Parts work at the same time, so the longest of them counts.
void addWay(Way& total, const Way& part);

/// Prints the table of the run to standard output.
void printSummary(const Way& written, const Way& readBack, const EntryCounter& entries);

}  // namespace recorder
