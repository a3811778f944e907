// SPDX-License-Identifier: MIT
#include <climits>
#include <iomanip>
#include <locale>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

#include "support/Environment.h"
#include "text/PlainText.h"

namespace qz {

using namespace std::string_literals;

// --- Boolean words

struct BoolRow {
    const char* name;
    std::string text;
    bool isWord;
    bool value;
};

class qzStringUtilsParseBool : public ::testing::TestWithParam<BoolRow> {};

TEST_P(qzStringUtilsParseBool, ReadsAsItsRow)
{
    const BoolRow& row = GetParam();
    for (const bool before : {false, true}) {
        bool value = before;
        EXPECT_EQ(qzStringUtils::parseBool(row.text, value), row.isWord);
        EXPECT_EQ(value, row.value);
        value = before;
        EXPECT_EQ(qzStringUtils::parseBool(row.text.data(), row.text.size(), value), row.isWord);
        EXPECT_EQ(value, row.value);
    }
}

const BoolRow kBoolRows[] = {
    {"F", "f", true, false},
    {"False", "false", true, false},
    {"Zero", "0", true, false},
    {"Off", "off", true, false},
    {"T", "t", true, true},
    {"True", "true", true, true},
    {"One", "1", true, true},
    {"On", "on", true, true},
    {"CapitalF", "F", true, false},
    {"CapitalT", "T", true, true},
    {"MixedOff", "Off", true, false},
    {"MixedFalse", "FaLsE", true, false},
    {"CapitalOn", "ON", true, true},
    {"BlanksAround", "  TRUE  ", true, true},
    {"SmallWithBlanks", " true", true, true},
    {"AllBlanksCount", "\t\n\v\f\r 0 \r\f\v\n\t", true, false},
    {"Empty", "", false, false},
    {"OnlyBlanks", "   ", false, false},
    {"Yes", "yes", false, false},
    {"No", "no", false, false},
    {"Two", "2", false, false},
    {"DoubleZero", "00", false, false},
    {"Prefix", "tru", false, false},
    {"Longer", "truer", false, false},
    {"BlankInside", "o n", false, false},
    {"TwoWords", "on on", false, false},
    {"ZeroByteBehind", "on\0"s, false, false},
    {"HighByte", "\xfft", false, false},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsParseBool, ::testing::ValuesIn(kBoolRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsParseBoolLength, EndsTheText)
{
    bool value = false;
    EXPECT_TRUE(qzStringUtils::parseBool("on and on", 2, value));
    EXPECT_TRUE(value);
    EXPECT_FALSE(qzStringUtils::parseBool(nullptr, 0, value));
    EXPECT_FALSE(value);
}

TEST(qzStringUtilsParseBoolAll, SmallTextsReadAsInThePlainForm)
{
    for (const std::string& text : plain::makeAllTexts("oOnFf \t1", 4)) {
        const int expected = plain::parseBool(text);
        bool value = true;
        ASSERT_EQ(qzStringUtils::parseBool(text, value), expected >= 0) << text;
        ASSERT_EQ(value, expected == 1) << text;
    }
}

// --- Padded integers

struct IntRow {
    const char* name;
    int value;
    int width;
    const char* text;
};

class qzStringUtilsFromInt : public ::testing::TestWithParam<IntRow> {};

TEST_P(qzStringUtilsFromInt, ReadsAsItsRow)
{
    EXPECT_EQ(qzStringUtils::fromInt(GetParam().value, GetParam().width), GetParam().text);
}

constexpr IntRow kIntRows[] = {
    {"Bare", 7, 0, "7"},
    {"Padded", 7, 3, "007"},
    {"SignBehindThePadding", -5, 4, "00-5"},
    {"Exact", -5, 2, "-5"},
    {"Zero", 0, 2, "00"},
    {"ZeroBare", 0, 0, "0"},
    {"WiderThanAsked", 12345, 3, "12345"},
    {"NegativeWidth", 7, -3, "7"},
    {"Largest", INT_MAX, 12, "002147483647"},
    {"Smallest", INT_MIN, 12, "0-2147483648"},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsFromInt, ::testing::ValuesIn(kIntRows),
                         [](const auto& row) { return std::string(row.param.name); });

struct UInt64Row {
    const char* name;
    unsigned long value;
    int width;
    const char* text;
};

class qzStringUtilsFromUInt64 : public ::testing::TestWithParam<UInt64Row> {};

TEST_P(qzStringUtilsFromUInt64, ReadsAsItsRow)
{
    EXPECT_EQ(qzStringUtils::fromUInt64(GetParam().value, GetParam().width), GetParam().text);
}

constexpr UInt64Row kUInt64Rows[] = {
    {"Padded", 7, 3, "007"},
    {"Bare", 0, 0, "0"},
    {"WiderThanAsked", 1000, 3, "1000"},
    {"NegativeWidth", 7, INT_MIN, "7"},
    {"Largest", ULONG_MAX, 22, "0018446744073709551615"},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsFromUInt64, ::testing::ValuesIn(kUInt64Rows),
                         [](const auto& row) { return std::string(row.param.name); });

namespace {

template <typename Number>
std::string writeWithStream(Number value, int width)
{
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << std::setfill('0') << std::setw(width) << value;
    return stream.str();
}

class Grouping : public std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
};

}  // namespace

TEST(qzStringUtilsFromNumbers, ReadAsAStreamOfTheCLocaleWritesThem)
{
    for (const long value : {0L, 1L, 9L, 10L, 99L, 100L, 65535L, 123456789L, 2147483647L}) {
        for (int width = -2; width < 30; ++width) {
            const int number = static_cast<int>(value);
            ASSERT_EQ(qzStringUtils::fromInt(number, width), writeWithStream(number, width));
            ASSERT_EQ(qzStringUtils::fromInt(-number, width), writeWithStream(-number, width));
            const unsigned long large = static_cast<unsigned long>(value) * 8589934591UL;
            ASSERT_EQ(qzStringUtils::fromUInt64(large, width), writeWithStream(large, width));
        }
    }
}

TEST(qzStringUtilsFromNumbers, FollowNoLocale)
{
    const support::LocaleGuard german("de_DE.UTF-8");
    const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
    EXPECT_EQ(qzStringUtils::fromInt(-1234567, 9), "0-1234567");
    EXPECT_EQ(qzStringUtils::fromUInt64(1234567, 9), "001234567");
    std::locale::global(before);
}

}  // namespace qz
