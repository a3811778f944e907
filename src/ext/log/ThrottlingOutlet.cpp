// SPDX-License-Identifier: MIT
#include <new>
#include <string>
#include <utility>

#include <unistd.h>

#include <qz/ext/LogTools.h>

#include "OfferedEntry.h"

namespace qz::ext {

struct ThrottlingOutlet::Series {
    bool isRepeatedBy(const qzLog::LogEntry& entry) const
    {
        return hasFirst && last.type == entry.type && last.message == entry.message &&
               last.subType == entry.subType;
    }

    pid_t processId = ::getpid();
    bool hasFirst = false;
    qzLog::LogEntry last;         // the last entry of the series
    unsigned long count = 0;      // of the entries that were not passed on
    unsigned long lostCount = 0;  // of those whose count was lost
    long passedMs = 0;            // the time of the entry that was passed on last
};

ThrottlingOutlet::ThrottlingOutlet(LogOutlet& next, long longestSilenceMs)
    : mNext(next), mLongestSilenceMs(longestSilenceMs), mSeries(std::make_unique<Series>())
{
}

ThrottlingOutlet::~ThrottlingOutlet()
{
    if (mSeries->processId != ::getpid()) {
        [[maybe_unused]] const Series* const parentSeries = mSeries.release();  // see editSeries
        return;
    }
    try {
        passCount(*mSeries);
        mNext.endBatch();
    } catch (const std::bad_alloc&) {
        // The count is lost, like any entry without memory.
    }
}

// The fork of a child may have interrupted the parent's log thread while it changed the series, so
// the child leaves that one alone, and doesn't free it either.
ThrottlingOutlet::Series& ThrottlingOutlet::editSeries()
{
    if (mSeries->processId != ::getpid()) {
        auto ownSeries = std::make_unique<Series>();
        [[maybe_unused]] const Series* const parentSeries = mSeries.release();
        mSeries = std::move(ownSeries);
    }
    return *mSeries;
}

bool ThrottlingOutlet::take(const qzLog::LogEntry& entry)
{
    Series& series = editSeries();
    const bool isRepeated = series.isRepeatedBy(entry);
    const bool isSilent = entry.timeMs - series.passedMs < mLongestSilenceMs;
    if (isRepeated && isSilent) {
        series.last.timeMs = entry.timeMs;
        series.last.threadId = entry.threadId;
        series.last.prefix = entry.prefix;
        ++series.count;
        return true;
    }
    passCount(series);
    series.hasFirst = false;  // in case that the copy fails
    series.last = entry;
    series.passedMs = entry.timeMs;
    series.hasFirst = true;
    return mNext.take(entry);
}

// Passes on what stands for the entries that were not passed on.
void ThrottlingOutlet::passCount(Series& series)
{
    const unsigned long count = std::exchange(series.count, 0);
    if (count == 0) return;
    series.lostCount += count;  // unless it is taken, which an exception may prevent
    if (count > 1) series.last.message = "... repeated " + std::to_string(count) + " times";
    if (offerEntry(mNext, series.last)) series.lostCount -= count;
}

unsigned long ThrottlingOutlet::takeLaterLosses()
{
    const bool isOwn = mSeries->processId == ::getpid();
    return (isOwn ? std::exchange(mSeries->lostCount, 0) : 0) + mNext.takeLaterLosses();
}

void ThrottlingOutlet::endBatch()
{
    mNext.endBatch();
}

}  // namespace qz::ext
