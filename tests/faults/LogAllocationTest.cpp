// SPDX-License-Identifier: MIT
// Reports with each of their allocations failing once.
//
// Where a report is begun or something is inserted, the failure reaches the caller. In the
// destructor it ends the process: a report never throws into the unwinding of its caller.

#include <signal.h>
#include <unistd.h>

#include <cstring>
#include <list>
#include <new>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzThread.h>

#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"

namespace qz {

using support::AllocationFault;
using support::ChildResult;
using ::testing::AnyOf;

namespace {

// A word for what the report is doing, which the child's last words tell.
const char* volatile gPhase = "not begun";

extern "C" void tellPhaseOfAbort(int /*signal*/)
{
    const char* phase = gPhase;
    [[maybe_unused]] const ssize_t written = ::write(1, phase, std::strlen(phase));
}

void countEntries(std::list<qzLog::LogEntry>& batch, void* count)
{
    *static_cast<std::size_t*>(count) += batch.size();
}

struct Road {
    const char* name;
    const char* subType;
    const char* systemLogTag;
    qzLog::EntryType type;
};

void report(const Road& road)
{
    {
        gPhase = "begin";
        qzLogObject log(road.type, /*synchronous=*/false, road.subType, road.systemLogTag);
        gPhase = "insert";
        log << "a text too long for the place in a string " << 2.5 << std::string(90, 'x');
        gPhase = "destroy";
    }
    gPhase = "done";
}

// Exit codes of a child: the failure was never reached, or it was and nobody minded, or it was
// thrown to the caller.
enum Exit : int { NotStruck = 0, Coped = 1, Threw = 2, LostEntry = 3 };

ChildResult reportWithFault(const Road& road, std::size_t number)
{
    return support::runInChild([&road, number]() -> int {
        ::signal(SIGABRT, &tellPhaseOfAbort);
        std::size_t entries = 0;
        const support::LibraryStart library;
        qzLog::msInstance->setLogLevel(LogLevelAll);
        qzLog::msInstance->setEchoToConsole(false);
        qzLog::msInstance->installCustomHandler(&countEntries, &entries);
        // glibc itself ends the process when it can't register the end of a thread's text.
        qzThread::CurrentThreadId();
        const AllocationFault fault(number);
        try {
            report(road);
        } catch (const std::bad_alloc&) {
            return std::strcmp(gPhase, "destroy") != 0 ? Threw : LostEntry;
        }
        if (entries != 1) return LostEntry;
        return fault.hasStruck() ? Coped : NotStruck;
    });
}

class LogAllocation : public ::testing::TestWithParam<Road> {};

TEST_P(LogAllocation, PassesToTheCallerOrEndsTheProcessInTheDestructor)
{
    std::multiset<std::string> ends;
    std::size_t number = 1;
    std::string end;
    while (end != "exit 0" && number < 1000) {
        const ChildResult result = reportWithFault(GetParam(), number++);
        end = result.getEnd() + (result.signal != 0 ? " in " + result.out : "");
        EXPECT_THAT(end, AnyOf("exit 0", "exit 1", "exit 2", "signal 6 in destroy"))
            << "allocation " << number - 1 << ": " << result.err;
        ends.insert(end);
    }
    EXPECT_EQ(ends.count("exit 0"), 1U) << "the report never got through";
    EXPECT_GE(ends.count("exit 2"), 1U) << "no failure reached the caller";
    EXPECT_GE(ends.count("signal 6 in destroy"), 1U) << "no failure met the destructor";
}

constexpr Road kRoads[] = {
    {"Plain", nullptr, nullptr, qzLog::Info},
    {"WithSubType", "a channel with a long name that is allocated", nullptr, qzLog::Info},
    {"ByTheSystemLog", nullptr, "a tag with a long name that is allocated too", qzLog::Warning},
    {"Debug", "channel", nullptr, qzLog::Debug},
};

INSTANTIATE_TEST_SUITE_P(Roads, LogAllocation, ::testing::ValuesIn(kRoads),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(LogAllocationOff, CostsASwitchedOffReportNothing)
{
    const support::LibraryStart library;
    const AllocationFault first(1);
    const support::AllocationCounter counter;
    EXPECT_NO_THROW(logTrace("iodevice", "tag") << "text " << 1 << std::string() << 2.5 << 'c');
    EXPECT_EQ(counter.getCount(), 0U);
}

}  // namespace

}  // namespace qz
