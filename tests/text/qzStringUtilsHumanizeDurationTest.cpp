// SPDX-License-Identifier: MIT
#include <climits>
#include <locale>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

#include "support/Environment.h"
#include "text/PlainNumbers.h"

namespace qz {

namespace {

constexpr long kSecond = 1000;
constexpr long kMinute = 60 * kSecond;
constexpr long kHour = 60 * kMinute;
constexpr long kDay = 24 * kHour;

std::string humanize(long milliseconds, int detail = 0, bool showMilliseconds = false)
{
    return qzStringUtils::humanizeDuration<long>(milliseconds, detail, showMilliseconds);
}

}  // namespace

struct DurationRow {
    const char* name;
    long milliseconds;
    int detail;
    bool showMilliseconds;
    const char* text;
};

constexpr DurationRow kDurationRows[] = {
    {"Zero", 0, 0, true, "0ms"},
    {"ZeroInDetail1", 0, 1, true, "0ms"},
    {"ZeroInDetail2", 0, 2, true, "0ms"},
    {"MillisecondsHaveNoBracket", 999, 0, true, "999ms"},
    {"OneSecond", kSecond, 0, false, "1s"},
    {"OneSecondHasABracket", kSecond, 0, true, "1s (1000ms)"},
    {"AllUnits", kDay + kHour + kMinute + kSecond + 1, 0, false, "1d 1h 1m 1s 1ms"},
    {"Largest", 23 * kHour + 59 * kMinute + 59 * kSecond + 999, 0, false, "23h 59m 59s 999ms"},
    {"OneDay", kDay, 0, false, "1d"},
    {"DaysAreUnbounded", 12345 * kDay, 0, false, "12345d"},
    {"ZeroBetween", kHour + 5 * kSecond, 0, false, "1h 0m 5s"},
    {"ZerosBetween", kDay + 7, 0, false, "1d 0h 0m 0s 7ms"},
    {"NoZeroBelow", kDay + kHour, 0, false, "1d 1h"},
    {"Example", 3725000, 0, false, "1h 2m 5s"},
    {"ExampleWithMilliseconds", 3725000, 0, true, "1h 2m 5s (3725000ms)"},
    {"ExampleInDetail1", 3725000, 1, false, "1h 2m"},

    {"Detail1OfMilliseconds", 5, 1, false, "5ms"},
    {"Detail1OfSeconds", kSecond + 5, 1, false, "1s 5ms"},
    {"Detail1OfMinutes", kMinute + kSecond + 5, 1, false, "1m 1s"},
    {"Detail1OfHours", kHour + kMinute + kSecond + 5, 1, false, "1h 1m"},
    {"Detail1OfDays", kDay + kHour + kMinute + kSecond + 5, 1, true, "1d 1h 1m (90061005ms)"},
    {"Detail1RaisedPastZeros", kMinute + 5, 1, false, "1m"},

    {"Detail2OfMilliseconds", 999, 2, true, "0ms"},
    {"Detail2OfSeconds", 59000, 2, false, "0ms"},
    {"Detail2OfSecondsIsAllThereIs", 59000, 2, true, "0ms"},
    {"Detail2OfMinutes", kMinute + kSecond + 5, 2, false, "1m"},
    {"Detail2OfMinutesWithMilliseconds", kMinute + 5, 2, true, "1m (60005ms)"},
    {"Detail2OfDays", kDay + kSecond, 2, false, "1d"},

    {"Detail3IsAll", kMinute + 5, 3, false, "1m 0s 5ms"},
    {"NegativeDetailIsAll", kMinute + 5, -1, false, "1m 0s 5ms"},

    {"NegativeUnits", -(kSecond + 500), 0, false, "-1s -500ms"},
    {"NegativeWithMilliseconds", -kSecond, 0, true, "-1s (18446744073709550616ms)"},
    {"Least", LONG_MIN, 0, false, "-106751991167d -7h -12m -55s -808ms"},
    {"Most", LONG_MAX, 0, true, "106751991167d 7h 12m 55s 807ms (9223372036854775807ms)"},
};

class qzStringUtilsHumanizeDuration : public ::testing::TestWithParam<DurationRow> {};

TEST_P(qzStringUtilsHumanizeDuration, ReadsAsItsRow)
{
    const DurationRow& row = GetParam();
    EXPECT_EQ(humanize(row.milliseconds, row.detail, row.showMilliseconds), row.text);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsHumanizeDuration, ::testing::ValuesIn(kDurationRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsHumanizeDurationTest, FollowsNoLocale)
{
    const support::LocaleGuard cLocale("de_DE.UTF-8");
    const std::locale before = std::locale::global(std::locale("de_DE.UTF-8"));
    EXPECT_EQ(humanize(12345 * kDay, 0, true), "12345d (1066608000000ms)");
    std::locale::global(before);
}

TEST(qzStringUtilsHumanizeDurationTest, ReadsAsByThePlainSteps)
{
    constexpr unsigned kSeed = 4;
    std::mt19937_64 random(kSeed);
    const long units[] = {1, kSecond, kMinute, kHour, kDay};
    for (int i = 0; i < 10000; ++i) {
        long value = static_cast<long>(random()) >> random() % 64;
        // Few units at a time, so that zeros stand in all places.
        if (i % 2 == 0) {
            value = units[random() % 5] * static_cast<long>(random() % 70) +
                    units[random() % 5] * static_cast<long>(random() % 2);
        }
        const int detail = static_cast<int>(random() % 4);
        const bool showMilliseconds = random() % 2 == 0;
        EXPECT_EQ(humanize(value, detail, showMilliseconds),
                  PlainNumbers::humanizeDuration(value, detail, showMilliseconds))
            << "seed " << kSeed << ", " << value << ", detail " << detail;
    }
}

}  // namespace qz
