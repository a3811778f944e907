#include <signal.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SignalRun.h"
#include "TestPaths.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::ChildResult;
using support::runProgram;
using support::ScratchFolder;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::Ge;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

struct WatchedRow {
    int number;
    const char* text;
    bool hasTrace = false;
};

// Reported, and left to the action that was there before.
constexpr WatchedRow kPassedOn[] = {
    {SIGABRT, "(SIGABRT 6) Aborted"},
    {SIGPROF, "(SIGPROF 27) Profiling timer expired"},
    {SIGPWR, "(SIGPWR 30) Power failure"},
    {SIGTSTP, "(SIGTSTP 20) Stopped"},
    {SIGTERM, "(SIGTERM 15) Terminated"},
    {SIGTTIN, "(SIGTTIN 21) Stopped (tty input)"},
    {SIGTTOU, "(SIGTTOU 22) Stopped (tty output)"},
    {SIGURG, "(SIGURG 23) Urgent I/O condition"},
    {SIGUSR1, "(SIGUSR1 10) User defined signal 1"},
    {SIGUSR2, "(SIGUSR2 12) User defined signal 2"},
    {SIGVTALRM, "(SIGVTALRM 26) Virtual timer expired"},
    {SIGXCPU, "(SIGXCPU 24) CPU time limit exceeded"},
    {SIGXFSZ, "(SIGXFSZ 25) File size limit exceeded"},
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

std::string getUid()
{
    return std::to_string(::getuid());
}

// What a signal that the process sends itself by "raise" reads like.
std::string makeText(const std::string& signalText)
{
    return "Got signal " + signalText + " (SI_TKILL )" + makeOrigin("SELF", getUid());
}

std::string makeInfo(const std::string& signalText)
{
    return "INFO " + makeText(signalText);
}

std::vector<std::string> makeSteps(const std::string& begin, const WatchedRow& row,
                                   const std::string& end)
{
    return {begin + std::to_string(row.number) + end};
}

void append(std::vector<std::string>& steps, const std::vector<std::string>& more)
{
    steps.insert(steps.end(), more.begin(), more.end());
}

// The address of a fault stands where other signals have their sender.
std::string hideAddress(const std::string& line)
{
    const std::string text =
        std::regex_replace(line, std::regex("from PID [-A-Z0-9]+"), "from PID #");
    return std::regex_replace(text, std::regex("by UID [0-9]+"), "by UID #");
}

const std::string kSyslogInfo = "[syslog 6 qzSystem]";
const std::string kSyslogCritical = "[syslog 2 qzSystem]";

}  // namespace

// --- Signals that are passed on

struct FormRow {
    const char* name;
    const char* shown;  // '#' stands for the signal's number
};

constexpr FormRow kForms[] = {
    {"ignored", ""},
    {"plain", "[plain #]"},
    {"detailed", "[detailed # # context]"},
};

class SignalWatcherOldAction : public ::testing::TestWithParam<FormRow> {};

