// SPDX-License-Identifier: MIT
#include <signal.h>

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SignalRun.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::ScratchFolder;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::Ge;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

struct WatchedRow {
    int number;
    const char* text;
    bool hasTrace = false;
};

// Reported, and thrown.
constexpr WatchedRow kThrown[] = {
    {SIGBUS, "(SIGBUS 7) Bus error", true},
    {SIGFPE, "(SIGFPE 8) Floating point exception", true},
    {SIGHUP, "(SIGHUP 1) Hangup"},
    {SIGILL, "(SIGILL 4) Illegal instruction", true},
    {SIGINT, "(SIGINT 2) Interrupt"},
    {SIGQUIT, "(SIGQUIT 3) Quit"},
    {SIGSEGV, "(SIGSEGV 11) Segmentation fault", true},
    {SIGSYS, "(SIGSYS 31) Bad system call"},
    {SIGTRAP, "(SIGTRAP 5) Trace/breakpoint trap", true},
};

// Runs a handler of the log that crashes at its entry, on the log thread. It is called once: it may
// still hold a mutex.
void expectOneCrashOfTheHandler(const std::string& handler)
{
    const ScratchFolder folder;
    const SignalRun run =
        runSignals({"full", "file|" + folder.getPath("app.log"), handler, "say|first"});
    EXPECT_EQ(run.end, "signal 6");
    SignalRun file;
    sortLines(folder.read("app.log").substr(3), RunIds(), file);
    EXPECT_THAT(file.lines,
                ElementsAre("CRITICAL first", StartsWith("CRITICAL Got signal (SIGSEGV 11)"),
                            StartsWith("CRITICAL Catch an exception : 'std::runtime_error(\"Got"),
                            StartsWith("INFO Got signal (SIGABRT 6)")));
    EXPECT_THAT(run.lines, Contains(StartsWith("[handler")).Times(1));
}

}  // namespace

// --- Signals that are thrown

TEST(SignalWatcherTest, ThrowsTheReportWithoutItsTrace)
{
    for (const WatchedRow& row : kThrown) {
        const std::string number = std::to_string(row.number);
        const SignalRun run = runSignals(
            {"old|" + number + "|plain", "full", "catch raise|" + number, "catch raise|" + number});
        EXPECT_EQ(run.end, "exit 0");
        const std::string text = makeText(row.text);
        EXPECT_THAT(run.lines,
                    ElementsAre(kSyslogCritical, "CRITICAL " + text, "[unwound]",
                                "EXCEPTION " + text + "]", kSyslogCritical, "CRITICAL " + text,
                                "[unwound]", "EXCEPTION " + text + "]", "[end]"));
        EXPECT_EQ(!run.trace.empty(), row.hasTrace) << row.text;
    }
}

struct FaultRow {
    const char* step;
    const char* text;
};

constexpr FaultRow kFaults[] = {
    {"divide", "(SIGFPE 8) Floating point exception (FPE_INTDIV)"},
    {"read", "(SIGSEGV 11) Segmentation fault (SEGV_MAPERR)"},
    {"write", "(SIGSEGV 11) Segmentation fault (SEGV_ACCERR)"},
    {"wild", "(SIGSEGV 11) Segmentation fault (SI_KERNEL)"},
    {"bus", "(SIGBUS 7) Bus error (BUS_ADRERR)"},
    {"illegal", "(SIGILL 4) Illegal instruction (ILL_ILLOPN)"},
    {"breakpoint", "(SIGTRAP 5) Trace/breakpoint trap (SI_KERNEL)"},
};

class SignalWatcherFault : public ::testing::TestWithParam<FaultRow> {};

