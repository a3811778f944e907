// SPDX-License-Identifier: MIT
#include <climits>
#include <cmath>
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

constexpr int kFew = -1;  // fewer decimals than none

struct Form {
    int significantDigits;
    int maxDecimals;
    bool isBinary;
    bool hasLarge;
    bool hasSmall;
};

template <typename T>
std::string humanize(T value, const Form& form)
{
    return qzStringUtils::humanizeNumberGeneric<T>(value, form.significantDigits, form.maxDecimals,
                                                   form.isBinary, form.hasLarge, form.hasSmall);
}

template <typename T>
void expectPlain(T value, const Form& form)
{
    const std::string plain =
        PlainNumbers::humanizeNumber<T>(value, form.significantDigits, form.maxDecimals,
                                        form.isBinary, form.hasLarge, form.hasSmall);
    EXPECT_EQ(humanize(value, form), plain)
        << std::hexfloat << value << " in " << form.significantDigits << " digits, "
        << form.maxDecimals << " decimals" << (form.isBinary ? ", binary" : "")
        << (form.hasLarge ? ", large" : "") << (form.hasSmall ? ", small" : "");
}

constexpr Form kForms[] = {
    {3, 2, false, true, true},         {3, 2, true, true, true},
    {4, 1, false, true, false},        {1, 0, true, true, false},
    {3, 2, false, false, true},        {6, 6, true, false, true},
    {17, 15, false, false, false},     {30, 25, false, true, true},
    {3, kFew, false, true, true},      {INT_MIN, INT_MIN, false, false, false},
    {INT_MAX, 22, true, false, false},
};

}  // namespace

// --- Rows

struct RealRow {
    const char* name;
    double value;
    Form form;
    const char* text;
};

constexpr Form kDecimal = {3, 2, false, true, true};
constexpr Form kBinary = {3, 2, true, true, true};
constexpr Form kNoPrefix = {3, 2, false, false, false};

