// SPDX-License-Identifier: MIT
#include <qz/qzSystemUtils.h>

#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <climits>
#include <iostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::ChildResult;
using support::LibraryStart;
using support::LocaleGuard;
using support::runInChild;
using support::runProgram;
using support::TimeZoneGuard;
using ::testing::MatchesRegex;

// --- Clocks

TEST(qzSystemUtilsClocks, FollowTheMonotonicClock)
{
    const auto ask = [] {
        timespec now = {};
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<unsigned long>(now.tv_sec * 1000 + now.tv_nsec / 1000000);
    };
    const unsigned long before = ask();
    const unsigned long ms = qzSystemUtils::GetTimeBaseMs();
    const unsigned long sec = qzSystemUtils::GetTimeBaseSec();
    const unsigned long after = ask();
    EXPECT_LE(before, ms);
    EXPECT_LE(ms, after);
    EXPECT_LE(before / 1000, sec);
    EXPECT_LE(sec, after / 1000);
}

TEST(qzSystemUtilsClocks, FollowTheWallClock)
{
    const auto ask = [] {
        timeval now = {};
        ::gettimeofday(&now, nullptr);
        return now.tv_sec * 1000 + now.tv_usec / 1000;
    };
    const long before = ask();
    const long ms = qzSystemUtils::GetMSecElapsedSinceEpoch();
    const long sec = qzSystemUtils::GetSecElapsedSinceEpoch();
    const long after = ask();
    EXPECT_LE(before, ms);
    EXPECT_LE(ms, after);
    EXPECT_LE(before / 1000, sec);
    EXPECT_LE(sec, after / 1000);
}

struct ClockRow {
    const char* name;
    std::vector<std::string> clocks;
    const char* readings;
};

const ClockRow kClockRows[] = {
    {"CutsParts",
     {"12", "345999999", "1700000000", "999999"},
     "12345 12 1700000000999 1700000000 2023-11-14T22:13:20+0000"},
    {"KeepsASecondThatIsNearlyOver",
     {"0", "999999999", "0", "999"},
     "999 0 0 0 1970-01-01T00:00:00+0000"},
    {"GoesBeyond32Bits",
     {"5000000", "1000000", "5000000000", "1000"},
     "5000000001 5000000 5000000000001 5000000000 2128-06-11T08:53:20+0000"},
    {"ReadsZeroWhenTheClocksFail", {}, "0 0 0 0 1970-01-01T00:00:00+0000"},
};

class qzSystemUtilsClockRows : public ::testing::TestWithParam<ClockRow> {};

TEST_P(qzSystemUtilsClockRows, ReadAsTheirRow)
{
    const ChildResult result =
        runProgram({.program = "clock_readings", .arguments = GetParam().clocks});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, GetParam().readings);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzSystemUtilsClockRows, ::testing::ValuesIn(kClockRows),
                         [](const auto& row) { return std::string(row.param.name); });

// --- Identity

TEST(qzSystemUtilsIdentity, IsThatOfTheProcess)
{
    EXPECT_EQ(qzSystemUtils::GetCurrentProcessID(), ::getpid());
    EXPECT_EQ(qzSystemUtils::GetParentProcessID(), ::getppid());
}

TEST(qzSystemUtilsIdentity, IsRightInForkedChildrenOfAnyDepth)
{
    const long parent = qzSystemUtils::GetCurrentProcessID();
    const ChildResult result = runInChild([parent] {
        const bool isChildRight = qzSystemUtils::GetCurrentProcessID() == ::getpid() &&
                                  qzSystemUtils::GetParentProcessID() == parent;
        const ChildResult inner =
            runInChild([] { return qzSystemUtils::GetCurrentProcessID() == ::getpid() ? 42 : 1; });
        return isChildRight && inner.exitCode == 42 ? 42 : 1;
    });
    EXPECT_EQ(result.getEnd(), "exit 42");
    EXPECT_EQ(qzSystemUtils::GetCurrentProcessID(), parent);
}

