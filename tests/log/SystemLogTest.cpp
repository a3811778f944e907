// SPDX-License-Identifier: MIT
// The system log is seen from a program that stands in for it, with a fixed clock, process and
// thread; log_lines.cpp tells what its steps mean.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TestPaths.h"
#include "support/ChildProcess.h"

namespace qz {

using support::ChildResult;
using support::runProgram;

namespace {

const std::string kOpened = "[openlog null 0 8]\n";  // 8 is LOG_USER
const std::string kRest = " PID 4711 Sat Nov 14 20:17:56+0000 2026 : ";

struct Run {
    std::vector<std::string> steps;
    std::string locale = "C.UTF-8";
    std::string zone = "UTC0";
};

ChildResult runSteps(const Run& run)
{
    return runProgram(
        {.program = "log_lines",
         .arguments = run.steps,
         .environment = {{"LOCPATH", QZ_TEST_LOCPATH}, {"LC_ALL", run.locale}, {"TZ", run.zone}}});
}

// What the steps print, after the opening of the log.
std::string print(std::vector<std::string> steps, const std::string& locale = "C.UTF-8")
{
    steps.insert(steps.begin(), "start");
    const ChildResult result = runSteps({steps, locale});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.substr(0, kOpened.size()), kOpened);
    return result.out.substr(kOpened.size());
}

std::string repeat(const std::string& text, std::size_t count)
{
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

}  // namespace

// --- The connection

TEST(SystemLogTest, IsOpenedOnceForEachLogger)
{
    EXPECT_EQ(runSteps({{"create", "create"}}).out, kOpened);
    EXPECT_EQ(runSteps({{"start", "create", "start", "full"}}).out, kOpened);
    EXPECT_EQ(runSteps({{"create", "destroy", "create"}}).out, kOpened + kOpened);
    EXPECT_EQ(runSteps({{"full", "stop", "start", "stop"}}).out, kOpened + kOpened);
}

// --- The text

TEST(SystemLogTest, GetsATaggedReportAheadOfTheOtherOutlets)
{
    EXPECT_EQ(print({"handler", "report|3|-|tag|text"}),
              "[syslog 6 %s] tag : INFO" + kRest + "text\n" +  //
                  "INFO" + kRest + "text\n" +                  //
                  "[handler 1]\n");
}

TEST(SystemLogTest, GetsTheSubTypeWithThePrefix)
{
    EXPECT_EQ(print({"report|4|iodevice|tag|text"}),
              "[syslog 4 %s] tag : WARNING(iodevice)" + kRest + "text\n" +  //
                  "WARNING(iodevice)" + kRest + "text\n");
}

TEST(SystemLogTest, GetsAReportOfAnEmptyTagWithoutATitle)
{
    EXPECT_EQ(print({"report|3|-||text"}), "[syslog 6 %s] INFO" + kRest + "text\n" +  //
                                               "INFO" + kRest + "text\n");
}

TEST(SystemLogTest, GetsNothingWithoutATag)
{
    const std::string lines =
        print({"level|0", "report|0|a|-|text", "report|1|a|-|text", "report|3|a|-|text",
               "report|4|a|-|text", "report|5|a|-|text", "report|7|a|-|text"});
    EXPECT_THAT(lines, ::testing::Not(::testing::HasSubstr("syslog")));
    EXPECT_THAT(lines, ::testing::HasSubstr("CRITICAL(a)"));
}

TEST(SystemLogTest, GetsNoDebugReport)
{
    EXPECT_EQ(print({"level|0", "report|2|-|tag|text"}),
              "[gettid]\nDEBUG PID 4711 TID 4712 Sat Nov 14 20:17:56+0000 2026 : text\n");
    EXPECT_EQ(print({"merge", "entry|2|tag|prefix : |text|1"}), "");
}

TEST(SystemLogTest, GetsNoReportThatIsOffOrEmpty)
{
    EXPECT_EQ(print({"report|0|-|tag|text", "report|1|-|tag|text", "report|6|-|tag|text",
                     "report|5|-|tag|"}),
              "");
}

TEST(SystemLogTest, TakesPercentSignsAsTheyAre)
{
    EXPECT_EQ(print({"entry|3|100%s|%n|%s%d|0"}), "[syslog 6 %s] 100%s : %n%s%d\n");
}

TEST(SystemLogTest, GetsATextAsFarAsItsFirstNulWhileTheEchoIsWhole)
{
    const ChildResult result = runSteps({{"start", "merge", "nul|3|tag|prefix : |text|rest"}});
    EXPECT_EQ(result.out, kOpened + "tag : prefix : text" + std::string("\0rest\n", 6) +
                              "[syslog 6 %s] tag : prefix : text\n");
}

struct PriorityRow {
    const char* name;
    int type;
    int priority;  // 6 is LOG_INFO, 4 LOG_WARNING, 2 LOG_CRIT
};

constexpr PriorityRow kPriorityRows[] = {
    {"Dev", 0, 6},      {"Trace", 1, 6},   {"Info", 3, 6},  {"Warning", 4, 4},
    {"Critical", 5, 2}, {"Unknown", 6, 6}, {"Above", 7, 6}, {"Below", -1, 6},
};

class SystemLogPriority : public ::testing::TestWithParam<PriorityRow> {};

TEST_P(SystemLogPriority, IsThatOfItsRow)
{
    EXPECT_EQ(print({"entry|" + std::to_string(GetParam().type) + "|tag|prefix : |text|0"}),
              "[syslog " + std::to_string(GetParam().priority) + " %s] tag : prefix : text\n");
}

INSTANTIATE_TEST_SUITE_P(Rows, SystemLogPriority, ::testing::ValuesIn(kPriorityRows),
                         [](const auto& row) { return std::string(row.param.name); });

// --- The cut

TEST(SystemLogTest, GetsALongTextCutAndTheOthersGetItWhole)
{
    const std::string whole = "INFO" + kRest + std::string(20000, 'x');
    EXPECT_EQ(print({"repeat|3|-|tag|x|20000"}),
              "[syslog 6 %s] " + ("tag : " + whole).substr(0, 16384) + '\n' + whole + '\n');
}

TEST(SystemLogTest, GetsATextOfTheLargestSizeWhole)
{
    const std::string start = "INFO" + kRest;
    const std::size_t room = 16384 - start.size();
    const auto getLogged = [](std::size_t size) {
        const std::string printed = print({"repeat|3|-||x|" + std::to_string(size)});
        return printed.substr(0, printed.find('\n'));
    };
    EXPECT_EQ(getLogged(room), "[syslog 6 %s] " + start + std::string(room, 'x'));
    EXPECT_EQ(getLogged(room + 1), "[syslog 6 %s] " + start + std::string(room, 'x'));
    EXPECT_EQ(getLogged(room - 1), "[syslog 6 %s] " + start + std::string(room - 1, 'x'));
}

TEST(SystemLogTest, GetsNothingOfATextWhoseCutSplitsACharacter)
{
    const std::string whole = "INFO" + kRest + repeat("\xC3\xA4", 10000);
    const std::size_t charactersThatFit = (16384 - ("INFO" + kRest).size()) / 2;
    ASSERT_EQ(("INFO" + kRest).size() % 2, 0U) << "then the cut splits none";
    EXPECT_EQ(print({"repeat|3|-|x|\xC3\xA4|10000"}),
              "[syslog 6 %s] x : " + ("INFO" + kRest) + repeat("\xC3\xA4", charactersThatFit - 2) +
                  '\n' + whole + '\n');
    EXPECT_EQ(print({"repeat|3|-|xx|\xC3\xA4|10000"}), "[syslog 6 %s] \n" + whole + '\n')
        << "a text that can't be converted becomes an empty one";
}

// --- The character set

TEST(SystemLogTest, GetsTheLocalCharacterSetWhileTheConsoleKeepsUtf8)
{
    EXPECT_EQ(print({"report|3|-|Z\xC3\xBCge|f\xC3\xBCr"}, "de_DE.ISO-8859-1"),
              "[syslog 6 %s] Z\xFCge : INFO" + kRest + "f\xFCr\n" +  //
                  "INFO" + kRest + "f\xC3\xBCr\n");
}

TEST(SystemLogTest, GetsDaysAndMonthsInTheLocalCharacterSet)
{
    const std::string march = " PID 4711 So M\xC3\xA4r 14 12:00:00+0000 2027 : text\n";
    const std::string marchInLatin1 = " PID 4711 So M\xE4r 14 12:00:00+0000 2027 : text\n";
    EXPECT_EQ(print({"locale", "clock|1805025600000", "report|3|-|tag|text"}, "de_DE.ISO-8859-1"),
              "[syslog 6 %s] tag : INFO" + marchInLatin1 + "INFO" + march);
}

TEST(SystemLogTest, GetsNothingOfATextThatIsNoUtf8)
{
    EXPECT_EQ(print({"report|3|-|tag|\xFF"}), "[syslog 6 %s] \nINFO" + kRest + "\xFF\n");
}

// --- Without a logger

TEST(SystemLogTest, GetsATaggedReportWithoutALoggerWithAnEcho)
{
    const std::string text = "tag : CRITICAL" + kRest + "text\n";
    const ChildResult ahead = runSteps({{"merge", "report|5|-|tag|text"}});
    EXPECT_EQ(ahead.getEnd(), "exit 0");
    EXPECT_EQ(ahead.out, text + "[syslog 2 %s] " + text);
    const ChildResult behind = runSteps({{"full", "stop", "merge", "report|5|-|tag|text"}});
    EXPECT_EQ(behind.out, kOpened + text + "[syslog 2 %s] " + text);
}

TEST(SystemLogTest, GetsNoReportWithoutATagWithoutALogger)
{
    const ChildResult result = runSteps({{"merge", "report|3|sub|-|text"}});
    EXPECT_EQ(result.out, "INFO(sub)" + kRest + "text\n");
}

TEST(SystemLogTest, GetsUtf8AsItIsAheadOfTheStart)
{
    const ChildResult result = runSteps({{"report|3|-|tag|f\xC3\xBCr"}, "de_DE.ISO-8859-1"});
    EXPECT_EQ(result.out, "[syslog 6 %s] tag : INFO" + kRest + "f\xC3\xBCr\n");
    EXPECT_EQ(result.err, "tag : INFO" + kRest + "f\xC3\xBCr\n");
}

TEST(SystemLogTest, EchoesTheCutTextInUtf8WhenItIsTold)
{
    EXPECT_EQ(print({"merge", "entry|3|tag|prefix : |f\xC3\xBCr|1"}, "de_DE.ISO-8859-1"),
              "tag : prefix : f\xC3\xBCr\n[syslog 6 %s] tag : prefix : f\xFCr\n");
    const ChildResult result = runSteps({{"merge", "repeat|3|-|tag|x|20000"}});
    const std::string cut = ("tag : INFO" + kRest + std::string(20000, 'x')).substr(0, 16384);
    EXPECT_EQ(result.out, cut + "\n[syslog 6 %s] " + cut + '\n');
}

// --- Whole lines, and what they cost

TEST(LogLineTest, ReadsInTheLocalTimeOfItsZone)
{
    const ChildResult result = runSteps({.steps = {"start", "level|1", "report|3|iodevice|-|text"},
                                         .zone = "NST3:30NDT,M3.2.0,M11.1.0"});
    EXPECT_EQ(result.out, kOpened +
                              "[gettid]\nINFO(iodevice) PID 4711 TID 4712 Sat Nov 14 "
                              "16:47:56-0330 2026 : text\n");
}

TEST(LogLineTest, ReadsInTheOldZoneAgainAfterALineThatAnotherOneBrokeInto)
{
    const std::string printed = print(
        {"zone|UTC0", "surprise|CET-1", "report|3|-|-|text", "zone|UTC0", "report|3|-|-|text"});
    EXPECT_EQ(printed,
              "INFO PID 4711 Sat Nov 14 21:17:56+0100 2026 : text\nINFO" + kRest + "text\n");
}

TEST(LogLineTest, ReadsAtTheEpochOnAThreadThatNeverShowedATime)
{
    EXPECT_EQ(runSteps({{"clock|0", "report|3|-|-|text"}}).out,
              "INFO PID 4711 Thu Jan 01 00:00:00+0000 1970 : text\n");
}

TEST(LogLineTest, ShowsWhenTheReportBegan)
{
    EXPECT_EQ(print({"begin|3|-|-|text", "clock|1805025600000", "end"}), "INFO" + kRest + "text\n");
}

TEST(LogLineTest, LooksForNoThreadWithoutDebug)
{
    EXPECT_EQ(
        print({"report|0|-|-|off", "report|1|-|-|off", "report|2|-|-|off", "report|5|-|-|text"}),
        "CRITICAL" + kRest + "text\n");
}

TEST(LogLineTest, LooksForNoThreadForAReportThatIsOff)
{
    EXPECT_EQ(print({"level|1", "report|1|-|-|off", "level|0", "level|2", "report|2|-|-|off"}), "");
}

TEST(LogLineTest, LooksForAThreadOnceWhileDebugIsOn)
{
    const std::string rest = " PID 4711 TID 4712 Sat Nov 14 20:17:56+0000 2026 : ";
    EXPECT_EQ(print({"level|1", "report|2|-|-|text", "report|0|-|-|text"}),
              "[gettid]\nDEBUG" + rest + "text\nDEV" + rest + "text\n");
}

TEST(LogLineTest, LooksForNoThreadWithoutALogger)
{
    EXPECT_EQ(runSteps({{"report|2|-|-|text"}}).out, "DEBUG" + kRest + "text\n");
}

}  // namespace qz