TEST_P(SignalWatcherOldAction, IsCalledAfterTheReport)
{
    std::vector<std::string> steps;
    std::vector<std::string> expected;
    for (const WatchedRow& row : kPassedOn)
        append(steps, makeSteps("old|", row, std::string("|") + GetParam().name));
    steps.push_back("full");
    for (const WatchedRow& row : kPassedOn) {
        const std::string number = std::to_string(row.number);
        // Twice, since the handler is to stay.
        for (int i = 0; i < 2; ++i) {
            steps.push_back("raise|" + number);
            append(expected, {kSyslogInfo, makeInfo(row.text)});
            const std::string shown = std::regex_replace(GetParam().shown, std::regex("#"), number);
            if (!shown.empty()) expected.push_back(shown);
            expected.push_back("[raised " + number + "]");
        }
    }
    expected.push_back("[end]");
    const SignalRun run = runSignals(steps);
    EXPECT_EQ(run.end, "exit 0");
    EXPECT_EQ(run.lines, expected);
    EXPECT_THAT(run.trace, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Forms, SignalWatcherOldAction, ::testing::ValuesIn(kForms),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(SignalWatcherTest, LeavesTheDefaultActionToEndTheProcess)
{
    for (const WatchedRow& row : kPassedOn) {
        const std::string number = std::to_string(row.number);
        const bool isStop = row.number == SIGTSTP || row.number == SIGTTIN || row.number == SIGTTOU;
        if (isStop || row.number == SIGURG) continue;
        const SignalRun run = runSignals({"full", "raise|" + number});
        EXPECT_EQ(run.end, "signal " + number);
        EXPECT_THAT(run.lines, ElementsAre(kSyslogInfo, makeInfo(row.text)));
    }
}

TEST(SignalWatcherTest, StandsAgainAfterADefaultActionThatDoesNothing)
{
    const SignalRun run = runSignals({"full", "raise|23", "raise|23"});
    const std::string report = makeInfo("(SIGURG 23) Urgent I/O condition");
    EXPECT_EQ(run.end, "exit 0");
    EXPECT_THAT(run.lines, ElementsAre(kSyslogInfo, report, "[raised 23]", kSyslogInfo, report,
                                       "[raised 23]", "[end]"));
}

TEST(SignalWatcherTest, StandsAgainWhenAStoppedProcessGoesOn)
{
    for (const std::string number : {"20", "21", "22"}) {
        const SignalRun run = runSignals({"grouped", "full", "raise|" + number, "raise|" + number});
        EXPECT_THAT(run.lines, ElementsAre(kSyslogInfo, StartsWith("INFO Got signal (SIG"),
                                           "[stopped by " + number + "]", "[raised " + number + "]",
                                           kSyslogInfo, StartsWith("INFO Got signal (SIG"),
                                           "[stopped by " + number + "]", "[raised " + number + "]",
                                           "[end]", "[child ended by exit 0]"))
            << number;
    }
}

TEST(SignalWatcherTest, ReportsASignalFromOutside)
{
    const SignalRun run = runSignals({"full", "kill|15"});
    EXPECT_EQ(run.end, "signal 15");
    EXPECT_THAT(run.lines,
                ElementsAre(kSyslogInfo, "INFO Got signal (SIGTERM 15) Terminated (SI_USER)" +
                                             makeOrigin("SELF", getUid())));
}

TEST(SignalWatcherTest, ReportsAnAbort)
{
    const SignalRun run = runSignals({"full", "abort"});
    EXPECT_EQ(run.end, "signal 6");
    EXPECT_THAT(run.lines, ElementsAre(kSyslogInfo, makeInfo("(SIGABRT 6) Aborted")));
}

TEST(SignalWatcherTest, LeavesOtherSignalsAlone)
{
    const SignalRun run = runSignals({"full", "raise|17", "raise|29"});
    EXPECT_EQ(run.end, "signal 29");
    EXPECT_THAT(run.lines, ElementsAre("[raised 17]"));
}

TEST(SignalWatcherTest, LeavesABrokenPipeToTheWriter)
{
    const SignalRun run = runSignals({"full", "pipe"});
    EXPECT_EQ(run.end, "exit 0");
    EXPECT_THAT(run.lines, ElementsAre("[write -1 EPIPE]", "[end]"));
}

TEST(SignalWatcherTest, WritesItsReportBehindWhatWasQueued)
{
    const ScratchFolder folder;
    const SignalRun run =
        runSignals({"full", "file|" + folder.getPath("app.log"), "say|first", "raise|15"});
    EXPECT_EQ(run.end, "signal 15");
    const std::string text = folder.read("app.log");
    EXPECT_LT(text.find(" : first\n"), text.find(" : Got signal (SIGTERM 15) Terminated"));
    EXPECT_THAT(text, EndsWith("\n"));
    EXPECT_THAT(text, HasSubstr("Got signal (SIGTERM"));
}

TEST(SignalWatcherTest, WritesNumbersAsTheLocaleDoesLikeAllTextsOfTheLog)
{
    const SignalRun run = runSignals({"full", "locale", "catch send|1|1234"});
    EXPECT_THAT(run.lines, Contains(HasSubstr("Hangup (si_code=1_2_3_4), from PID 7_7, PID ")));
}

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
    GTEST_SKIP() << "the sanitizers' own backtrace() comes before the handler";
#endif
    const SignalRun run = runSignals({"full", "catch read"});
    ASSERT_THAT(run.trace, SizeIs(Ge(2U)));
    EXPECT_THAT(run.trace[0], HasSubstr("/libc.so")) << "the way back from a signal handler";
    EXPECT_THAT(run.trace[1], HasSubstr("_ZN6faults4read"));
    EXPECT_THAT(run.trace, Contains(StartsWith("\t /")));
}

TEST(SignalWatcherTest, ReportsTheCodeOfASignal)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP()
        << "the sanitizer holds signals of other processes back, and for ever after a fork";
#endif
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
    sortLines(folder.read("app.log").substr(3), "none", file);
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
    const ScratchFolder folder;
    const SignalRun run =
        runSignals({"full", "file|" + folder.getPath("app.log"), "handler read", "say|first"});
    EXPECT_EQ(run.end, "signal 6");
    SignalRun file;
    sortLines(folder.read("app.log").substr(3), "none", file);
    EXPECT_THAT(file.lines,
                ElementsAre("CRITICAL first", StartsWith("CRITICAL Got signal (SIGSEGV 11)"),
                            StartsWith("CRITICAL Catch an exception : 'std::runtime_error(\"Got"),
                            StartsWith("INFO Got signal (SIGABRT 6)")));
    EXPECT_THAT(run.lines, Contains(StartsWith("[handler")).Times(1)) << "it may hold a mutex";
}