// In a child of `vfork`, which shares the memory of its parent.
int callInSharingChild()
{
    const pid_t child = ::vfork();
    if (child == 0) {
        qzSystemUtils::GetCurrentProcessID();
        ::_exit(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return status;
}

TEST(qzSystemUtilsIdentity, IsRightInAForkedChildWhoseOwnChildSharesItsMemory)
{
    const ChildResult result = runInChild([] {
        const int status = callInSharingChild();
        std::cout << status << (qzSystemUtils::GetCurrentProcessID() == ::getpid());
        return 0;
    });
    EXPECT_EQ(result.out, "01");
}

TEST(qzSystemUtilsIdentity, IsRightIfTheFirstCallIsMadeInAChildThatSharesTheMemory)
{
    const ChildResult result = runProgram({.program = "shared_identity"});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, "0 right");
}

// --- Time texts

struct TimeTextRow {
    const char* name;
    const char* zone;
    long seconds;
    const char* format;
    bool localTime;
    std::string text;
};

const char* const kIso = "%FT%T%z";
const char* const kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

const TimeTextRow kTimeTextRows[] = {
    {"Epoch", "UTC0", 0, kIso, false, "1970-01-01T00:00:00+0000"},
    {"BeforeTheEpoch", "UTC0", -1, kIso, false, "1969-12-31T23:59:59+0000"},
    {"LeapDay", "UTC0", 1709164800, kIso, false, "2024-02-29T00:00:00+0000"},
    {"Beyond32Bits", "UTC0", 4294967296, kIso, false, "2106-02-07T06:28:16+0000"},
    {"UtcTakesNoNoticeOfTheZone", kCentralEurope, 1782000000, kIso, false,
     "2026-06-21T00:00:00+0000"},
    {"LocalSummer", kCentralEurope, 1782000000, kIso, true, "2026-06-21T02:00:00+0200"},
    {"LocalWinter", kCentralEurope, 1767225600, kIso, true, "2026-01-01T01:00:00+0100"},
    {"HalfAnHour", "IST-5:30", 0, kIso, true, "1970-01-01T05:30:00+0530"},
    {"BehindUtc", "EST5", 0, kIso, true, "1969-12-31T19:00:00-0500"},
    {"LogForm", "UTC0", 1794687476, "%a %b %d %H:%M:%S%z %Y", true,
     "Sat Nov 14 20:17:56+0000 2026"},
    {"ZoneName", kCentralEurope, 0, "%Z", true, "CET"},
    {"NoFormat", "UTC0", 0, "", false, ""},
    {"NullFormat", "UTC0", 0, nullptr, false, ""},
    {"NoTextFromTheFormat", "UTC0", 0, "%n", false, "\n"},
    {"YearOutOfRange", "UTC0", LONG_MAX, kIso, false, ""},
    {"YearOutOfRangeLocally", "UTC0", LONG_MIN, kIso, true, ""},
    {"TheLongestText", "UTC0", 0, "%128S", false, std::string(126, '0') + "00"},
    {"OneByteTooLong", "UTC0", 0, "%129S", false, ""},
    {"NotTextOfTheLocalSet", "UTC0", 0, "\xff", false, ""},
};

class qzSystemUtilsTimeTexts : public ::testing::TestWithParam<TimeTextRow> {};

TEST_P(qzSystemUtilsTimeTexts, ReadAsTheirRow)
{
    const TimeTextRow& row = GetParam();
    const support::EnvironmentLocale environment("C.UTF-8");
    const TimeZoneGuard zone(row.zone);
    const LibraryStart library;
    EXPECT_EQ(
        qzSystemUtils::ConvertSecElapsedSinceEpochToString(row.seconds, row.format, row.localTime),
        row.text);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzSystemUtilsTimeTexts, ::testing::ValuesIn(kTimeTextRows),
                         [](const auto& row) { return std::string(row.param.name); });

struct TimeLocaleRow {
    const char* name;
    const char* locale;
    const char* text;
};

// The name of March 1970 in the locale's own words.
const TimeLocaleRow kTimeLocaleRows[] = {
    {"C", "C", "March"},
    {"GermanLatin1", "de_DE.ISO-8859-1", "M\xc3\xa4rz"},
    {"GermanUtf8", "de_DE.UTF-8", "M\xc3\xa4rz"},
    {"JapaneseEucJp", "ja_JP.EUC-JP", "3\xe6\x9c\x88"},
};

class qzSystemUtilsTimeLocales : public ::testing::TestWithParam<TimeLocaleRow> {};

TEST_P(qzSystemUtilsTimeLocales, GiveUtf8)
{
    const LocaleGuard locale(GetParam().locale);
    const LibraryStart library;
    EXPECT_EQ(qzSystemUtils::ConvertSecElapsedSinceEpochToString(86400 * 60, "%B", false),
              GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzSystemUtilsTimeLocales, ::testing::ValuesIn(kTimeLocaleRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzSystemUtilsTimeText, FollowsTheRulesOfTheZoneInAForkedChild)
{
    const TimeZoneGuard zone(kCentralEurope);
    const LibraryStart library(FullInit);
    qzSystemUtils::ConvertSecElapsedSinceEpochToString(1782000000, kIso, /*localTime=*/true);
    const ChildResult result = runInChild([] {
        for (const long second : {1767225600, 1782000000}) {
            std::cout << qzSystemUtils::ConvertSecElapsedSinceEpochToString(second, "%FT%T%z %Z %j",
                                                                            /*localTime=*/true)
                      << '\n';
        }
        const TimeZoneGuard changed("IST-5:30");
        std::cout << qzSystemUtils::GetCurrentTimeAsString("%z", /*localTime=*/true);
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out,
              "2026-01-01T01:00:00+0100 CET 001\n2026-06-21T02:00:00+0200 CEST 172\n+0530");
}

TEST(qzSystemUtilsTimeText, WorksWithoutAStart)
{
    const TimeZoneGuard zone("UTC0");
    EXPECT_EQ(qzSystemUtils::ConvertSecElapsedSinceEpochToString(0, kIso, true),
              "1970-01-01T00:00:00+0000");
}

TEST(qzSystemUtilsTimeText, GivesThePresentTime)
{
    const LibraryStart library;
    const long before = qzSystemUtils::GetSecElapsedSinceEpoch();
    const std::string text = qzSystemUtils::GetCurrentTimeAsString("%s", /*localTime=*/true);
    const long after = qzSystemUtils::GetSecElapsedSinceEpoch();
    EXPECT_LE(before, std::stol(text));
    EXPECT_LE(std::stol(text), after);
}

TEST(qzSystemUtilsTimeText, GivesThePresentTimeInItsZone)
{
    const LibraryStart library;
    const TimeZoneGuard zone("XYZ-5:30");
    EXPECT_EQ(qzSystemUtils::GetCurrentTimeAsString("%z", /*localTime=*/false), "+0000");
    EXPECT_EQ(qzSystemUtils::GetCurrentTimeAsString("%z", /*localTime=*/true), "+0530");
}

TEST(qzSystemUtilsTimeText, GivesThePresentTimeInIsoForm)
{
    const LibraryStart library;
    const TimeZoneGuard zone("XYZ-5:30");
    const char* form = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[+-][0-9]{4}";
    const std::string utc = qzSystemUtils::GetCurrentDateTimeISO(/*localTime=*/false);
    const std::string local = qzSystemUtils::GetCurrentDateTimeISO(/*localTime=*/true);
    EXPECT_THAT(utc, MatchesRegex(form));
    EXPECT_THAT(local, MatchesRegex(form));
    EXPECT_EQ(utc.substr(19), "+0000");
    EXPECT_EQ(local.substr(19), "+0530");
}

// --- Used memory

TEST(qzSystemUtilsUsedRam, GrowsWithTheMemoryInUse)
{
    constexpr std::size_t kBlockSize = 64 << 20;
    const ChildResult result = runInChild([] {
        const unsigned long before =
            qzSystemUtils::GetUsedRamQuantityInBytes(qzSystemUtils::RamResident);
        const std::vector<char> block(kBlockSize, 'x');
        const unsigned long after =
            qzSystemUtils::GetUsedRamQuantityInBytes(qzSystemUtils::RamResident);
        std::cout << (before > 0) << (after - before > kBlockSize * 9 / 10) << after % 1024
                  << block.back();
        return 0;
    });
    EXPECT_EQ(result.out, "110x");
}

TEST(qzSystemUtilsUsedRam, IsUnknownForReservedMemory)
{
    EXPECT_EQ(qzSystemUtils::GetUsedRamQuantityInBytes(qzSystemUtils::RamReserved), 0U);
}

TEST(qzSystemUtilsUsedRam, IsZeroWhereTheStatusCannotBeOpened)
{
    const support::DescriptorLimit noneLeft(0);
    EXPECT_EQ(qzSystemUtils::GetUsedRamQuantityInBytes(qzSystemUtils::RamResident), 0U);
}

struct StatusRow {
    const char* name;
    const char* metric;
    std::string status;
    const char* bytes;
};

const StatusRow kStatusRows[] = {
    {"AsTheKernelWrites", "0", "Name:\tx\nVmHWM:\t 99 kB\nVmRSS:\t    5132 kB\nVmPin: 7 kB\n",
     "5255168"},
    {"AnyOtherMetric", "7", "VmRSS: 3 kB\n", "3072"},
    {"ReservedIsUnknown", "1", "VmRSS: 3 kB\n", "0"},
    {"NoSuchLine", "0", "Name:\tx\n", "0"},
    {"Empty", "0", "", "0"},
    {"NoDigit", "0", "VmRSS: none\nVmPin: 7 kB\n", "0"},
    {"NameNotAtTheStart", "0", " VmRSS: 3 kB\n", "0"},
    {"TheFirstOfTwo", "0", "VmRSS: 3 kB\nVmRSS: 4 kB\n", "3072"},
    {"Octal", "0", "VmRSS: 010 kB\n", "8192"},
    {"Hexadecimal", "0", "VmRSS: 0x10 kB\n", "16384"},
    {"HexadecimalInCapitals", "0", "VmRSS: 0X1F kB\n", "31744"},
    {"HexadecimalWithoutADigit", "0", "VmRSS: 0x", "0"},
    {"OctalAtTheEnd", "0", "VmRSS: 07", "7168"},
    {"DigitAgainstTheName", "0", "VmRSS:12", "12288"},
    {"SignIsSkipped", "0", "VmRSS: -3 kB\n", "3072"},
    {"TheLargestNumber", "0", "VmRSS: 9223372036854775807 kB\n", "18446744073709550592"},
    {"Beyond63Bits", "0", "VmRSS: 10000000000000000000 kB\n", "18446744073709550592"},
    {"Beyond64Bits", "0", "VmRSS: 99999999999999999999 kB\n", "18446744073709550592"},
    {"HexadecimalBeyond64Bits", "0", "VmRSS: 0x10000000000000000 kB\n", "18446744073709550592"},
    {"LinesArePiecesOf127Bytes", "0", std::string(127, 'x') + "VmRSS: 3 kB\n", "3072"},
};

class qzSystemUtilsStatus : public ::testing::TestWithParam<StatusRow> {};

TEST_P(qzSystemUtilsStatus, IsReadAsItsRow)
{
    const support::ScratchFolder folder;
    const std::string path = folder.write("status", GetParam().status);
    const ChildResult result =
        runProgram({.program = "used_ram", .arguments = {GetParam().metric, path}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzSystemUtilsStatus, ::testing::ValuesIn(kStatusRows),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace qz
