// SPDX-License-Identifier: MIT
#include "Stats.h"

#include <algorithm>
#include <vector>

#include <qz/AsciiTableBuilder.h>
#include <qz/ext/PrintableText.h>

#include "Inputs.h"
#include "Selection.h"

namespace qzlog {

namespace {

using qz::AsciiTableBuilder;

void addRow(AsciiTableBuilder& table, const std::string& name, const Stats& stats)
{
    table << name;
    for (const std::string& cell : stats.getCells())
        table << cell;
    table << AsciiTableBuilder::EndOfRow{};
}

std::string getTimeText(const qz::ext::LogLine& line)
{
    std::string text;
    qz::ext::appendTime(text, line);
    return text;
}

}  // namespace

void Stats::addFile(LogFile& file, const Filter& filter)
{
    while (findNext(file, filter))
        addEntry(file.getEntry());
}

void Stats::addEntry(const Entry& entry)
{
    mContinuations +=
        static_cast<unsigned long>(std::count(entry.bytes.begin(), entry.bytes.end(), '\n'));
    if (!entry.hasPrefix) {
        ++mContinuations;
        return;
    }
    ++mEntries[static_cast<std::size_t>(entry.line.type)];
    addProcess(entry.line.processId);
    addTime(entry.line);
}

void Stats::addProcess(long processId)
{
    if (mProcesses.size() < kMostProcesses)
        mProcesses.insert(processId);
    else
        mHasMoreProcesses |= !mProcesses.contains(processId);
}

void Stats::addTime(const qz::ext::LogLine& line)
{
    if (!line.hasTime) return;
    const auto keepTime = [&](qz::ext::LogLine& kept) {
        kept.hasTime = true;
        kept.timeMs = line.timeMs;
        kept.offsetSec = line.offsetSec;
    };
    if (!mFirst.hasTime || line.timeMs < mFirst.timeMs) keepTime(mFirst);
    if (!mLast.hasTime || line.timeMs > mLast.timeMs) keepTime(mLast);
}

void Stats::add(const Stats& other)
{
    for (std::size_t i = 0; i != mEntries.size(); ++i)
        mEntries[i] += other.mEntries[i];
    mContinuations += other.mContinuations;
    for (const long processId : other.mProcesses)
        addProcess(processId);
    mHasMoreProcesses |= other.mHasMoreProcesses;
    addTime(other.mFirst);
    addTime(other.mLast);
}

std::array<std::string, 11> Stats::getCells() const
{
    unsigned long sum = 0;
    for (const unsigned long count : mEntries)
        sum += count;
    const auto count = [&](int type) {
        return std::to_string(mEntries[static_cast<std::size_t>(type)]);
    };
    using qz::qzLog;
    return {std::to_string(sum),
            count(qzLog::Critical),
            count(qzLog::Warning),
            count(qzLog::Info),
            count(qzLog::Debug),
            count(qzLog::Trace),
            count(qzLog::Dev),
            std::to_string(mContinuations),
            std::to_string(mProcesses.size()) + (mHasMoreProcesses ? " or more" : ""),
            getTimeText(mFirst),
            getTimeText(mLast)};
}

std::string makeStatsTable(const Options& options, Problems& problems)
{
    AsciiTableBuilder table("Log files");
    for (const char* title : {"File", "Entries", "CRITICAL", "WARNING", "INFO", "DEBUG", "TRACE",
                              "DEV", "Without prefix", "Processes", "First", "Last"})
        table << std::string(title);
    table << AsciiTableBuilder::EndOfRow{};
    Stats all;
    for (const std::string& path : findInputs(options.paths, problems)) {
        LogFile file(path, options.filter.leastType, /*isFollowed=*/false, problems);
        if (!file.open()) continue;
        Stats stats;
        stats.addFile(file, options.filter);
        addRow(table, qz::ext::makePrintable(path), stats);
        all.add(stats);
    }
    addRow(table, "All", all);
    return table.toString();
}

}  // namespace qzlog
