// SPDX-License-Identifier: MIT
#include <signal.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SignalRun.h"
#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::ChildResult;
using support::runProgram;
using support::ScratchFolder;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

struct WatchedRow {
    int number;
    const char* text;
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

std::vector<std::string> makeSteps(const std::string& begin, const WatchedRow& row,
                                   const std::string& end)
{
    return {begin + std::to_string(row.number) + end};
}

void append(std::vector<std::string>& steps, const std::vector<std::string>& more)
{
    steps.insert(steps.end(), more.begin(), more.end());
}

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
            const std::string shown = fillIn(GetParam().shown, number);
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
            const std::string shown = fillIn(form.shown, number);
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
    GTEST_SKIP() << "see ThreadSanitizerTest.HoldsSignalsBackInTheForkedChildOfSeveralThreads";
#endif
    const SignalRun ended = runSignals({"full", "fork raise|15"});
    EXPECT_THAT(ended.lines, ElementsAre(kSyslogInfo, StartsWith("INFO Got signal (SIGTERM 15)"),
                                         "[child ended by signal 15]", "[end]"));
    const SignalRun called = runSignals({"old|10|detailed", "full", "fork raise|10"});
    EXPECT_THAT(called.lines, ElementsAre(kSyslogInfo, StartsWith("INFO Got signal (SIGUSR1 10)"),
                                          "[detailed 10 10 context]", "[raised 10]",
                                          "[child ended by exit 0]", "[end]"));
}

TEST(SignalWatcherTest, ThrowsInAForkedChildToo)
{
    const SignalRun guarded = runSignals({"full", "fork guard read"});
    EXPECT_THAT(guarded.lines,
                ElementsAre(kSyslogCritical, StartsWith("CRITICAL Got signal (SIGSEGV 11)"),
                            "[unwound]", kSyslogCritical,
                            StartsWith("CRITICAL Catch an exception : 'std::runtime_error"),
                            "[plain exception]", "[child ended by exit 0]", "[end]"));
}

// --- The installation

TEST(SignalWatcherTest, InstallsItsHandlersInTheirOrderAtTheFullStart)
{
    const ChildResult result = runProgram({.program = "signal_actions", .arguments = {"start"}});
    std::string expected = "[backtrace 1]\n";  // which loads a library at its first call
    for (const int signal :
         {6, 7, 8, 1, 4, 2, 13, 27, 30, 3, 11, 20, 31, 15, 5, 21, 22, 23, 10, 12, 26, 24, 25}) {
        expected += '[' + std::to_string(signal) +
                    (signal == SIGPIPE ? " ignored]\n" : " handler SA_SIGINFO SA_NODEFER]\n");
    }
    expected += "[registered 1]\n[created]\n[deleted]\n[stopped]\n";
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, expected);
}

TEST(SignalWatcherTest, HasATraceOf255FramesAtMost)
{
    const ChildResult result = runProgram({.program = "signal_actions", .arguments = {"trap"}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "[registered 1]\n[backtrace 255]\n[thrown]\n");
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

}  // namespace qz