TEST(SignalWatcherTest, EndsAHandlerThatAlwaysCrashesAfterItsFirstCrash)
{
    const ScratchFolder folder;
    const SignalRun run =
        runSignals({"full", "file|" + folder.getPath("app.log"), "always read", "say|first"});
    EXPECT_EQ(run.end, "signal 6");
    SignalRun file;
    sortLines(folder.read("app.log").substr(3), "none", file);
    EXPECT_THAT(file.lines,
                ElementsAre("CRITICAL first", StartsWith("CRITICAL Got signal (SIGSEGV 11)"),
                            StartsWith("CRITICAL Catch an exception : 'std::runtime_error(\"Got"),
                            StartsWith("INFO Got signal (SIGABRT 6)")));
    EXPECT_THAT(run.lines, Contains(StartsWith("[handler")).Times(1));
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

// --- Signals at a bad time

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
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP()
        << "the sanitizer holds signals of other processes back, and for ever after a fork";
#endif
    const std::string count = "100";
    const ChildResult result =
        runProgram({.program = "log_interrupted",
                    .arguments = {"print", GetParam().printer, GetParam().output, count},
                    .timeoutSec = 1200});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "ended " + count + " reported " + count + "\n");
}

INSTANTIATE_TEST_SUITE_P(Rows, SignalWatcherPrinting, ::testing::ValuesIn(kPrintRows),
                         [](const auto& row) {
                             return row.param.printer + std::string("_") + row.param.output;
                         });

class SignalWatcherCalling : public ::testing::TestWithParam<const char*> {};

// The function holds a lock of the C library while the signal is reported.
TEST_P(SignalWatcherCalling, ReportsASignalThatComesInACallOfTheCLibrary)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP()
        << "the sanitizer holds signals of other processes back, and for ever after a fork";
#endif
    const std::string count = "60";
    const ChildResult result = runProgram({.program = "log_interrupted",
                                           .arguments = {"call", GetParam(), count},
                                           .timeoutSec = 1300});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "ended " + count + " reported " + count + "\n");
}

INSTANTIATE_TEST_SUITE_P(Rows, SignalWatcherCalling,
                         ::testing::Values("localtime", "mktime", "setlocale", "syslog"),
                         [](const auto& row) { return std::string(row.param); });

TEST(SignalWatcherTest, ReportsASignalThatComesDuringTheReportOfAnother)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP()
        << "the sanitizer holds signals of other processes back, and for ever after a fork";