constexpr RealRow kRealRows[] = {
    {"Zero", 0.0, kDecimal, "0"},
    {"NegativeZeroIsNotNegative", -0.0, kDecimal, "0"},
    {"One", 1.0, kDecimal, "1"},
    {"ZerosOfDecimalsGo", 1.50, kDecimal, "1.5"},
    {"TensKeepTheirZero", 10.0, kDecimal, "10"},
    {"HundredsKeepTheirZeros", 100.0, kDecimal, "100"},
    {"HalfDownToEven", 2.5, {1, 0, false, false, false}, "2"},
    {"HalfDownToOdd", 3.5, {1, 0, false, false, false}, "3"},
    {"HalfToZero", 0.5, {1, 0, false, false, false}, "0"},
    {"AboveTheHalf", 2.5000001, {1, 0, false, false, false}, "3"},
    {"HalfOfADecimalDown", 0.125, {3, 2, false, false, false}, "0.12"},
    {"HalfOfADecimalDownFromOdd", 0.375, {3, 2, false, false, false}, "0.37"},
    {"NegativeHalfTowardsZero", -2.5, {1, 0, false, false, false}, "-2"},
    {"SignFromTheValue", -0.001, {3, 1, false, false, false}, "-0"},
    {"SignFromTheValueWhole", -0.25, {1, 0, false, false, false}, "-0"},
    {"NoPrefixWithoutLeave", 12345.0, kNoPrefix, "12345"},
    {"NoSmallPrefixWithoutLeave", 0.0015, kNoPrefix, "0"},
    {"RoundingKeepsThePrefix", 999.6, {3, 2, false, true, false}, "1000"},
    {"RoundingKeepsThePrefixOfThousands", 999999.0, {3, 2, false, true, false}, "1000k"},
    {"Milli", 0.0015, {3, 2, false, false, true}, "1.5m"},
    {"SmallLeavesOne", 1.0, {3, 2, false, false, true}, "1"},
    {"JustBelowOne", 0.999, {4, 3, false, false, true}, "999m"},
    {"MaxDecimalsBound", 1.23456, {6, 3, false, false, false}, "1.235"},
    {"DigitsBound", 12.3456, {4, 3, false, false, false}, "12.35"},
    {"NegativePrefix", -1.5e-3, kDecimal, "-1.5m"},

    {"Kilo", 1e3, kDecimal, "1k"},
    {"BelowKilo", 999.0, kDecimal, "999"},
    {"Mega", 1e6, kDecimal, "1M"},
    {"BelowMega", 999e3, kDecimal, "999k"},
    {"Giga", 1e9, kDecimal, "1G"},
    {"BelowGiga", 999e6, kDecimal, "999M"},
    {"Tera", 1e12, kDecimal, "1T"},
    {"BelowTera", 999e9, kDecimal, "999G"},
    {"Peta", 1e15, kDecimal, "1P"},
    {"BelowPeta", 999e12, kDecimal, "999T"},
    {"Exa", 1e18, kDecimal, "1E"},
    {"BelowExa", 999e15, kDecimal, "999P"},
    {"Zetta", 1e21, kDecimal, "1Z"},
    {"BelowZetta", 999e18, kDecimal, "999E"},
    {"Yotta", 1e24, kDecimal, "1Y"},
    {"BelowYotta", 999e21, kDecimal, "999Z"},
    {"FarAbove", 123456e24, kDecimal, "123456Y"},

    {"BinaryKilo", 0x1p10, kBinary, "1k"},
    {"BelowBinaryKilo", 1023.0, kBinary, "1023"},
    {"BinaryMega", 0x1p20, kBinary, "1M"},
    {"BelowBinaryMega", 0x1p20 - 1024, kBinary, "1023k"},
    {"BinaryGiga", 0x1p30, kBinary, "1G"},
    {"BelowBinaryGiga", 0x1p30 - 0x1p20, kBinary, "1023M"},
    {"BinaryTera", 0x1p40, kBinary, "1T"},
    {"BelowBinaryTera", 0x1p40 - 0x1p30, kBinary, "1023G"},
    {"BinaryPeta", 0x1p50, kBinary, "1P"},
    {"BelowBinaryPeta", 0x1p50 - 0x1p40, kBinary, "1023T"},
    {"BinaryExa", 0x1p60, kBinary, "1E"},
    {"BelowBinaryExa", 0x1p60 - 0x1p50, kBinary, "1023P"},
    {"BinaryZetta", 0x1p70, kBinary, "1Z"},
    {"BelowBinaryZetta", 0x1p70 - 0x1p60, kBinary, "1023E"},
    {"BinaryYotta", 0x1p80, kBinary, "1Y"},
    {"BelowBinaryYotta", 0x1p80 - 0x1p70, kBinary, "1023Z"},

    {"DecimalMilli", 1e-3, kDecimal, "1m"},
    {"BelowMilli", 999e-6, kDecimal, "999\xC2\xB5"},
    {"Micro", 1e-6, kDecimal, "1µ"},
    {"BelowMicro", 999e-9, kDecimal, "999n"},
    {"Nano", 1e-9, kDecimal, "1n"},
    {"BelowNano", 999e-12, kDecimal, "999p"},
    {"Pico", 1e-12, kDecimal, "1p"},
    {"BelowPico", 999e-15, kDecimal, "999f"},
    {"Femto", 1e-15, kDecimal, "1f"},
    {"BelowFemto", 999e-18, kDecimal, "999a"},
    {"Atto", 1e-18, kDecimal, "1a"},
    {"BelowAtto", 999e-21, kDecimal, "999z"},
    {"Zepto", 1e-21, kDecimal, "1z"},
    {"BelowZepto", 999e-24, kDecimal, "999y"},
    {"Yocto", 1e-24, kDecimal, "1y"},
    {"BelowYocto", 9.99e-25, kDecimal, "0"},
    {"NegativeBelowYocto", -9.99e-25, kDecimal, "-0"},

    {"BinaryMilli", 0x1p-10, kBinary, "1m"},
    {"BelowBinaryMilli", 0x1p-10 - 0x1p-20, kBinary, "1023\xC2\xB5"},
    {"BinaryMicro", 0x1p-20, kBinary, "1\xC2\xB5"},
    {"BinaryNano", 0x1p-30, kBinary, "1n"},
    {"BinaryPico", 0x1p-40, kBinary, "1p"},
    {"BinaryFemto", 0x1p-50, kBinary, "1f"},
    {"BinaryAtto", 0x1p-60, kBinary, "1a"},
    {"BinaryZepto", 0x1p-70, kBinary, "1z"},
    {"BinaryYocto", 0x1p-80, kBinary, "1y"},
    {"BelowBinaryYocto", 0x1p-81, kBinary, "0"},
};

