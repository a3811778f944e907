#pragma once

#include <list>

#include <qz/qzLog.h>

#include "Recording.h"

namespace recorder {

/// Counts the entries of the log by type; stands as the log's custom handler while it lives.
class EntryCounter {
public:
    EntryCounter();
    ~EntryCounter();
    EntryCounter(const EntryCounter&) = delete;
    EntryCounter& operator=(const EntryCounter&) = delete;

    unsigned long getCount(qz::qzLog::EntryType type) const { return mCounts[type]; }

private:
    static void Count(std::list<qz::qzLog::LogEntry>& batch, void* counter);

    unsigned long mCounts[qz::qzLog::Unknown + 1] = {};
};

/// What the work of one way came to.
struct Way {
    Counts counts;
    unsigned long durationMs = 0;
};

/// Prints the table of the run to standard output.
void printSummary(const Way& written, const Way& readBack, const EntryCounter& entries);

}  // namespace recorder
