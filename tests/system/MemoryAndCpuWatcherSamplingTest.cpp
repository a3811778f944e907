// SPDX-License-Identifier: MIT
// What a watcher makes of given clocks, memory and process statistics: the steps and their output
// are described in tests/programs/watcher.cpp.

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ChildProcess.h"

namespace qz {

namespace {

using Steps = std::vector<std::string>;

// 10 s on the wall clock and 1 s on the monotonic one: the first sample has a load of 0.
const Steps kStart = {"wall", "10000", "tick", "1000", "start", "500", "0", "0"};

std::string runSteps(Steps steps, const Steps& more = {})
{
    steps.insert(steps.end(), more.begin(), more.end());
    const support::ChildResult result =
        support::runProgram({.program = "watcher", .arguments = steps, .timeoutSec = 120});
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
    return result.out;
}

// The row of a table with this label, with one blank in place of several.
std::string getRow(const std::string& table, const std::string& label)
{
    const std::size_t begin = table.find("│ " + label + ' ');
    std::string row = table.substr(begin, table.find('\n', begin) - begin);
    row.erase(
        std::unique(row.begin(), row.end(), [](char a, char b) { return a == ' ' && b == ' '; }),
        row.end());
    return row;
}

// The load of one sample that is taken a second after one with a user time of 0.
std::string getLoad(const std::string& statistics)
{
    const std::string out = runSteps(kStart, {"stamp", "first", "tick", "2000", "stat", statistics,
                                              "stamp", "second", "result"});
    const std::string second = out.substr(out.find("\nsecond:") + 1);
    const std::size_t begin = second.find("cpu=");
    return second.substr(begin, second.find('\n') - begin);
}

}  // namespace

// --- Segments and the table ------------------------------------------------------------------

const Steps kTwoSegments = {"wall", "11000", "tick",  "2000", "ram",   "2048",   "ticks",
                            "150",  "stamp", "load",  "wall", "73500", "tick",   "4000",
                            "ram",  "1536",  "ticks", "250",  "stamp", "compute"};

TEST(MemoryAndCpuWatcherSampling, ClosesASegmentWithASampleAndStartsTheNextWithOne)
{
    Steps steps = kTwoSegments;
    steps.emplace_back("result");
    EXPECT_EQ(
        runSteps(kStart, steps),
        "start=10000 ram=5/8388608/1048576/2097152\n"
        "load: 11000 2097152 ram=2/3145728/1048576/2097152 second=0/0 cpu=2/1/0/1\n"
        "compute: 73500 1572864 ram=2/3670016/1572864/2097152 second=0/0 cpu=1/0.5/0.5/0.5\n");
}

TEST(MemoryAndCpuWatcherSampling, DrawsARowForEachSegmentAndTheOverallRow)
{
    Steps steps = kTwoSegments;
    steps.insert(steps.end(), {"wall", "80000", "table"});
    EXPECT_EQ(runSteps(kStart, steps),
              R"(╒═══════════════════════════════════════════════════════════════════════════╕
│                              CPU & RAM usage                              │
╞═════════╤═══════════════════════╤════════════╤════════════════════════════╡
│         │          RAM          │    CPU     │            Time            │
├─────────┼───────┬────────┬──────┼─────┬──────┼─────────────┬──────────────┤
│ Label   │ End   │ Δ      │ Peak │ Avg │ Peak │ Time        │ Δ            │
├─────────┼───────┼────────┼──────┼─────┼──────┼─────────────┼──────────────┤
│ load    │ 2MB   │ -      │ 2MB  │ 50% │ 100% │ 1s          │ +1s          │
├─────────┼───────┼────────┼──────┼─────┼──────┼─────────────┼──────────────┤
│ compute │ 1.5MB │ -512kB │ 2MB  │ 50% │ 50%  │ 1m 3s 500ms │ +1m 2s 500ms │
├─────────┼───────┼────────┼──────┼─────┼──────┼─────────────┼──────────────┤
│ Overall │ -     │ -      │ 2MB  │ -   │ -    │ 1m 10s      │ -            │
└─────────┴───────┴────────┴──────┴─────┴──────┴─────────────┴──────────────┘
)");
}

TEST(MemoryAndCpuWatcherSampling, WritesNumbersWithThreeDigitsAndOneDecimal)
{
    const std::string table =
        runSteps(kStart, {"wall",    "107000", "tick",   "98000",  "ram",    "1234567", "ticks",
                          "12000",   "stamp",  "some",   "wall",   "207500", "tick",    "198000",
                          "ram",     "126500", "ticks",  "135400", "stamp",  "much",    "tick",
                          "1031000", "ticks",  "135500", "stamp",  "little", "table"});
    EXPECT_EQ(getRow(table, "some"),
              "│ some │ 1.2GB │ - │ 1.2GB │ 61.9% │ 124% │ 1m 37s │ +1m 37s │");
    EXPECT_EQ(getRow(table, "much"),
              "│ much │ 124MB │ -1.1GB │ 1.2GB │ 1234% │ 1234% │ 3m 17s 500ms │ +1m 40s 500ms │");
    EXPECT_EQ(getRow(table, "little"),
              "│ little │ 124MB │ 0B │ 124MB │ 0.1% │ 0.1% │ 3m 17s 500ms │ +0ms │");
}

// A load of 0.1225F is 12.25 % as a float, which is rounded down, and above that as a double.
TEST(MemoryAndCpuWatcherSampling, CalculatesThePeakOfTheLoadAsAFloatAndTheAverageAsADouble)
{
    const std::string table = runSteps(
        kStart, {"stamp", "first", "tick", "401000", "ticks", "4900", "stamp", "second", "table"});
    EXPECT_EQ(getRow(table, "second"), "│ second │ 1MB │ 0B │ 1MB │ 12.3% │ 12.2% │ 0ms │ +0ms │");
}

TEST(MemoryAndCpuWatcherSampling, DrawsNothingWithoutSegments)
{
    EXPECT_EQ(runSteps(kStart, {"capture", "1", "table"}), "\n");
}

TEST(MemoryAndCpuWatcherSampling, DrawsZeroesForASegmentWithoutFigures)
{
    const std::string table =
        runSteps({"ram", "9007199254740992", "stat", "", "wall", "10000", "tick", "1000", "start",
                  "500", "0", "0", "stamp", "none", "table"});
    EXPECT_EQ(table, R"(╒═════════════════════════════════════════════════════╕
│                   CPU & RAM usage                   │
╞═════════╤════════════════╤════════════╤═════════════╡
│         │      RAM       │    CPU     │    Time     │
├─────────┼─────┬───┬──────┼─────┬──────┼──────┬──────┤
│ Label   │ End │ Δ │ Peak │ Avg │ Peak │ Time │ Δ    │
├─────────┼─────┼───┼──────┼─────┼──────┼──────┼──────┤
│ none    │ 0B  │ - │ 0B   │ 0%  │ 0%   │ 0ms  │ +0ms │
├─────────┼─────┼───┼──────┼─────┼──────┼──────┼──────┤
│ Overall │ -   │ - │ 0B   │ -   │ -    │ 0ms  │ -    │
└─────────┴─────┴───┴──────┴─────┴──────┴──────┴──────┘
)");
}

TEST(MemoryAndCpuWatcherSampling, CountsASampleThatIsTakenWhileNotWatching)
{
    EXPECT_EQ(runSteps({"capture", "1", "result"}), "start=0 ram=1/1048576/1048576/1048576\n");
}

TEST(MemoryAndCpuWatcherSampling, ReadsTheClockOfEachFigureBeforeIt)
{
    EXPECT_EQ(runSteps(kStart, {"tick", "2000", "readings", "capture", "0"}),
              "wall clock\nmemory\nmonotonic clock\nstatistics\n");
}

TEST(MemoryAndCpuWatcherSampling, CountsAFigureOfZero)
{
    EXPECT_EQ(runSteps(kStart, {"ram", "0", "capture", "0", "result"}),
              "start=10000 ram=2/1048576/0/1048576\n");
}

TEST(MemoryAndCpuWatcherSampling, KeepsTheLastFigureOfASegmentAfterANegativeOne)
{
    const std::string out = runSteps(kStart, {"ram", "2048", "capture", "0", "wall", "10500", "ram",
                                              "9007199254740992", "stamp", "segment", "result"});
    EXPECT_THAT(out, ::testing::HasSubstr("\nsegment: 10500 2097152 ram=2/"));
}

TEST(MemoryAndCpuWatcherSampling, SleepsWithoutALimitWhileNotWatching)
{
    EXPECT_THAT(runSteps({"idle"}), ::testing::EndsWith("no limit\n"));
}

TEST(MemoryAndCpuWatcherSampling, SleepsForItsPeriodWhileWatching)
{
    EXPECT_EQ(runSteps({"period"}), "24\n") << "hours";
}

TEST(MemoryAndCpuWatcherSampling, WakesItsThreadAtAStartButNotAtAStop)
{
    EXPECT_EQ(runSteps({"wakes", "start", "500", "0", "0", "wakes", "stop", "wakes"}), "0\n1\n0\n");
}

TEST(MemoryAndCpuWatcherSampling, IgnoresAStampWhileNotWatching)
{
    EXPECT_EQ(runSteps({"stamp", "early", "result"}), "start=0 ram=0/0\n");
    EXPECT_EQ(runSteps(kStart, {"stop", "stamp", "late", "table", "result"}),
              "\nstart=10000 ram=1/1048576/1048576/1048576\n");
}

TEST(MemoryAndCpuWatcherSampling, KeepsTheOverallFiguresAtASecondStart)
{
    const Steps steps = {"start", "250",  "1",    "9",     "stamp", "dropped", "wall",
                         "20000", "tick", "3000", "ticks", "300",   "ram",     "512",
                         "start", "250",  "1",    "9",     "stamp", "kept",    "result"};
    EXPECT_EQ(runSteps(kStart, steps),
              "start=20000 ram=7/5767168/524288/1048576\n"
              "kept: 20000 524288 ram=2/1048576/524288/524288 second=0/0 cpu=1/1.5/1.5/1.5\n"
              "monitor: 20000 524288 524288 1.5\n"
              "monitor: 20000 524288 524288 0\n");
}

// --- The time series -------------------------------------------------------------------------

TEST(MemoryAndCpuWatcherMonitor, AddsAnEntryWhenMoreThanThePeriodHasPassed)
{
    const std::string out =
        runSteps({"wall",    "10000", "tick",    "1000", "start",   "250",  "2",     "9",    //
                  "wall",    "12000", "ram",     "4096", "capture", "0",                     //
                  "wall",    "12001", "tick",    "2000", "ram",     "2048", "ticks", "100",  //
                  "capture", "0",     "capture", "0",    "result"});
    EXPECT_EQ(out,
              "start=10000 ram=4/9437184/1048576/4194304\n"
              "monitor: 10000 1048576 1048576 0\n"
              "monitor: 12001 4194304 2097152 1\n");
}

TEST(MemoryAndCpuWatcherMonitor, CountsItsLongestPeriodIn64Bits)
{
    // In 32 bits the longest period is 4294966.296 s.
    const std::string out = runSteps({"wall", "4294966297", "start", "250", "4294967295", "9",  //
                                      "wall", "8589932594", "capture", "0", "result"});
    EXPECT_THAT(out, ::testing::EndsWith("monitor: 4294966297 1048576 1048576 0\n"));
}

TEST(MemoryAndCpuWatcherMonitor, StopsGrowingAtItsLimit)
{
    const std::string out = runSteps({"wall",    "1", "start", "250", "1",       "3", "wall",  "2",
                                      "capture", "1", "wall",  "3",   "capture", "1", "wall",  "4",
                                      "capture", "1", "wall",  "5",   "capture", "1", "result"});
    EXPECT_EQ(out,
              "start=1 ram=5/5242880/1048576/1048576\n"
              "monitor: 1 1048576 1048576 0\n"
              "monitor: 2 1048576 1048576 0\n"
              "monitor: 3 1048576 1048576 0\n");
}

TEST(MemoryAndCpuWatcherMonitor, GetsAnEntryFromAStampAtOnce)
{
    const std::string out = runSteps({"wall", "10000", "start", "250", "60", "9", "wall", "10001",
                                      "stamp", "segment", "result"});
    EXPECT_THAT(out, ::testing::EndsWith("monitor: 10000 1048576 1048576 0\n"
                                         "monitor: 10001 1048576 1048576 0\n"));
}

TEST(MemoryAndCpuWatcherMonitor, HasZeroesInAnEntryWithoutFigures)
{
    EXPECT_EQ(runSteps({"ram", "9007199254740992", "stat", "", "wall", "10000", "tick", "1000",
                        "start", "250", "1", "9", "result"}),
              "start=10000 ram=0/0\nmonitor: 10000 0 0 0\n");
}

TEST(MemoryAndCpuWatcherMonitor, IsEmptyWithoutAPeriod)
{
    EXPECT_EQ(runSteps({"wall", "1", "start", "250", "0", "9", "capture", "1", "result"}),
              "start=1 ram=2/2097152/1048576/1048576\n");
}

// --- The load --------------------------------------------------------------------------------

TEST(MemoryAndCpuWatcherLoad, CountsWholeSecondsOfTheUserTime)
{
    EXPECT_EQ(getLoad("1 (x) 3 4 5 6 7 8 9 10 11 12 13 299 15\n"), "cpu=1/2/2/2");
}

// 1.001 s is a little more as a float, and 4.99501 the load in double.
TEST(MemoryAndCpuWatcherLoad, IsOfATimeInFloat)
{
    EXPECT_THAT(runSteps(kStart, {"stamp", "first", "tick", "2001", "ticks", "500", "stamp",
                                  "second", "result"}),
                ::testing::EndsWith("cpu=1/4.995/4.995/4.995\n"));
}

TEST(MemoryAndCpuWatcherLoad, IsReadFromTheLastOf14Fields)
{
    EXPECT_EQ(getLoad("1 (x) 3 4 5 6 7 8 9 10 11 12 13 100"), "cpu=1/1/1/1");
}

TEST(MemoryAndCpuWatcherLoad, IsUnknownWithFewerThan14Fields)
{
    EXPECT_EQ(getLoad("1 (x) 3 4 5 6 7 8 9 10 11 12 13"), "cpu=0/0");
}

TEST(MemoryAndCpuWatcherLoad, IsUnknownIfTheStatisticsAreMissing)
{
    EXPECT_EQ(getLoad(""), "cpu=0/0");
}

TEST(MemoryAndCpuWatcherLoad, IsReadFromAShiftedFieldAfterANameWithABlank)
{
    EXPECT_EQ(getLoad("1 (a b) 3 4 5 6 7 8 9 10 11 12 300 900 15\n"), "cpu=1/3/3/3");
}

TEST(MemoryAndCpuWatcherLoad, CountsAnEmptyFieldBetweenTwoBlanks)
{
    EXPECT_EQ(getLoad("1 (x)  4 5 6 7 8 9 10 11 12 13 100 900 15\n"), "cpu=1/1/1/1");
}

TEST(MemoryAndCpuWatcherLoad, IsZeroIfTheFieldIsNoNumber)
{
    EXPECT_EQ(getLoad("1 (x) 3 4 5 6 7 8 9 10 11 12 13 100x 15\n"), "cpu=1/0/0/0");
}

TEST(MemoryAndCpuWatcherLoad, ReadsTheNumberInAnyBase)
{
    EXPECT_EQ(getLoad("1 (x) 3 4 5 6 7 8 9 10 11 12 13 0x64 15\n"), "cpu=1/1/1/1");
}

TEST(MemoryAndCpuWatcherLoad, ReadsStatisticsOfSeveralBlocks)
{
    const std::string name = '(' + std::string(5000, 'x') + ')';
    EXPECT_EQ(getLoad("1 " + name + " 3 4 5 6 7 8 9 10 11 12 13 100 15\n"), "cpu=1/1/1/1");
}

TEST(MemoryAndCpuWatcherLoad, TakesNothingFromAnEarlierReading)
{
    const std::string out =
        runSteps(kStart, {"tick", "2000", "stat", "1 2 3", "capture", "0", "tick", "3000", "ticks",
                          "200", "capture", "0", "stamp", "segment", "result"});
    // Of two seconds, as the reading in between gave no figure.
    EXPECT_THAT(out, ::testing::EndsWith("cpu=2/1/0/1\n"));
}

TEST(MemoryAndCpuWatcherLoad, IsNotReadUntilTheClockHasMoved)
{
    const std::string out = runSteps(kStart, {"ticks", "500", "capture", "0", "tick", "999",
                                              "capture", "0", "stamp", "segment", "result"});
    EXPECT_THAT(out, ::testing::EndsWith("cpu=1/0/0/0\n"));
}

TEST(MemoryAndCpuWatcherLoad, IsReadWithTheMutexLocked)
{
    const Steps steps = {"mutex", "tick", "2000", "capture", "0", "tick", "3000", "stamp", "end"};
    EXPECT_EQ(runSteps(kStart, steps), "locked\nlocked\n");
}

// --- Reports ---------------------------------------------------------------------------------

TEST(MemoryAndCpuWatcherReports, ReportsEachSegmentWithItsMemory)
{
    EXPECT_EQ(runSteps(kStart, {"debug", "ram", "1536", "stamp", "load", "lines"}),
              "DEBUG(memory) Memory watcher RAM usage: 1.5MB @load\n");
}

TEST(MemoryAndCpuWatcherReports, ReportsNothingWithoutALog)
{
    Steps steps = {"unstarted"};
    steps.insert(steps.end(), kStart.begin(), kStart.end());
    const std::string out = runSteps(steps, {"ram", "9007199254740992", "capture", "0", "ram",
                                             "2048", "stamp", "segment", "result"});
    EXPECT_THAT(out, ::testing::HasSubstr("segment: 10000 2097152 ram=2/"));
    EXPECT_THAT(out, ::testing::Not(::testing::HasSubstr("Memory watcher")));
}

TEST(MemoryAndCpuWatcherReports, ReportsANegativeFigureAndOmitsIt)
{
    const std::string out =
        runSteps(kStart, {"debug", "ram", "9007199254740992", "capture", "0", "result", "lines"});
    EXPECT_EQ(out,
              "start=10000 ram=1/1048576/1048576/1048576\n"
              "DEBUG(perf) Memory watcher got a negative value of RAM usage: "
              "-9223372036854775808\n");
}

}  // namespace qz
