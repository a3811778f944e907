// SPDX-License-Identifier: MIT
#include <qz/qzMathUtils.h>

#include <climits>
#include <clocale>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "text/PlainNumbers.h"

namespace qz {

namespace {

// The separator is fetched once a process, so the texts come from a new one: that of a number in
// the one locale, and then in the other.
std::string formatInBoth(const char* firstLocale, const char* secondLocale)
{
    const support::EnvironmentLocale localesOfTheTests("C");
    const support::ChildResult result = support::runProgram(
        {.program = "integer_separator", .arguments = {firstLocale, secondLocale}});
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
    return result.out;
}

}  // namespace

struct SeparatorRow {
    const char* name;
    unsigned long value;
    const char* text;
};

constexpr SeparatorRow kSeparatorRows[] = {
    {"Zero", 0, "0"},
    {"OneDigit", 9, "9"},
    {"TwoDigits", 10, "10"},
    {"ThreeDigits", 999, "999"},
    {"FourDigits", 1000, "1,000"},
    {"FiveDigits", 12345, "12,345"},
    {"SixDigits", 999999, "999,999"},
    {"SevenDigits", 1234567, "1,234,567"},
    {"ZerosInGroups", 1000000000001UL, "1,000,000,000,001"},
    {"Largest", ULONG_MAX, "18,446,744,073,709,551,615"},
};

class qzMathUtilsSeparator : public ::testing::TestWithParam<SeparatorRow> {};

TEST_P(qzMathUtilsSeparator, GroupsAsItsRow)
{
    EXPECT_EQ(qzMathUtils::FormatIntegerSeparator(GetParam().value), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzMathUtilsSeparator, ::testing::ValuesIn(kSeparatorRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzMathUtilsTest, GroupsGeneratedNumbersAsThePlainSteps)
{
    constexpr unsigned kSeed = 7;
    std::mt19937_64 random(kSeed);
    for (int i = 0; i < 10000; ++i) {
        const unsigned long value = random() >> random() % 64;
        EXPECT_EQ(qzMathUtils::FormatIntegerSeparator(value),
                  PlainNumbers::formatWithSeparator(value, ','))
            << "seed " << kSeed;
    }
}

TEST(qzMathUtilsTest, KeepsTheCommaOfALocaleWithoutSeparator)
{
    EXPECT_EQ(formatInBoth("C", "de_DE.UTF-8"), "1,234,567 1,234,567");
}

TEST(qzMathUtilsTest, KeepsTheSeparatorOfTheFirstLocale)
{
    EXPECT_EQ(formatInBoth("de_DE.UTF-8", "C"), "1.234.567 1.234.567");
}

TEST(qzMathUtilsTest, TakesTheFirstByteOfALongSeparator)
{
    EXPECT_EQ(formatInBoth("fr_FR.UTF-8", "C"),
              "1\xE2"
              "234\xE2"
              "567 1\xE2"
              "234\xE2"
              "567");
}

}  // namespace qz