class qzStringUtilsHumanizeReal : public ::testing::TestWithParam<RealRow> {};

TEST_P(qzStringUtilsHumanizeReal, ReadsAsItsRow)
{
    EXPECT_EQ(humanize(GetParam().value, GetParam().form), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsHumanizeReal, ::testing::ValuesIn(kRealRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsHumanizeNumberTest, WritesSignedIntegers)
{
    EXPECT_EQ(humanize(1536L, {3, 2, false, true, false}), "1.54k");
    EXPECT_EQ(humanize(1536L, {3, 2, true, true, false}), "1.5k");
    EXPECT_EQ(humanize(-2500000L, {2, 1, false, true, false}), "-2.5M");
    EXPECT_EQ(humanize(0L, {3, 2, false, true, true}), "0");
    EXPECT_EQ(humanize(12345L, {3, 2, false, false, false}), "12345");
    EXPECT_EQ(humanize(LONG_MIN, {3, 2, true, true, true}), "-8E");
}

TEST(qzStringUtilsHumanizeNumberTest, WritesUnsignedIntegersWithoutASign)
{
    EXPECT_EQ(humanize(ULONG_MAX, {3, 2, true, true, true}), "16E");
    EXPECT_EQ(humanize(ULONG_MAX - 5, {4, 3, false, true, true}), "18.45E");
}

TEST(qzStringUtilsHumanizeNumberTest, WritesTheExactDigitsOfWhatDoesNotFitInto64Bits)
{
    EXPECT_EQ(humanize(ULONG_MAX, kNoPrefix), "18446744073709551616") << "as a double";
    EXPECT_EQ(humanize(0x1p63, kNoPrefix), "9223372036854775808");
    EXPECT_EQ(humanize(-1e30, kNoPrefix), "-1000000000000000019884624838656");
    EXPECT_EQ(humanize(1e50, {3, 2, false, true, false}), "100000000000000004764729344Y");
    EXPECT_EQ(humanize(std::numeric_limits<double>::max(), kNoPrefix).size(), 309U);
    EXPECT_EQ(humanize(0x1p63 - 1024, kNoPrefix), "9223372036854774784");
}

TEST(qzStringUtilsHumanizeNumberTest, SurvivesSpecialNumbers)
{
    for (const double special :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        for (const Form& form : kForms)
            EXPECT_FALSE(humanize(special, form).empty());
    }
}

TEST(qzStringUtilsHumanizeNumberTest, WritesMoreDecimalsThanADoubleHas)
{
    EXPECT_EQ(humanize(0.1, {400, 55, false, false, false}),
              "0.1000000000000000055511151231257827021181583404541015625");
    expectPlain(1e300, {INT_MAX, 5, false, false, false});
    expectPlain(2.0 / 3, {INT_MAX, 300, false, false, false});
}

TEST(qzStringUtilsHumanizeNumberTest, WritesZeroWithMoreDecimalsThanPowersOfTenFitIntoADouble)
{
    for (const int decimals : {308, 309, 310, 400, INT_MAX}) {
        const Form form = {decimals, decimals, false, false, true};
        EXPECT_EQ(humanize(0.0, form), "0") << decimals;
        EXPECT_EQ(humanize(0L, form), "0") << decimals;
        EXPECT_EQ(humanize(1e-30, form), "0") << decimals;
        EXPECT_EQ(humanize(-1e-30, form), "-0") << decimals;
    }
    expectPlain(0.0, {400, 400, false, false, true});
    expectPlain(-1e-30, {400, 400, false, false, true});
}

TEST(qzStringUtilsHumanizeNumberTest, DoesNotRoundToMoreDecimalsThanPowersOfTenFitIntoADouble)
{
    EXPECT_EQ(humanize(1.5, {400, 400, false, false, false}), "1.5");
    EXPECT_EQ(humanize(-1.5, {INT_MAX, INT_MAX, false, false, false}), "-1.5");
    EXPECT_EQ(humanize(0.1, {INT_MAX, INT_MAX, false, false, false}),
              "0.1000000000000000055511151231257827021181583404541015625");
    EXPECT_EQ(
        humanize(std::numeric_limits<double>::denorm_min(), {INT_MAX, INT_MAX, false, false, false})
            .size(),
        1076U);
}

TEST(qzStringUtilsHumanizeNumberTest, FollowsNoLocale)
{
    const support::LocaleGuard cLocale("de_DE.UTF-8");
    const std::locale before = std::locale::global(std::locale("de_DE.UTF-8"));
    EXPECT_EQ(humanize(1536L, {3, 2, false, true, false}), "1.54k");
    EXPECT_EQ(humanize(1234567L, kNoPrefix), "1234567");
    std::locale::global(before);
}

// --- Against the plain steps

TEST(qzStringUtilsHumanizeNumberTest, WritesAllSmallIntegersAsThePlainSteps)
{
    for (const Form& form : kForms) {
        for (long value = -40; value <= 1100; ++value)
            expectPlain(value, form);
        for (unsigned long value = 9990; value <= 10010; ++value)
            expectPlain(value, form);
    }
}

// log10 of a number right below a power of ten may come out as that of the power.
TEST(qzStringUtilsHumanizeNumberTest, CountsDigitsNextToPowersOfTenAsThePlainSteps)
{
    for (int exponent = -24; exponent <= 300; ++exponent) {
        const double power = std::pow(10.0, exponent);
        double above = power;
        double below = power;
        for (int i = 0; i < 6; ++i) {
            for (const Form& form : kForms) {
                expectPlain(above, form);
                expectPlain(below, form);
            }
            above = std::nextafter(above, 1e308);
            below = std::nextafter(below, 0);
        }
        for (const double distance : {1e-14, 1e-13, 1e-12, 9e-12, 1.1e-11, 1e-10, 1e-6}) {
            expectPlain(power * (1 + distance), kForms[6]);
            expectPlain(power * (1 - distance), kForms[6]);
        }
    }
}

class qzStringUtilsHumanizeGenerated : public ::testing::TestWithParam<unsigned> {};

TEST_P(qzStringUtilsHumanizeGenerated, ReadsAsByThePlainSteps)
{
    std::mt19937_64 random(GetParam());
    for (int i = 0; i < 4000; ++i) {
        const Form form = {static_cast<int>(random() % 20), static_cast<int>(random() % 20),
                           random() % 2 == 0, random() % 2 == 0, random() % 2 == 0};
        const std::uint64_t bits = random();
        const auto whole = static_cast<long>(bits) >> random() % 64;
        expectPlain(whole, form);
        expectPlain(bits >> random() % 64, form);
        // Halves of a last decimal, and anything in 120 binary orders.
        expectPlain(static_cast<double>(whole % 100000) / 1024, form);
        expectPlain(std::ldexp(static_cast<double>(whole), static_cast<int>(random() % 120) - 60),
                    form);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, qzStringUtilsHumanizeGenerated, ::testing::Values(1U, 2U, 3U));

}  // namespace qz