TEST_P(SignalWatcherFault, UnwindsToTheGuardWithATrace)
{
    const std::string step = GetParam().step;
    const SignalRun run = runSignals({"full", "guard " + step});
    EXPECT_EQ(run.end, "exit 0");
    const std::string text = std::string("Got signal ") + GetParam().text + makeOrigin("#", "#");
    ASSERT_THAT(run.lines, SizeIs(7));
    EXPECT_EQ(run.lines[0], kSyslogCritical);
    EXPECT_EQ(hideAddress(run.lines[1]), "CRITICAL " + text);
    EXPECT_EQ(run.lines[2], "[unwound]");
    EXPECT_EQ(run.lines[3], kSyslogCritical);
    EXPECT_EQ(hideAddress(run.lines[4]), "CRITICAL Catch an exception : 'std::runtime_error(\"" +
                                             text + "\")' see application and system logs");
    EXPECT_EQ(run.lines[5], "[plain exception]");
    EXPECT_EQ(run.lines[6], "[end]");
    EXPECT_THAT(run.trace, Contains(HasSubstr("_ZN6faults" + std::to_string(step.size()) + step)));
    EXPECT_THAT(run.trace, Contains(HasSubstr("signals(main+")));
}

INSTANTIATE_TEST_SUITE_P(Steps, SignalWatcherFault, ::testing::ValuesIn(kFaults),
                         [](const auto& row) { return std::string(row.param.step); });

TEST(SignalWatcherTest, UnwindsFromACallOfABadAddress)
{
    const SignalRun run = runSignals({"full", "guard call", "guard raise|11"});
    EXPECT_EQ(run.end, "exit 0");
    ASSERT_THAT(run.lines, SizeIs(13));
    EXPECT_EQ(run.lines[2], "[unwound]");
    EXPECT_EQ(run.lines[5], "[plain exception]");
    EXPECT_EQ(run.lines[8], "[unwound]");
    EXPECT_EQ(run.lines[11], "[plain exception]");
    EXPECT_THAT(run.trace, Contains(HasSubstr("signals(main+")).Times(2));
}

TEST(SignalWatcherTest, KeepsTheHandlerOutOfItsTrace)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers' own backtrace() adds their functions at the top";
#endif
    const SignalRun run = runSignals({"full", "catch read"});
    ASSERT_THAT(run.trace, SizeIs(Ge(2U)));
    EXPECT_THAT(run.trace[0], HasSubstr("/libc.so")) << "the way back from a signal handler";
    EXPECT_THAT(run.trace[1], HasSubstr("_ZN6faults4read"));
    EXPECT_THAT(run.trace, Contains(StartsWith("\t /")));
}

TEST(SignalWatcherTest, ReportsTheCodeOfASignal)
{
    const SignalRun run = runSignals({"full", "catch queue|1", "catch timer|1", "catch kill|1",
                                      "catch send|11|2", "catch send|7|3", "catch send|31|-3"});
    const std::string self = makeOrigin("SELF", getUid());
    const std::string other = makeOrigin("77", "88");
    EXPECT_TRUE(run.hasLine("CRITICAL Got signal (SIGHUP 1) Hangup (SI_QUEUE)" + self));
    EXPECT_TRUE(
        run.hasLine("CRITICAL Got signal (SIGHUP 1) Hangup (SI_TIMER)" + makeOrigin("0", "0")));
    EXPECT_TRUE(run.hasLine("CRITICAL Got signal (SIGHUP 1) Hangup (SI_USER)" + self));
    EXPECT_TRUE(
        run.hasLine("CRITICAL Got signal (SIGSEGV 11) Segmentation fault (SEGV_ACCERR)" + other));
    EXPECT_TRUE(run.hasLine("CRITICAL Got signal (SIGBUS 7) Bus error (BUS_OBJERR)" + other));
    EXPECT_TRUE(run.hasLine("CRITICAL Got signal (SIGSYS 31) Bad system call (SI_MESGQ )" + other));
}

TEST(SignalWatcherTest, ThrowsInTheThreadThatTakesTheSignal)
{
    const SignalRun run = runSignals({"full", "other raise|2", "catch timer|2"});
    EXPECT_EQ(run.end, "exit 0");
    ASSERT_THAT(run.lines, SizeIs(9));
    EXPECT_THAT(run.lines[1], AllOf(StartsWith("CRITICAL Got signal (SIGINT 2) Interrupt"),
                                    Not(HasSubstr("TID MAIN"))));
    EXPECT_THAT(run.lines[3], StartsWith("EXCEPTION Got signal (SIGINT 2)"));
    EXPECT_THAT(run.lines[5], HasSubstr("TID MAIN"));
    EXPECT_THAT(run.lines[7], StartsWith("EXCEPTION Got signal (SIGINT 2)"));
}

