// SPDX-License-Identifier: MIT
#include <signal.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SignalRun.h"
#include "TestPaths.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::ChildResult;
using support::runProgram;
using support::ScratchFolder;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// --- Signals at a bad time

namespace {

// Runs the program that interrupts its children or itself.
void expectInterrupted(const std::vector<std::string>& arguments, const std::string& output)
{
    const ChildResult result =
        runProgram({.program = "log_interrupted", .arguments = arguments, .timeoutSec = 500});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, output);
}

}  // namespace

struct PrintRow {
    const char* printer;
    const char* output;
};

constexpr PrintRow kPrintRows[] = {
    {"printf", "file"}, {"printf", "pipe"},   {"printf", "terminal"},     {"cout", "file"},
    {"cout", "pipe"},   {"cout", "terminal"}, {"unsynchronised", "pipe"},
};

class SignalWatcherPrinting : public ::testing::TestWithParam<PrintRow> {};

TEST_P(SignalWatcherPrinting, ReportsASignalThatComesWhileTheApplicationPrints)
{
    expectInterrupted({"print", GetParam().printer, GetParam().output, "100"},
                      "ended 100 reported 100\n");
}

INSTANTIATE_TEST_SUITE_P(Rows, SignalWatcherPrinting, ::testing::ValuesIn(kPrintRows),
                         [](const auto& row) {
                             return row.param.printer + std::string("_") + row.param.output;
                         });

class SignalWatcherCalling : public ::testing::TestWithParam<const char*> {};

// The function holds a lock of the C library while the signal is reported.
TEST_P(SignalWatcherCalling, ReportsASignalThatComesInACallOfTheCLibrary)
{
    expectInterrupted({"call", GetParam(), "60"}, "ended 60 reported 60\n");
}

INSTANTIATE_TEST_SUITE_P(Rows, SignalWatcherCalling,
                         ::testing::Values("localtime", "mktime", "setlocale", "syslog"),
                         [](const auto& row) { return std::string(row.param); });

TEST(SignalWatcherTest, ReportsASignalThatComesDuringTheReportOfAnother)
{
    expectInterrupted({"twice", "300"}, "all seen\n");
}

// Signals that come faster than they are handled would nest until the stack is full.
TEST(SignalWatcherTest, HandlesASignalThatComesInItsHandlerAfterIt)
{
    expectInterrupted({"again", "20000"}, "all seen\n");
}

// The report of the next signal would wait for the allocator, which the interrupted one has locked.
TEST(SignalWatcherTest, NeedsNoMemoryWhileAnotherSignalMayInterruptIt)
{
    const ChildResult result = runProgram({.program = "signal_memory"});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "interruptible calls 0\n");
}

TEST(SignalWatcherTest, ReportsSignalsThatComeDuringAForkAfterIt)
{
    expectInterrupted({"fork", "1000"}, "all forked\n");
}

TEST(SignalWatcherTest, ReportsSignalsOfThreadsThatMakeTheirConverters)
{
    expectInterrupted({"convert", "3000"}, "all converted\n");
}

TEST(SignalWatcherTest, ReportsNoSignalThatItsOwnReportCauses)
{
    const ScratchFolder folder;
    expectInterrupted({"large", folder.getPath("a.log")}, "exit 0\n");
}

TEST(SignalWatcherTest, StaysInMemoryWhenAPluginThatUsedItIsClosed)
{
    const std::string plugin = QZ_TEST_PROGRAMS_DIR "/unload_plugin.so";
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    const std::vector<std::string> signals = {"15", "2"};  // faults are the sanitizer's
#else
    const std::vector<std::string> signals = {"15", "11", "2"};
#endif
    for (const std::string& signal : signals) {
        const ChildResult result =
            runProgram({.program = "unload_host", .arguments = {plugin, signal}});
        EXPECT_EQ(result.getEnd(), "signal " + signal);
        EXPECT_EQ(result.out, "closed\n");
    }
    const ChildResult ignored =
        runProgram({.program = "unload_host", .arguments = {plugin, std::to_string(SIGURG)}});
    EXPECT_EQ(ignored.getEnd(), "exit 0");
    EXPECT_EQ(ignored.out, "closed\nsurvived\n");
}

