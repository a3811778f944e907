// SPDX-License-Identifier: MIT
#include <cstdlib>
#include <new>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "../support.h"
#include "lines.h"

namespace {

thread_local unsigned long sAllocations = 0;

void* countedAllocation(std::size_t size)
{
    ++sAllocations;
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}

}  // namespace

// The library's allocations come here too: the dynamic linker takes the program's operators first.
void* operator new(std::size_t size)
{
    return countedAllocation(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace bench {

namespace {

// In the loop itself, as the other contenders' reports are.
[[gnu::always_inline]] inline void reportSwitchedOff(const ReportArguments& shown)
{
    qz::logDebug() << shown.verb << shown.name << shown.count << shown.share << shown.bytes;
}

qz::qzLog::LogEntry makeEntry()
{
    qz::qzLog::LogEntry entry;
    entry.subType = kSubType;
    entry.threadId = kThreadId;
    entry.type = qz::qzLog::Info;
    entry.timeMs = kFirstTimeMs;
    return entry;
}

bool isSwitchedOffReportFreeOfAllocations()
{
    startLibrary();
    const ReportArguments shown;
    const unsigned long before = sAllocations;
    for (int i = 0; i < 1000; ++i)
        reportSwitchedOff(shown);
    if (sAllocations != before) return false;
    qz::logInfo() << shown.name;
    return sAllocations != before;  // a report that is on allocates, or nobody counts
}

bool isPrefixRight()
{
    startLibrary();
    useFixedTimeZone();
    qz::qzLog::LogEntry entry = makeEntry();
    entry.computeLogPrefix(/*withTime=*/true);
    return isSameText(entry.prefix, getExpectedPrefix());
}

void measureSwitchedOffReport(benchmark::State& state)
{
    ReportArguments shown;
    for (auto _ : state) {
        keep(shown);
        reportSwitchedOff(shown);
    }
}

// Every report brings an entry of its own, whose prefix has no room yet.
void measurePrefix(benchmark::State& state)
{
    qz::qzLog::LogEntry entry = makeEntry();
    for (auto _ : state) {
        entry.prefix = std::string();
        entry.computeLogPrefix(/*withTime=*/true);
        keep(entry);
        entry.timeMs += kLineDistanceMs;
    }
}

const Check kAllocations("a switched-off report allocates", isSwitchedOffReportFreeOfAllocations);
const Check kPrefixCheck("prefix by qz", isPrefixRight);
const Case kSwitchedOff("switched-off report, 5 insertions", "qz", measureSwitchedOffReport);
const Case kPrefix("prefix of a line", "qz", measurePrefix);

}  // namespace

}  // namespace bench