TEST(SignalWatcherTest, EndsTheProcessWhenNobodyCatches)
{
    const SignalRun run = runSignals({"full", "read"});
    EXPECT_EQ(run.end, "signal 6");
    EXPECT_THAT(run.lines,
                ElementsAre(kSyslogCritical, StartsWith("CRITICAL Got signal (SIGSEGV 11)"),
                            kSyslogInfo, makeInfo("(SIGABRT 6) Aborted")));
}

// --- Threads of the library

TEST(SignalWatcherTest, LeavesTheWholeStoryOfACrashInAThreadInTheLogFile)
{
    const ScratchFolder folder;
    const SignalRun run = runSignals({"full", "file|" + folder.getPath("app.log"), "thread read"});
    EXPECT_EQ(run.end, "signal 6");
    EXPECT_THAT(run.lines, ElementsAre(kSyslogCritical, "[unwound]", kSyslogCritical, kSyslogInfo));
    SignalRun file;
    sortLines(folder.read("app.log").substr(3), RunIds(), file);
    ASSERT_THAT(file.lines, SizeIs(3));
    const std::string text = "Got signal (SIGSEGV 11) Segmentation fault (SEGV_MAPERR), from PID 0";
    EXPECT_THAT(file.lines[0], StartsWith("CRITICAL " + text));
    EXPECT_THAT(file.lines[1], AllOf(StartsWith("CRITICAL Catch an exception : "
                                                "'std::runtime_error(\"" +
                                                text),
                                     EndsWith("\")' see application and system logs")));
    EXPECT_THAT(file.lines[2], StartsWith("INFO Got signal (SIGABRT 6) Aborted (SI_TKILL )"));
    EXPECT_THAT(file.trace, Contains(HasSubstr("_ZN6faults4read")));
}

TEST(SignalWatcherTest, EndsAProcessWithoutAStackWithoutAHang)
{
    EXPECT_EQ(runSignals({"full", "overflow"}).end, "signal 11");
    EXPECT_EQ(runSignals({"full", "guard overflow"}).end, "signal 11");
    EXPECT_EQ(runSignals({"full", "thread overflow"}).end, "signal 11");
}

TEST(SignalWatcherTest, ReportsACrashOfTheLogThreadItself)
{
    expectOneCrashOfTheHandler("handler read");
}

TEST(SignalWatcherTest, EndsAHandlerThatAlwaysCrashesAfterItsFirstCrash)
{
    expectOneCrashOfTheHandler("always read");
}

TEST(SignalWatcherTest, KeepsSignalsFromOutsideOffTheLogThread)
{
    const SignalRun run = runSignals({"full", "mask", "handler mask", "say|x"});
    EXPECT_THAT(run.lines,
                ElementsAre("[blocked]", "CRITICAL x", "[handler x]",
                            "[blocked 1 2 3 10 12 13 15 20 21 22 23 24 25 26 27 30]", "[end]"));
}

TEST(SignalWatcherTest, HandlesASignalThatTheLogsHandlerSendsOnAnotherThread)
{
    const SignalRun run = runSignals({"old|15|plain", "full", "handler kill|15", "say|x", "mask"});
    EXPECT_EQ(run.end, "exit 0");
    EXPECT_THAT(run.lines, ElementsAre("CRITICAL x", "[handler x]", kSyslogInfo,
                                       "INFO Got signal (SIGTERM 15) Terminated (SI_USER)" +
                                           makeOrigin("SELF", getUid()),
                                       "[handler Got signal]", "[plain 15]", "[blocked]", "[end]"));
}

TEST(SignalWatcherTest, GivesAProcessThatTheLogsHandlerForksTheUsualSignals)
{
    const SignalRun run = runSignals({"full", "handler fork mask", "say|x"});
    EXPECT_THAT(run.lines, ElementsAre("CRITICAL x", "[handler x]", "[blocked]",
                                       "[child ended by exit 0]", "[end]"));
}

}  // namespace qz
