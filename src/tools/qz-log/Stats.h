// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <set>
#include <string>

#include "LogFile.h"
#include "Options.h"

namespace qzlog {

/// What the entries of a file, or of several, add up to.
class Stats {
public:
    /// Counts all entries of a file that the filter lets through.
    void addFile(LogFile& file, const Filter& filter);
    void add(const Stats& other);
    /// The cells of a row of the table, after the name.
    std::array<std::string, 11> getCells() const;

private:
    // A log may name any number of processes, which would take memory without limit.
    static constexpr std::size_t kMostProcesses = 65'536;

    void addEntry(const Entry& entry);
    void addProcess(long processId);
    void addTime(const qz::ext::LogLine& line);

    std::array<unsigned long, 7> mEntries = {};  // by type
    unsigned long mContinuations = 0;            // lines without a prefix
    std::set<long> mProcesses;
    bool mHasMoreProcesses = false;
    qz::ext::LogLine mFirst;  // the times alone
    qz::ext::LogLine mLast;
};

/// A table with a row for each file, and one for all of them.
std::string makeStatsTable(const Options& options, Problems& problems);

}  // namespace qzlog
