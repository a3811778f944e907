// SPDX-License-Identifier: MIT
#include <limits.h>
#include <unistd.h>

#include <clocale>
#include <cstddef>
#include <iostream>
#include <limits>
#include <locale>
#include <string>
#include <tuple>
#include <type_traits>

#include <gtest/gtest.h>

#include <qz/qzLog.h>

#include "log/LogReference.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"

namespace qz {

using support::ChildResult;
using support::EnvironmentLocale;
using support::LibraryStart;
using support::LocaleGuard;
using support::runInChild;
using support::TimeZoneGuard;
using Entry = qzLog::LogEntry;

namespace {

static_assert(offsetof(Entry, message) == 0);
static_assert(offsetof(Entry, subType) == 32);
static_assert(offsetof(Entry, systemLogTag) == 64);
static_assert(offsetof(Entry, prefix) == 96);
static_assert(offsetof(Entry, threadId) == 128);
static_assert(offsetof(Entry, timeMs) == 160);
static_assert(offsetof(Entry, type) == 168);
static_assert(sizeof(Entry) == 176);
static_assert(sizeof(Entry::timeMs) == 8 && std::is_signed_v<decltype(Entry::timeMs)>);
static_assert(std::is_same_v<decltype(Entry::type), int>);

static_assert(qzLog::Dev == 0 && qzLog::Trace == 1 && qzLog::Debug == 2 && qzLog::Info == 3);
static_assert(qzLog::Warning == 4 && qzLog::Critical == 5 && qzLog::Unknown == 6);
static_assert(sizeof(qzLog::EntryType) == 4);

constexpr long kSaturdayMs = 1794687476789;  // Nov 14 2026, 20:17:56 UTC

Entry makeEntry(int type, const std::string& subType = {}, const std::string& threadId = {})
{
    Entry entry;
    entry.type = type;
    entry.subType = subType;
    entry.threadId = threadId;
    entry.timeMs = kSaturdayMs;
    entry.message = "text";
    return entry;
}

std::string makePrefix(Entry entry, bool withTime = true)
{
    entry.computeLogPrefix(withTime);
    return entry.prefix;
}

// The time of an entry, without what stands around it.
std::string makeTime(long timeMs)
{
    Entry entry = makeEntry(qzLog::Info);
    entry.timeMs = timeMs;
    const std::string prefix = makePrefix(entry);
    const std::size_t size = makePrefix(entry, /*withTime=*/false).size() - 2;
    return prefix.substr(size, prefix.size() - size - 3);
}

const std::string& getPid()
{
    static const std::string pid = std::to_string(::getpid());
    return pid;
}

// In a punctuation that nobody overlooks.
class LoudPunctuation : public std::numpunct<char> {
    char do_thousands_sep() const override { return '!'; }
    std::string do_grouping() const override { return "\1"; }
};

}  // namespace

class LogEntryTest : public ::testing::Test {
protected:
    const TimeZoneGuard mZone{"UTC0"};
    const LibraryStart mLibrary;
};

TEST_F(LogEntryTest, BeginsEmptyAndWithoutAType)
{
    const Entry entry;
    EXPECT_EQ(entry.type, 6);
    EXPECT_EQ(entry.timeMs, 0);
    EXPECT_EQ(entry.message + entry.subType + entry.systemLogTag + entry.prefix + entry.threadId,
              "");
}

// --- The pieces of the prefix

struct PrefixRow {
    const char* name;
    Entry entry;
    bool withTime;
    std::string prefix;
};

class LogEntryPrefix : public ::testing::TestWithParam<PrefixRow> {};

TEST_P(LogEntryPrefix, ReadsAsItsRow)
{
    const TimeZoneGuard zone("UTC0");
    const LibraryStart library;
    EXPECT_EQ(makePrefix(GetParam().entry, GetParam().withTime), GetParam().prefix);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LogEntryPrefix,
    ::testing::Values(
        PrefixRow{"Plain", makeEntry(qzLog::Info), true,
                  "INFO PID " + getPid() + " Sat Nov 14 20:17:56+0000 2026 : "},
        PrefixRow{"WithASubType", makeEntry(qzLog::Info, "iodevice"), true,
                  "INFO(iodevice) PID " + getPid() + " Sat Nov 14 20:17:56+0000 2026 : "},
        PrefixRow{"WithAThread", makeEntry(qzLog::Info, "", "4712"), true,
                  "INFO PID " + getPid() + " TID 4712 Sat Nov 14 20:17:56+0000 2026 : "},
        PrefixRow{"WithBoth", makeEntry(qzLog::Info, "iodevice", "4712"), true,
                  "INFO(iodevice) PID " + getPid() + " TID 4712 Sat Nov 14 20:17:56+0000 2026 : "},
        PrefixRow{"WithoutTime", makeEntry(qzLog::Info), false, "INFO PID " + getPid() + " : "},
        PrefixRow{"WithBothButNoTime", makeEntry(qzLog::Info, "iodevice", "4712"), false,
                  "INFO(iodevice) PID " + getPid() + " TID 4712 : "},
        PrefixRow{"SubTypeOfABlank", makeEntry(qzLog::Info, " "), false,
                  "INFO( ) PID " + getPid() + " : "},
        PrefixRow{"SubTypeWithANulAndALineFeed", makeEntry(qzLog::Info, std::string("a\0\n)", 4)),
                  false, std::string("INFO(a\0\n)) PID ", 15) + getPid() + " : "},
        PrefixRow{"FreshEntry", Entry(), true,
                  "UNKNOWN PID " + getPid() + " Thu Jan 01 00:00:00+0000 1970 : "}),
    [](const auto& row) { return std::string(row.param.name); });

struct TypeText {
    const char* name;
    int type;
    const char* text;
};

constexpr TypeText kTypeTexts[] = {
    {"Dev", 0, "DEV"},
    {"Trace", 1, "TRACE"},
    {"Debug", 2, "DEBUG"},
    {"Info", 3, "INFO"},
    {"Warning", 4, "WARNING"},
    {"Critical", 5, "CRITICAL"},
    {"Unknown", 6, "UNKNOWN"},
    {"Above", 7, "UNKNOWN"},
    {"Below", -1, "UNKNOWN"},
    {"ATypeInItsLowByte", 256 + 3, "UNKNOWN"},
    {"Largest", INT_MAX, "UNKNOWN"},
    {"Smallest", INT_MIN, "UNKNOWN"},
};

class LogEntryTypeText : public ::testing::TestWithParam<TypeText> {};

TEST_P(LogEntryTypeText, ReadsAsItsRow)
{
    const LibraryStart library;
    EXPECT_EQ(makePrefix(makeEntry(GetParam().type), /*withTime=*/false),
              GetParam().text + (" PID " + getPid()) + " : ");
}

INSTANTIATE_TEST_SUITE_P(Rows, LogEntryTypeText, ::testing::ValuesIn(kTypeTexts),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(LogEntryTest, ReplacesThePrefixByTheSameOneEachTime)
{
    Entry entry = makeEntry(qzLog::Warning, "perf", "4712");
    entry.prefix = std::string(5000, 'x');
    entry.computeLogPrefix(true);
    const std::string first = entry.prefix;
    EXPECT_EQ(first, reference::makePrefix(entry));
    entry.computeLogPrefix(true);
    EXPECT_EQ(entry.prefix, first);
    entry.computeLogPrefix(false);
    EXPECT_EQ(entry.prefix, reference::makePrefix(entry, /*withTime=*/false));
}

TEST_F(LogEntryTest, LeavesItsOtherFieldsAlone)
{
    Entry entry = makeEntry(qzLog::Debug, "perf", "4712");
    entry.systemLogTag = "tag";
    entry.computeLogPrefix(true);
    EXPECT_EQ(entry.message, "text");
    EXPECT_EQ(entry.subType, "perf");
    EXPECT_EQ(entry.systemLogTag, "tag");
    EXPECT_EQ(entry.threadId, "4712");
    EXPECT_EQ(entry.timeMs, kSaturdayMs);
    EXPECT_EQ(entry.type, qzLog::Debug);
}

TEST_F(LogEntryTest, TakesPiecesOfAMegabyte)
{
    const Entry entry =
        makeEntry(qzLog::Info, std::string(1 << 20, 's'), std::string(1 << 20, 't'));
    EXPECT_EQ(makePrefix(entry), reference::makePrefix(entry));
}

TEST_F(LogEntryTest, WritesTheProcessIdWithoutThePunctuationOfTheGlobalLocale)
{
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new LoudPunctuation));
    const std::string prefix = makePrefix(makeEntry(qzLog::Info), /*withTime=*/false);
    std::locale::global(before);
    EXPECT_EQ(prefix, "INFO PID " + getPid() + " : ");
}