// --- The lock of the log

struct LockRow {
    const char* call;
    const char* point;
    const char* ends;  // when the signal is thrown
};

// Out of the destructor of a report nothing can be thrown. And the calls of the system are declared
// as ones that never throw: it's up to the compiler's options whether an exception gets through.
constexpr const char* kAborts = "signal 6";
constexpr const char* kGoesOn = "exit 0";
constexpr const char* kEither = "signal 6 or exit 0";

constexpr LockRow kLockRows[] = {
    {"write", "locking", kAborts},         {"write", "locked", kAborts},
    {"write", "waking", kAborts},          {"write", "unlocking", kAborts},
    {"write", "unlocked", kAborts},        {"write", "yielding", kAborts},
    {"write", "yielded", kAborts},         {"write", "blocking", kAborts},
    {"write", "blocked", kAborts},         {"synchronous", "locking", kAborts},
    {"synchronous", "locked", kAborts},    {"synchronous", "waking", kAborts},
    {"synchronous", "waiting", kAborts},   {"synchronous", "woken", kAborts},
    {"synchronous", "unlocking", kAborts}, {"synchronous", "unlocked", kAborts},
    {"flush", "locking", kEither},         {"flush", "locked", kEither},
    {"flush", "waking", kEither},          {"flush", "waiting", kGoesOn},
    {"flush", "woken", kGoesOn},           {"flush", "unlocking", kGoesOn},
    {"flush", "unlocked", kGoesOn},        {"flush", "yielding", kEither},
    {"flush", "yielded", kEither},         {"flush", "blocking", kEither},
    {"flush", "blocked", kEither},         {"setting", "locking", kEither},
    {"setting", "locked", kEither},        {"setting", "waking", kEither},
    {"setting", "waiting", kGoesOn},       {"setting", "woken", kGoesOn},
    {"setting", "unlocking", kGoesOn},     {"setting", "unlocked", kGoesOn},
};

class SignalWatcherLockPoint : public ::testing::TestWithParam<LockRow> {
protected:
    std::vector<std::string> run(int signal)
    {
        const ChildResult result =
            runProgram({.program = "log_lock_signals",
                        .arguments = {GetParam().point, std::to_string(signal), GetParam().call},
                        .timeoutSec = 120});
        mEnd = result.getEnd();
        SignalRun sorted;
        sortLines(result.out, RunIds(), sorted);
        return sorted.lines;
    }
    std::string mEnd;
};

TEST_P(SignalWatcherLockPoint, LetsASignalBeReportedAndPassedOn)
{
    const std::vector<std::string> lines = run(SIGUSR1);
    EXPECT_EQ(mEnd, "exit 0");
    EXPECT_THAT(lines, Contains("[signal]").Times(2)) << "one more comes at the end";
    EXPECT_THAT(lines, Contains(StartsWith("INFO Got signal (SIGUSR1 10)")).Times(2));
    EXPECT_THAT(lines, Contains("[returned]"));
    EXPECT_THAT(lines, Contains("[handler other afte]"));
}

TEST_P(SignalWatcherLockPoint, LetsASignalBeThrown)
{
    const std::vector<std::string> lines = run(SIGINT);
    const bool goesOn = mEnd == kGoesOn;
    EXPECT_THAT(GetParam().ends, HasSubstr(mEnd));
    EXPECT_THAT(lines, Contains(StartsWith("CRITICAL Got signal (SIGINT 2)")));
    EXPECT_THAT(lines, Contains(StartsWith("INFO Got signal (SIGABRT 6)")).Times(goesOn ? 0 : 1));
    EXPECT_THAT(lines, Contains("[thrown]").Times(goesOn ? 1 : 0));
    EXPECT_THAT(lines, Contains("[handler main after]").Times(goesOn ? 1 : 0));
    EXPECT_THAT(lines, Contains("[handler other afte]").Times(goesOn ? 1 : 0));
}

INSTANTIATE_TEST_SUITE_P(Rows, SignalWatcherLockPoint, ::testing::ValuesIn(kLockRows),
                         [](const auto& row) {
                             return row.param.call + std::string("_") + row.param.point;
                         });

}  // namespace qz
