// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <locale>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

#include "support/Environment.h"
#include "text/PlainNumbers.h"

namespace qz {

namespace {

constexpr int kSteps[] = {1, 2, 4, 5, 8, 16};
constexpr double kLargest = std::numeric_limits<double>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string round(double value, int step, int extraDecimals, bool showPlus, int maxDecimals)
{
    return qzStringUtils::roundNumber(value, static_cast<unsigned char>(step),
                                      static_cast<char>(extraDecimals), showPlus,
                                      static_cast<unsigned char>(maxDecimals));
}

int getDecimals(int step, int extraDecimals)
{
    constexpr int kExponents[] = {0, 0, 1, 0, 2, 1, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 4};
    return kExponents[step] + extraDecimals;
}

}  // namespace

struct RoundRow {
    const char* name;
    double value;
    int step;
    int extraDecimals;
    bool showPlus;
    int maxDecimals;
    const char* text;
};

constexpr RoundRow kRoundRows[] = {
    {"NaN", kNaN, 2, 0, false, 1, "nan"},
    {"NaNWithPlus", -kNaN, 1, 0, true, 1, "nan"},
    {"Infinity", kInfinity, 2, 0, true, 1, "inf"},
    {"NegativeInfinity", -kInfinity, 1, 0, false, 1, "-inf"},

    {"Step1", 2.6, 1, 0, false, 2, "3"},
    {"Step2", 2.6, 2, 0, false, 2, "2.5"},
    {"Step4", 2.6, 4, 0, false, 2, "2.50"},
    {"Step5", 2.65, 5, 0, false, 2, "2.6"},
    {"Step8", 2.6, 8, 0, false, 2, "2.625"},
    {"Step16", 2.6, 16, 0, false, 2, "2.6250"},
    {"Step1InHundredths", 2.3456, 1, 2, false, 2, "2.35"},
    {"Step2InTenths", 2.33, 2, 1, false, 2, "2.35"},
    {"Step4InTenths", 2.33, 4, 1, false, 2, "2.325"},
    {"Step16InTenths", 2.33, 16, 1, false, 2, "2.33125"},
    {"MostExtraDecimals", 0.5, 1, 16, false, 1, "0.5000000000000000"},
    {"NineteenDecimals", 0.5, 16, 15, false, 1, "0.5000000000000000000"},

    {"Down", 2.37, 4, 0, false, 2, "2.25"},
    {"TieUp", 2.375, 4, 0, false, 2, "2.50"},
    {"TieUpOfHalves", 0.25, 2, 0, false, 1, "0.5"},
    {"NegativeTieAwayFromZero", -0.25, 2, 0, false, 1, "-0.5"},
    {"AboveTheTie", 0.25000000000000006, 2, 0, false, 1, "0.5"},
    {"BelowTheTie", 0.24999999999999997, 2, 0, false, 1, "0.0"},
    {"Carry", 0.99, 2, 0, false, 3, "1.0"},
    {"CarryWithPlus", 1.96, 5, 0, true, 1, "+2.0"},
    {"NegativeCarry", -9.999, 1, 2, false, 2, "-10.00"},
    {"ZerosOnTheLeft", 3.0625, 16, 0, false, 1, "3.0625"},

    {"ZeroHasNoSign", -0.01, 2, 0, false, 1, "0.0"},
    {"ZeroKeepsItsSignWithPlus", -0.01, 2, 0, true, 1, "-0.0"},
    {"PositiveZeroWithPlus", 0.01, 2, 0, true, 1, "+0.0"},
    {"NegativeZeroIsNotNegative", -0.0, 2, 0, false, 1, "0.0"},
    {"NegativeZeroIsNotNegativeWithPlus", -0.0, 2, 0, true, 1, "+0.0"},

    {"NoDecimals", 2.75, 4, 0, false, 0, "2"},
    {"NoDecimalsAfterTheCarry", 2.9, 4, 0, false, 0, "3"},
    {"NoDecimalsOfANegativeFraction", -0.5, 2, 0, false, 0, "-0"},
    {"MoreDecimalsThanMax", 2.5, 16, 0, false, 1, "2.5000"},
    {"FewerDecimalsThanMax", 2.5, 2, 0, false, 255, "2.5"},

    {"WholeHalfUp", 0.5, 1, 0, false, 0, "1"},
    {"WholeNegativeHalfDown", -0.5, 1, 0, true, 0, "-1"},
    {"WholeNegativeHalfDownWithoutPlus", -0.5, 1, 0, false, 0, "-1"},
    {"WholePlus", 0.5, 1, 0, true, 0, "+1"},
    {"WholeZero", -0.4, 1, 0, false, 0, "0"},
    {"WholeZeroWithPlus", -0.4, 1, 0, true, 0, "+0"},
    {"WholeOfStep17", 2.5, 17, 0, false, 3, "3"},
    {"WholeOfStep255", 2.4, 255, 5, false, 3, "2"},
    {"WholeOf17ExtraDecimals", 2.5, 2, 17, false, 3, "3"},
    {"WholeOfNegativeExtraDecimals", 2.5, 2, -1, false, 3, "3"},
    {"WholeOfLeastExtraDecimals", -2.5, 16, -128, false, 3, "-3"},
    {"WholeOfStep0", 2.5, 0, 0, false, 3, "3"},
    {"WholeOfStep3", 2.5, 3, 0, true, 3, "+3"},
    {"WholeOfStep15", -2.5, 15, 0, true, 3, "-3"},
    {"WholeLargest", 0x1p63 - 1024, 1, 0, true, 0, "+9223372036854774784"},
    {"WholeLeast", -0x1p63, 1, 0, false, 0, "-9223372036854775808"},
    {"WholeBeyondInteger", 0x1p63, 1, 0, false, 0, "9223372036854775808"},
    {"WholeBelowInteger", -0x1p64, 1, 0, false, 0, "-18446744073709551616"},
    {"WholeFarBeyondInteger", 1e30, 1, 0, true, 0, "+1000000000000000019884624838656"},
    {"WholeFarBelowInteger", -1e30, 1, 0, true, 0, "-1000000000000000019884624838656"},
    {"WholeLeastWithPlus", -0x1p63, 1, 0, true, 0, "-9223372036854775808"},

    {"LargeWholePart", 2251799813685249.5, 2, 0, false, 1, "2251799813685249.5"},
    {"WithoutFraction", 0x1p63 * 1.5, 2, 0, false, 1, "13835058055282163712.0"},
    {"LastInInteger", 18446744073709549568.0, 4, 0, false, 1, "18446744073709549568.00"},
    {"BeyondInteger", 0x1p64, 4, 0, false, 1, "18446744073709551616.00"},
    {"FarBeyondInteger", -1e22, 2, 0, false, 1, "-10000000000000000000000.0"},
    {"FarBeyondIntegerWithPlus", 1e22, 2, 0, true, 0, "+10000000000000000000000"},
    {"Smallest", 4.9406564584124654e-324, 1, 16, true, 1, "+0.0000000000000000"},
};

class qzStringUtilsRoundNumber : public ::testing::TestWithParam<RoundRow> {};

TEST_P(qzStringUtilsRoundNumber, ReadsAsItsRow)
{
    const RoundRow& row = GetParam();
    EXPECT_EQ(round(row.value, row.step, row.extraDecimals, row.showPlus, row.maxDecimals),
              row.text);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsRoundNumber, ::testing::ValuesIn(kRoundRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsRoundNumberTest, WritesTheLargestNumber)
{
    const std::string text = round(-kLargest, 2, 0, false, 1);
    EXPECT_EQ(text.size(), 312U);
    EXPECT_EQ(text.substr(0, 20), "-1797693134862315708");
    EXPECT_EQ(text.substr(308), "68.0");
}

TEST(qzStringUtilsRoundNumberTest, SurvivesGranulesThatAreNotSupported)
{
    EXPECT_FALSE(round(2.5, 3, 2, false, 2).empty());
    EXPECT_FALSE(round(2.5, 0, 16, true, 2).empty());
    EXPECT_FALSE(round(2.5, 16, 16, false, 2).empty());
}

TEST(qzStringUtilsRoundNumberTest, RoundsToWholeNumbersInStepsWithoutAGranule)
{
    for (int step = 0; step <= 255; ++step) {
        if (std::find(std::begin(kSteps), std::end(kSteps), step) != std::end(kSteps)) continue;
        EXPECT_EQ(round(-7.625, step, 0, false, 3), "-8") << step;
        EXPECT_EQ(round(7.375, step, 0, true, 3), "+7") << step;
    }
}

class GroupedNumbers : public std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
    char do_decimal_point() const override { return ','; }
};

TEST(qzStringUtilsRoundNumberTest, FollowsTheGlobalLocaleInWholeNumbersOnly)
{
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new GroupedNumbers));
    const std::string whole = round(1234567.0, 1, 0, false, 0);
    const std::string plus = round(1234567.0, 1, 0, true, 0);
    const std::string minus = round(-1234567.0, 1, 0, true, 0);
    const std::string decimal = round(1234567.25, 4, 0, false, 1);
    std::locale::global(before);
    EXPECT_EQ(whole, "1.234.567");
    EXPECT_EQ(plus, "+1.234.567");
    EXPECT_EQ(minus, "-1.234.567");
    EXPECT_EQ(decimal, "1234567.25");
}

