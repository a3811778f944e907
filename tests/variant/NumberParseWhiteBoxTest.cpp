// SPDX-License-Identifier: MIT
// The fast number parsers compared with the C library's functions, whose results are the rule.

#include "text/NumberParse.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <locale.h>

#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "variant/PlainNumbers.h"

namespace qz {

namespace {

std::uint64_t getBits(double value)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

// The quick parser must give the result of the rule, or report that it can't decide.
std::string compareLook(const std::string& text)
{
    long integer = 0;
    double real = 0.0;
    std::string withPoints = text;
    std::replace(withPoints.begin(), withPoints.end(), ',', '.');
    const plain::Integer plainInteger = plain::parseInteger(text);
    const plain::Real plainReal = plain::parseReal(withPoints);
    bool isRight = true;
    switch (text::readPlainNumber(text, integer, real)) {
        case text::NumberKind::None:
            isRight = !plainInteger.isNumber && !plainReal.isNumber;
            break;
        case text::NumberKind::Integer:
            isRight = plainInteger.isNumber && plainInteger.value == integer;
            break;
        case text::NumberKind::Real:
            isRight = !plainInteger.isNumber && plainReal.isNumber &&
                      getBits(plainReal.value) == getBits(real);
            break;
        case text::NumberKind::Unclear:
            break;
    }
    return isRight ? "" : "looks like another kind: " + text;
}

// Describes the first difference of the two parsers; empty for none.
std::string compare(const std::string& text)
{
    constexpr long oldInteger = 4711;
    constexpr double oldReal = 47.11;
    const plain::Integer plainInteger = plain::parseInteger(text);
    long integer = oldInteger;
    if (text::parseInteger(text, integer) != plainInteger.isNumber) return "is an integer: " + text;
    if (integer != (plainInteger.isNumber ? plainInteger.value : oldInteger))
        return "integer: " + text;
    const plain::Real plainReal = plain::parseReal(text);
    double real = oldReal;
    if (text::parseReal(text, real) != plainReal.isNumber) return "is a real: " + text;
    if (getBits(real) != getBits(plainReal.isNumber ? plainReal.value : oldReal))
        return "real: " + text;
    return compareLook(text);
}

// Compares all texts of the letters up to a length. Returns the first difference.
std::string compareAll(std::string_view letters, std::size_t maxLength)
{
    std::vector<std::string> texts{""};
    for (std::size_t done = 0, length = 0; length <= maxLength; ++length) {
        const std::size_t end = texts.size();
        for (; done != end; ++done) {
            std::string difference = compare(texts[done]);
            if (!difference.empty() || length == maxLength) {
                if (!difference.empty()) return difference;
                continue;
            }
            for (const char letter : letters)
                texts.push_back(texts[done] + letter);
        }
    }
    return {};
}

std::string compareChance(unsigned int seed)
{
    constexpr std::string_view letters = "0123456789012345678901234567890123456789.e-+xaF ,";
    std::mt19937 random(seed);
    for (int i = 0; i != 3000; ++i) {
        std::string text;
        for (std::size_t length = random() % 40; text.size() != length;)
            text += letters[random() % letters.size()];
        std::string difference = compare(text);
        if (!difference.empty()) return difference;
    }
    return {};
}

// Doubles with all necessary digits, and with more; sometimes half-way between two doubles.
std::string compareDoubles(unsigned int seed)
{
    std::mt19937_64 random(seed);
    for (int i = 0; i != 1000; ++i) {
        const std::uint64_t bits = random();
        double value = 0.0;
        std::memcpy(&value, &bits, sizeof value);
        char text[2000];
        for (const char* form : {"%.17g", "%.15g", "%.40e", "%.6g", "%.1100g", "%a"}) {
            std::snprintf(text, sizeof text, form, value);
            std::string difference = compare(text);
            if (!difference.empty()) return difference;
        }
    }
    return {};
}

const char* const kTexts[] = {
    "9223372036854775806",
    "9223372036854775807",
    "9223372036854775808",
    "-9223372036854775807",
    "-9223372036854775808",
    "-9223372036854775809",
    "+9223372036854775808",
    "18446744073709551616",
    "99999999999999999999x",
    "0x7fffffffffffffff",
    "0x8000000000000000",
    "-0x8000000000000000",
    "-0x8000000000000001",
    "0777777777777777777777",
    "01000000000000000000000",
    "00000000000000000000000000000000000001",
    "0.00000000000000000000000000000000000001",
    "9007199254740993",
    "9007199254740993.00000000000000000000000000000000001",
    "1e23",
    "8.5e22",
    "2.2250738585072011e-308",
    "2.2250738585072014e-308",
    "4.9406564584124654e-324",
    "2.4703282292062327e-324",
    "2.4703282292062328e-324",
    "1.7976931348623157e308",
    "1.7976931348623159e308",
    "-1.8e308",
    "1e99999999999999999999",
    "1e-99999999999999999999",
    "0e99999999999999999999",
    "-0",
    "-0.0",
    "-0e5",
    "1.e5",
    "1.",
    "-.5e1",
    "1e",
    "1e+",
    "1e+5",
    "1E5",
    "0x1.8p3",
    "0x.8",
    "0x1p",
    "0x1.",
    "1p3",
    "inf",
    "INFINITY",
    "infinit",
    "-Inf",
    "+infinity",
    "nan",
    "NAN",
    "-nan",
    "nan(",
    "nan()",
    "nan(123)",
    "nan(_x)",
    "nan(-)",
    " \t\n\v\f\r12",
    "\xa0"
    "12",
    "1\xc2\xa0"
    "234",
    "1'234",
    "1.234.567",
    "1.234,5",
    "1_000",
    "12L",
    "1.5f",
    "0b11",
    "0o17",
};

std::string compareTexts()
{
    for (const char* text : kTexts) {
        for (const char* ahead : {"", " ", "-", "+"}) {
            for (const char* behind : {"", " ", "0", "e"}) {
                std::string difference = compare(std::string(ahead) + text + behind);
                if (!difference.empty()) return difference;
            }
        }
    }
    return {};
}

TEST(NumberParse, ReadsAllShortTextsAsThePlainForm)
{
    EXPECT_EQ(compareAll("0127+-. \txXeEinfaINF,9", 3), "");
    EXPECT_EQ(compareAll("09.e-x", 5), "");
}

TEST(NumberParse, ReadsWordsOfInfinityAndNaNAsThePlainForm)
{
    EXPECT_EQ(compareAll("nNaA(", 5), "");
    EXPECT_EQ(compareAll("iInNfF", 4), "");
}

TEST(NumberParse, ReadsTellingTextsAsThePlainForm)
{
    EXPECT_EQ(compareTexts(), "");
}

TEST(NumberParse, ReadsGeneratedTextsAsThePlainForm)
{
    for (const unsigned int seed : {1U, 2U, 3U}) {
        EXPECT_EQ(compareChance(seed), "") << "seed " << seed;
        EXPECT_EQ(compareDoubles(seed), "") << "seed " << seed;
    }
}

TEST(NumberParse, ReadsLongTextsAsThePlainForm)
{
    for (const char digit : {'0', '1', '9'}) {
        const std::string digits(5000, digit);
        EXPECT_EQ(compare(digits), "");
        EXPECT_EQ(compare("-" + digits), "");
        EXPECT_EQ(compare("1." + digits), "");
        EXPECT_EQ(compare("0." + digits + "1e5000"), "");
        EXPECT_EQ(compare("1" + digits + "e-5000"), "");
    }
}

TEST(NumberParse, TakesZeroBytesForTheEndOfTheNumberButNotOfTheText)
{
    for (const std::string& text : {std::string("12\0", 3), std::string("\0", 1),
                                    std::string("1\0"
                                                "2",
                                                3),
                                    std::string("1.5\0", 4),
                                    std::string("\0"
                                                "1",
                                                2)}) {
        EXPECT_EQ(compare(text), "");
        long integer = 0;
        double real = 0.0;
        EXPECT_FALSE(text::parseInteger(text, integer));
        EXPECT_FALSE(text::parseReal(text, real));
    }
}

TEST(NumberParse, TakesTheEmptyTextForZero)
{
    long integer = 5;
    double real = 5.0;
    EXPECT_TRUE(text::parseInteger({}, integer));
    EXPECT_TRUE(text::parseReal({}, real));
    EXPECT_EQ(integer, 0);
    EXPECT_EQ(real, 0.0);
}

TEST(NumberParse, ReadsTheSameWithAStartOfTheLibrary)
{
    const support::LibraryStart library;
    EXPECT_EQ(compareAll("0127+-. \txXeEinfaINF,9", 2), "");
    EXPECT_EQ(compareTexts(), "");
}

TEST(NumberParse, ReadsTheSameInAGermanProcess)
{
    const support::LocaleGuard locale("de_DE.UTF-8");
    EXPECT_EQ(compareAll("0127+-. \txXeEinfaINF,9", 2), "");
    EXPECT_EQ(compareTexts(), "");
    const support::LibraryStart library;
    EXPECT_EQ(compareAll("0127+-. \txXeEinfaINF,9", 2), "");
    EXPECT_EQ(compareTexts(), "");
    EXPECT_EQ(compareChance(4), "");
}

// A start without memory for its locale leaves the pointer to it null.
TEST(NumberParse, ReadsWithoutTheLocaleOfTheStart)
{
    const support::LibraryStart library;
    const locale_t locale = *qzStringUtils::msCLocale;
    *qzStringUtils::msCLocale = nullptr;
    const std::string difference = compareTexts();
    *qzStringUtils::msCLocale = locale;
    EXPECT_EQ(difference, "");
}

}  // namespace

}  // namespace qz
