// SPDX-License-Identifier: MIT
#include <qz/ext/LogLine.h>

#include <locale.h>

#include <string>

#include <gtest/gtest.h>

#include <qz/ext/Json.h>

#include "TestPaths.h"
#include "support/ChildProcess.h"

namespace qz::ext {

namespace {

std::string describe(const LogLine& line)
{
    std::string time;
    appendTime(time, line);
    return std::string(getTypeName(line.type)) + '|' + std::string(line.subType) + '|' +
           std::to_string(line.processId) + '|' + std::string(line.threadId) + '|' + time + '|' +
           std::string(line.text);
}

struct LineRow {
    const char* name;
    std::string line;
    std::string parsed;  // empty for a line without a prefix
};

const LineRow kLines[] = {
    {"Plain", "INFO PID 4711 Sat Nov 14 20:17:56+0000 2026 : ready",
     "INFO||4711||2026-11-14T20:17:56+00:00|ready"},
    {"AllParts", "DEBUG(io device) PID 1 TID 140388 Thu Dec 31 23:59:59-0330 1970 : a : b ",
     "DEBUG|io device|1|140388|1970-12-31T23:59:59-03:30|a : b "},
    {"NoText",
     "CRITICAL PID 1 Sat Nov 14 20:17:56+0000 2026 : ", "CRITICAL||1||2026-11-14T20:17:56+00:00|"},
    {"UnknownType", "UNKNOWN PID 1 Sat Nov 14 20:17:56+0100 2026 : x",
     "UNKNOWN||1||2026-11-14T20:17:56+01:00|x"},
    {"WithoutTime", "INFO PID 12 : x", "INFO||12|||x"},
    {"TimeThatTheSystemLacks", "INFO PID 12  : x", "INFO||12|||x"},
    {"BracketInTheSubType", "INFO(a) PID 1 (b) PID 2 : x", ""},
    {"MonthOfAnotherLocale", "INFO PID 1 lun. janv. 14 20:17:56+0000 2026 : x", "INFO||1|||x"},
    {"MonthAsANumber", "INFO PID 1 \xE5\x9C\x9F 11\xE6\x9C\x88 14 20:17:56+0900 2026 : x",
     "INFO||1||2026-11-14T20:17:56+09:00|x"},
    {"NoSuchDay", "INFO PID 1 Mon Feb 30 20:17:56+0000 2026 : x", "INFO||1|||x"},
    {"Empty", "", ""},
    {"TypeAlone", "INFO", ""},
    {"TypeInAWord", "INFORMATION PID 1 : x", ""},
    {"NoProcess", "INFO PID x Sat Nov 14 20:17:56+0000 2026 : x", ""},
    {"ProcessBeyondLimits", "INFO PID 99999999999999999999 : x", ""},
    {"OpenBracket", "INFO(a PID 1 : x", ""},
    {"CutInTheTime", "INFO PID 1 Sat Nov 14 20:17:56+0000", ""},
    {"NoOffset", "INFO PID 1 Sat Nov 14 20:17:56 2026 : x", ""},
    {"OffsetBeyondADay", "INFO PID 1 Sat Nov 14 20:17:56+9900 2026 : x", ""},
    {"HourBeyondTheDay", "INFO PID 1 Sat Nov 14 24:00:00+0000 2026 : x", ""},
    {"YearBeyondLimits", "INFO PID 1 Sat Nov 14 20:17:56+0000 99999999 : x", ""},
    {"FarTime", "INFO PID 1 " + std::string(1000, ' ') + ": x", ""},
};

class ExtLogLineTest : public ::testing::TestWithParam<LineRow> {};

TEST_P(ExtLogLineTest, ReadsAsItsRow)
{
    LogLine line;
    const bool isEntry = parseLogLine(GetParam().line, line);
    EXPECT_EQ(isEntry ? describe(line) : "", GetParam().parsed);
}

INSTANTIATE_TEST_SUITE_P(Rows, ExtLogLineTest, ::testing::ValuesIn(kLines),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ExtLogLineTimeTest, TakesTheMonthsOfTheLocaleThatIsSet)
{
    const support::ChildResult result = support::runInChild([] {
        LogLine line;
        ::setenv("LOCPATH", QZ_TEST_LOCPATH, 1);
        if (::setlocale(LC_TIME, "fr_FR.UTF-8") == nullptr) return 2;
        return parseLogLine("INFO PID 1 lun. janv. 14 20:17:56+0000 2026 : x", line) && line.hasTime
                   ? 0
                   : 1;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
}

TEST(ExtLogLineTimeTest, IsThatOfALineMadeByTheLog)
{
    qzLog::LogEntry entry;
    entry.type = qzLog::Warning;
    entry.subType = "orders";
    entry.threadId = "77";
    entry.timeMs = 1'794'687'476'999;
    entry.computeLogPrefix(true);
    LogLine line;
    ASSERT_TRUE(parseLogLine(entry.prefix, line)) << entry.prefix;
    EXPECT_TRUE(line.hasTime);
    EXPECT_FALSE(line.hasFraction);
    EXPECT_EQ(line.timeMs, 1'794'687'476'000);
    EXPECT_EQ(line.type, qzLog::Warning);
    EXPECT_EQ(line.subType, "orders");
    EXPECT_EQ(line.threadId, "77");
}

struct TimeRow {
    const char* name;
    long timeMs;
    long offsetSec;
    const char* text;
};

constexpr TimeRow kTimes[] = {
    {"Epoch", 0, 0, "1970-01-01T00:00:00.000+00:00"},
    {"BeforeTheEpoch", -1, 0, "1969-12-31T23:59:59.999+00:00"},
    {"LeapDay", 951'782'400'007, 3600, "2000-02-29T01:00:00.007+01:00"},
    {"NegativeOffset", 0, -12'600, "1969-12-31T20:30:00.000-03:30"},
    {"FirstYear", -62'167'219'200'000, 0, "0000-01-01T00:00:00.000+00:00"},
    {"LastYear", 253'402'300'799'999, 0, "9999-12-31T23:59:59.999+00:00"},
    {"BeyondByTheOffset", 253'402'300'799'999, 3600, ""},
    {"Largest", 9'223'372'036'854'775'807, 0, ""},
    {"Smallest", -9'223'372'036'854'775'807 - 1, 0, ""},
    {"OffsetOfADay", 0, 86'400, ""},
};

class ExtLogTimeTest : public ::testing::TestWithParam<TimeRow> {};

TEST_P(ExtLogTimeTest, ReadsAsItsRow)
{
    LogLine line;
    line.hasTime = line.hasFraction = true;
    line.timeMs = GetParam().timeMs;
    line.offsetSec = GetParam().offsetSec;
    std::string text;
    appendTime(text, line);
    EXPECT_EQ(text, GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Rows, ExtLogTimeTest, ::testing::ValuesIn(kTimes),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ExtJsonLineTest, HasAFieldForEachPart)
{
    LogLine line;
    line.type = qzLog::Info;
    line.subType = "orders";
    line.processId = 4711;
    line.threadId = "4712";
    line.hasTime = line.hasFraction = true;
    line.timeMs = 250;
    line.text = "ready";
    std::string json;
    appendJsonLine(json, line);
    EXPECT_EQ(json,
              "{\"time\":\"1970-01-01T00:00:00.250+00:00\",\"level\":\"INFO\","
              "\"subType\":\"orders\",\"pid\":4711,\"tid\":\"4712\",\"text\":\"ready\"}\n");
}

TEST(ExtJsonLineTest, LeavesOutWhatIsUnknown)
{
    std::string json;
    appendJsonLine(json, LogLine());
    EXPECT_EQ(json, "{\"level\":\"UNKNOWN\",\"pid\":0,\"text\":\"\"}\n");
}

TEST(ExtJsonLineTest, IsOneLineOfJsonForEachPairOfBytes)
{
    for (int first = 0; first != 256; ++first) {
        for (int second = 0; second != 256; ++second) {
            const std::string text = {static_cast<char>(first), static_cast<char>(second)};
            LogLine line;
            line.subType = line.text = text;
            std::string json;
            appendJsonLine(json, line);
            ASSERT_EQ(json.find('\n'), json.size() - 1);
            const JsonReadResult read = readJson(json);
            ASSERT_TRUE(read.isSuccess()) << first << ' ' << second << ' ' << json;
        }
    }
}

TEST(ExtJsonLineTest, KeepsLineBreaksAndShowsBytesThatAreNotUtf8)
{
    LogLine line;
    line.text = "a\n\t\"\\\x1B\xC3(\xE2\x80\xA8";
    std::string json;
    appendJsonLine(json, line);
    EXPECT_EQ(json,
              "{\"level\":\"UNKNOWN\",\"pid\":0,"
              "\"text\":\"a\\n\\t\\\"\\\\\\u001b\\\\xC3(\\u2028\"}\n");
}

}  // namespace

}  // namespace qz::ext