// --- Against exact arithmetic

namespace {

void expectExact(double value, int step, int extraDecimals, bool showPlus, int maxDecimals)
{
    EXPECT_EQ(round(value, step, extraDecimals, showPlus, maxDecimals),
              PlainNumbers::roundNumberExactly(value, step, extraDecimals, showPlus, maxDecimals))
        << std::hexfloat << value << ", step " << step << ", " << extraDecimals
        << " extra decimals";
}

}  // namespace

TEST(qzStringUtilsRoundNumberTest, IsExactOnAndBesideEveryTie)
{
    for (const int step : kSteps) {
        for (const int extraDecimals : {0, 1, 2, 5}) {
            if (getDecimals(step, extraDecimals) == 0) continue;
            const double granule = 1.0 / step / std::pow(10.0, extraDecimals);
            for (int i = 0; i < 60; ++i) {
                const double tie = (i + 0.5) * granule;
                for (const double value :
                     {std::nextafter(tie, 0.0), tie, std::nextafter(tie, 9e9), -tie}) {
                    expectExact(value, step, extraDecimals, i % 2 == 0, 1);
                }
            }
        }
    }
}

class qzStringUtilsRoundGenerated : public ::testing::TestWithParam<unsigned> {};

TEST_P(qzStringUtilsRoundGenerated, IsExact)
{
    std::mt19937_64 random(GetParam());
    for (int i = 0; i < 1500; ++i) {
        const int step = kSteps[random() % std::size(kSteps)];
        const int extraDecimals = static_cast<int>(random() % 16);
        if (getDecimals(step, extraDecimals) == 0) continue;
        const bool showPlus = random() % 2 == 0;
        const int maxDecimals = static_cast<int>(random() % 3);
        const auto bits = static_cast<double>(static_cast<long>(random()) >> random() % 64);
        const int places = static_cast<int>(random() % 130);
        expectExact(std::ldexp(bits, -places), step, extraDecimals, showPlus, maxDecimals);
        expectExact(bits / 1e6, step, extraDecimals, showPlus, maxDecimals);
        // A few binary places: many of these are ties.
        expectExact(static_cast<double>(random() % 100000) / 64, step, extraDecimals % 4, showPlus,
                    maxDecimals);
    }
}