TEST_F(LogEntryTest, NamesTheProcessItIsMadeIn)
{
    const std::string inParent = makePrefix(makeEntry(qzLog::Info), /*withTime=*/false);
    const ChildResult child = runInChild([] {
        const std::string prefix = makePrefix(makeEntry(qzLog::Info), /*withTime=*/false);
        return prefix == "INFO PID " + std::to_string(::getpid()) + " : " ? 42 : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 42");
    EXPECT_EQ(makePrefix(makeEntry(qzLog::Info), /*withTime=*/false), inParent);
}

TEST(LogEntryStateTest, MakesThePrefixWithoutAStart)
{
    const TimeZoneGuard zone("UTC0");
    EXPECT_EQ(makePrefix(makeEntry(qzLog::Info)),
              "INFO PID " + getPid() + " Sat Nov 14 20:17:56+0000 2026 : ");
}

// --- The time in several zones

struct ZoneRow {
    const char* name;
    const char* zone;
    long timeMs;
    const char* text;
};

constexpr ZoneRow kZoneRows[] = {
    {"Epoch", "UTC0", 0, "Thu Jan 01 00:00:00+0000 1970"},
    {"LastMillisecondOfASecond", "UTC0", 1794687476999, "Sat Nov 14 20:17:56+0000 2026"},
    {"FirstMillisecondOfTheNext", "UTC0", 1794687477000, "Sat Nov 14 20:17:57+0000 2026"},
    {"AMillisecondBeforeTheEpoch", "UTC0", -1, "Thu Jan 01 00:00:00+0000 1970"},
    {"ASecondBeforeTheEpoch", "UTC0", -1000, "Wed Dec 31 23:59:59+0000 1969"},
    {"AlmostTwoBeforeTheEpoch", "UTC0", -1999, "Wed Dec 31 23:59:59+0000 1969"},
    {"LastYearOfFourDigits", "UTC0", 253402300799000, "Fri Dec 31 23:59:59+0000 9999"},
    {"FirstYearOfFive", "UTC0", 253402300800000, "Sat Jan 01 00:00:00+0000 10000"},
    {"LatestOfAll", "UTC0", std::numeric_limits<long>::max(), "Sun Aug 17 07:12:55+0000 292278994"},
    {"ParisInWinter", "Europe/Paris", 1774745999000, "Sun Mar 29 01:59:59+0100 2026"},
    {"ParisInSummer", "Europe/Paris", 1774746000000, "Sun Mar 29 03:00:00+0200 2026"},
    {"Kolkata", "Asia/Kolkata", 1794687476000, "Sun Nov 15 01:47:56+0530 2026"},
    {"NewYorkBeforeSummer", "America/New_York", 1772953199000, "Sun Mar 08 01:59:59-0500 2026"},
    {"NewYorkInSummer", "America/New_York", 1772953200000, "Sun Mar 08 03:00:00-0400 2026"},
    {"NewYorkInTheHourBefore", "America/New_York", 1793511000000, "Sun Nov 01 01:30:00-0400 2026"},
    {"NewYorkInTheHourAgain", "America/New_York", 1793514600000, "Sun Nov 01 01:30:00-0500 2026"},
    {"RuleBeforeItsChange", "CET-1CEST,M3.5.0,M10.5.0/3", 1792889999000,
     "Sun Oct 25 02:59:59+0200 2026"},
    {"RuleAfterItsChange", "CET-1CEST,M3.5.0,M10.5.0/3", 1792890000000,
     "Sun Oct 25 02:00:00+0100 2026"},
    {"NameOfDigits", "<-0330>3:30", 1794687476000, "Sat Nov 14 16:47:56-0330 2026"},
};

class LogEntryZone : public ::testing::TestWithParam<ZoneRow> {};

TEST_P(LogEntryZone, GivesTheTimeOfItsRow)
{
    const TimeZoneGuard zone(GetParam().zone);
    const LibraryStart library;
    EXPECT_EQ(makeTime(GetParam().timeMs), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Rows, LogEntryZone, ::testing::ValuesIn(kZoneRows),
                         [](const auto& row) { return std::string(row.param.name); });

// --- The time in several locales. A thread learns the character set of the environment once, so
// each locale has a process of its own.

struct LocaleRow {
    const char* name;
    const char* environment;
    const char* locale;  // for the names of days and months
    const char* text;    // of Mar 14 2027, in UTF-8
};

constexpr LocaleRow kLocaleRows[] = {
    {"C", "C", "C", "Sun Mar 14 12:00:00+0000 2027"},
    {"Utf8", "de_DE.UTF-8", "de_DE.UTF-8", "So M\xC3\xA4r 14 12:00:00+0000 2027"},
    {"Latin1", "de_DE.ISO-8859-1", "de_DE.ISO-8859-1", "So M\xC3\xA4r 14 12:00:00+0000 2027"},
    {"EucJp", "ja_JP.EUC-JP", "ja_JP.EUC-JP", "\xE6\x97\xA5  3\xE6\x9C\x88 14 12:00:00+0000 2027"},
    {"NamesInUtf8TakenForLatin1", "en_US.ISO-8859-1", "de_DE.UTF-8",
     "So M\xC3\x83\xC2\xA4r 14 12:00:00+0000 2027"},
    {"NamesThatAreNoUtf8", "de_DE.UTF-8", "de_DE.ISO-8859-1", ""},
    {"OnlyTheEnvironmentSpeaksGerman", "de_DE.ISO-8859-1", "C", "Sun Mar 14 12:00:00+0000 2027"},
};

class LogEntryLocale : public ::testing::TestWithParam<LocaleRow> {};

TEST_P(LogEntryLocale, GivesTheTimeOfItsRow)
{
    const LocaleRow& row = GetParam();
    const ChildResult child = runInChild([&row] {
        const TimeZoneGuard zone("UTC0");
        const EnvironmentLocale environment(row.environment);
        if (std::setlocale(LC_TIME, row.locale) == nullptr) return 1;
        const LibraryStart library;
        std::cout << makeTime(1805025600000);
        return 0;
    });
    EXPECT_EQ(child.getEnd(), "exit 0");
    EXPECT_EQ(child.out, row.text);
}

INSTANTIATE_TEST_SUITE_P(Rows, LogEntryLocale, ::testing::ValuesIn(kLocaleRows),
                         [](const auto& row) { return std::string(row.param.name); });

// --- Generated entries against the plain form

class LogEntryGenerated
    : public ::testing::TestWithParam<std::tuple<const char*, const char*, unsigned>> {};

// Prints the first prefix that is not that of the plain form; nothing when all are.
int comparePrefixes(const char* locale, const char* zoneName, unsigned seed)
{
    const LocaleGuard guard(locale);
    const TimeZoneGuard zone(zoneName);
    const LibraryStart library;
    reference::Generator generator(seed);
    for (int i = 0; i < 2000; ++i) {
        const Entry entry = generator.makeEntry();
        const bool withTime = generator.toss();
        const std::string made = makePrefix(entry, withTime);
        const std::string expected = reference::makePrefix(entry, withTime);
        if (made == expected) continue;
        std::cout << "entry " << i << ", time " << entry.timeMs << ": " << made << " instead of "
                  << expected;
        return 1;
    }
    return 0;
}

TEST_P(LogEntryGenerated, HasThePrefixOfThePlainForm)
{
    const char* const locale = std::get<0>(GetParam());
    const char* const zone = std::get<1>(GetParam());
    const unsigned seed = std::get<2>(GetParam());
    const ChildResult child = runInChild([&] { return comparePrefixes(locale, zone, seed); });
    EXPECT_EQ(child.getEnd(), "exit 0") << locale << ", " << zone << ", seed " << seed;
    EXPECT_EQ(child.out, "");
}

INSTANTIATE_TEST_SUITE_P(
    Seeds, LogEntryGenerated,
    ::testing::Combine(::testing::Values("C", "de_DE.UTF-8", "de_DE.ISO-8859-1", "ja_JP.EUC-JP"),
                       ::testing::Values("UTC0", "Europe/Paris", "Asia/Kolkata", "America/New_York",
                                         "NZST-12NZDT,M9.5.0,M4.1.0/3"),
                       ::testing::Values(1U, 2U, 3U)));

}  // namespace qz