#endif
    const ChildResult result = runProgram(
        {.program = "log_interrupted", .arguments = {"twice", "300"}, .timeoutSec = 300});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "all seen\n");
}

TEST(SignalWatcherTest, ReportsSignalsThatComeDuringAForkAfterIt)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP()
        << "the sanitizer holds signals of other processes back, and for ever after a fork";
#endif
    const ChildResult result =
        runProgram({.program = "log_interrupted", .arguments = {"fork", "1000"}, .timeoutSec = 60});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "all forked\n");
}

TEST(SignalWatcherTest, ReportsSignalsOfThreadsThatMakeTheirConverters)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP()
        << "the sanitizer holds signals of other processes back, and for ever after a fork";
#endif
    const ChildResult result = runProgram(
        {.program = "log_interrupted", .arguments = {"convert", "3000"}, .timeoutSec = 60});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "all converted\n");
}

TEST(SignalWatcherTest, ReportsNoSignalThatItsOwnReportCauses)
{
    const ScratchFolder folder;
    const ChildResult result =
        runProgram({.program = "log_interrupted", .arguments = {"large", folder.getPath("a.log")}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "exit 0\n");
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

// --- Start and stop

TEST(SignalWatcherTest, StandsFromTheFullStartToTheStop)
{
    const SignalRun run = runSignals({"state", "light", "state", "full", "state", "stop", "state",
                                      "stop", "state", "full", "state", "stop", "state"});
    EXPECT_THAT(run.lines,
                ElementsAre("[registered 0]", "[registered 0]", "[registered 1]", "[registered 1]",
                            "[registered 0]", "[registered 1]", "[registered 0]", "[end]"));
}

TEST(SignalWatcherTest, DoesNothingOfItsOwnAfterAStop)
{
    for (const std::string number : {"15", "2", "11", "6"}) {
        const SignalRun ended = runSignals({"full", "stop", "raise|" + number});
        EXPECT_EQ(ended.end, "signal " + number);
        EXPECT_THAT(ended.lines, IsEmpty());
        for (const FormRow& form : kForms) {
            const SignalRun run = runSignals({"old|" + number + '|' + form.name, "full", "stop",
                                              "raise|" + number, "raise|" + number});
            const std::string shown = std::regex_replace(form.shown, std::regex("#"), number);
            std::vector<std::string> expected;
            for (int i = 0; i < 2; ++i) {
                if (!shown.empty()) expected.push_back(shown);
                expected.push_back("[raised " + number + "]");
            }
            expected.push_back("[end]");
            EXPECT_EQ(run.lines, expected) << number << ' ' << form.name;
        }
    }
}

TEST(SignalWatcherTest, EndsTheProcessByACrashAfterAStop)
{
    const SignalRun run = runSignals({"full", "stop", "catch read"});
    EXPECT_EQ(run.end, "signal 11");
    EXPECT_THAT(run.lines, IsEmpty());
}

TEST(SignalWatcherTest, StandsAgainAfterADefaultActionBehindAStop)
{
    const SignalRun run = runSignals({"full", "stop", "raise|23", "light", "raise|23"});
    EXPECT_THAT(run.lines,
                ElementsAre("[raised 23]", kSyslogInfo,
                            makeInfo("(SIGURG 23) Urgent I/O condition"), "[raised 23]", "[end]"));
}

TEST(SignalWatcherTest, KeepsTheFirstOldActionAtARestart)
{
    const std::string report = makeInfo("(SIGTERM 15) Terminated");
    const SignalRun called =
        runSignals({"old|15|plain", "full", "stop", "full", "stop", "full", "raise|15"});
    EXPECT_THAT(called.lines,
                ElementsAre(kSyslogInfo, report, "[plain 15]", "[raised 15]", "[end]"));
    const SignalRun ended = runSignals({"full", "stop", "full", "raise|15"});
    EXPECT_EQ(ended.end, "signal 15");
    EXPECT_THAT(ended.lines, ElementsAre(kSyslogInfo, report));
}

TEST(SignalWatcherTest, TakesAnActionOverThatWasSetBetweenStopAndStart)
{
    const SignalRun run =
        runSignals({"full", "stop", "old|15|plain", "full", "raise|15", "stop", "raise|15"});
    EXPECT_THAT(run.lines,
                ElementsAre(kSyslogInfo, makeInfo("(SIGTERM 15) Terminated"), "[plain 15]",
                            "[raised 15]", "[plain 15]", "[raised 15]", "[end]"));
}

// --- Forked children

TEST(SignalWatcherTest, ReportsInAForkedChildToo)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP()
        << "the sanitizer holds signals of other processes back, and for ever after a fork";
#endif
    const SignalRun ended = runSignals({"full", "fork raise|15"});
    EXPECT_THAT(ended.lines, ElementsAre(kSyslogInfo, StartsWith("INFO Got signal (SIGTERM 15)"),
                                         "[child ended by signal 15]", "[end]"));
    const SignalRun guarded = runSignals({"full", "fork guard read"});
    EXPECT_THAT(guarded.lines,
                ElementsAre(kSyslogCritical, StartsWith("CRITICAL Got signal (SIGSEGV 11)"),
                            "[unwound]", kSyslogCritical,
                            StartsWith("CRITICAL Catch an exception : 'std::runtime_error"),
                            "[plain exception]", "[child ended by exit 0]", "[end]"));
    const SignalRun called = runSignals({"old|10|detailed", "full", "fork raise|10"});
    EXPECT_THAT(called.lines, ElementsAre(kSyslogInfo, StartsWith("INFO Got signal (SIGUSR1 10)"),
                                          "[detailed 10 10 context]", "[raised 10]",
                                          "[child ended by exit 0]", "[end]"));
}

// --- The installation

TEST(SignalWatcherTest, InstallsItsHandlersInTheirOrderAtTheFullStart)
{
    const ChildResult result = runProgram({.program = "signal_actions", .arguments = {"start"}});
    std::string expected = "[backtrace]\n";  // which loads a library at its first call
    for (const int signal :
         {6, 7, 8, 1, 4, 2, 13, 27, 30, 3, 11, 20, 31, 15, 5, 21, 22, 23, 10, 12, 26, 24, 25}) {
        expected += '[' + std::to_string(signal) +
                    (signal == SIGPIPE ? " ignored]\n" : " handler SA_SIGINFO SA_NODEFER]\n");
    }
    expected += "[registered 1]\n[created]\n[deleted]\n[stopped]\n";
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, expected);
}