// Up to four decimals the product with the scale is exact in 64 bits of mantissa.
TEST_P(qzStringUtilsRoundGenerated, AgreesWithExtendedPrecision)
{
    std::mt19937_64 random(GetParam());
    for (int i = 0; i < 3000; ++i) {
        const int step = kSteps[random() % std::size(kSteps)];
        const int n = std::max(1, getDecimals(step, 0)) + static_cast<int>(random() % 4);
        const int extraDecimals = n - getDecimals(step, 0);
        if (n > 4) continue;
        const auto bits = static_cast<double>(static_cast<long>(random()) >> random() % 64);
        const double value = std::ldexp(bits, -static_cast<int>(random() % 80));
        EXPECT_EQ(round(value, step, extraDecimals, false, 1),
                  PlainNumbers::roundNumberExtended(value, step, extraDecimals, false, 1))
            << std::hexfloat << value << ", step " << step << ", " << extraDecimals
            << " extra decimals";
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, qzStringUtilsRoundGenerated, ::testing::Values(1U, 2U, 3U));

TEST(qzStringUtilsRoundNumberTest, GroupsWholeNumbersBeyondAnIntegerAsTheGlobalLocaleDoes)
{
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new GroupedNumbers));
    const std::string within = round(1e18, 1, 0, true, 0);
    const std::string beyond = round(1e19, 1, 0, true, 0);
    std::locale::global(before);
    EXPECT_EQ(within, "+1.000.000.000.000.000.000");
    EXPECT_EQ(beyond, "+10.000.000.000.000.000.000");
}

}  // namespace qz
