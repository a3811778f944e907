// SPDX-License-Identifier: MIT
#pragma once

#include <list>

#include <qz/qzLog.h>

#include "Part.h"

namespace recorder {

/// Counts the entries of the log by type; it is the log's custom handler while it exists.
class EntryCounter {
public:
    EntryCounter();
    ~EntryCounter();
    EntryCounter(const EntryCounter&) = delete;
    EntryCounter& operator=(const EntryCounter&) = delete;

    /// The number of entries up to the log's last flush.
    unsigned long getCount(qz::qzLog::EntryType type) const { return mCounts[type]; }

private:
    static void Count(std::list<qz::qzLog::LogEntry>& batch, void* counter);

    unsigned long mCounts[qz::qzLog::Unknown + 1] = {};
};

/// Adds the figures of a part. Parts work at the same time, so the longest time counts.
void addWay(Way& total, const Way& part);

/// Prints the table of the run to standard output.
void printSummary(const Way& written, const Way& readBack, const EntryCounter& entries);

}  // namespace recorder