TEST(SignalWatcherTest, GoesOnWhenAHandlerCantBeInstalled)
{
    const ChildResult result =
        runProgram({.program = "signal_actions", .arguments = {"start", "1", "25"}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_THAT(result.out, ::testing::ContainsRegex(
                                "\\[1 handler SA_SIGINFO SA_NODEFER\\]\nCRITICAL PID [^\n]* "
                                ": Failed to register signal 1\n\\[4 handler"));
    EXPECT_THAT(result.out,
                ::testing::ContainsRegex("\\[25 handler SA_SIGINFO SA_NODEFER\\]\nCRITICAL PID "
                                         "[^\n]* : Failed to register signal 25\n\\[registered 1"));
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
    {"write", "unlocked", kAborts},        {"synchronous", "locking", kAborts},
    {"synchronous", "locked", kAborts},    {"synchronous", "waking", kAborts},
    {"synchronous", "waiting", kAborts},   {"synchronous", "woken", kAborts},
    {"synchronous", "unlocking", kAborts}, {"synchronous", "unlocked", kAborts},
    {"flush", "locking", kEither},         {"flush", "locked", kEither},
    {"flush", "waking", kEither},          {"flush", "waiting", kGoesOn},
    {"flush", "woken", kGoesOn},           {"flush", "unlocking", kGoesOn},
    {"flush", "unlocked", kGoesOn},        {"setting", "locking", kEither},
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
        sortLines(result.out, "none", sorted);
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
