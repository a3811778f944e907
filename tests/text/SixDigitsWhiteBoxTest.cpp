// SPDX-License-Identifier: MIT
// The digits of a stream, without the stream: compared with it over generated values.

#include "text/SixDigits.h"

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <string>

namespace qz::text {

namespace {

std::string sixDigits(double value)
{
    char text[kSixDigitsSize];
    return {text, writeSixDigits(text, value)};
}

// The same digits by exact arithmetic, faster than a stream.
std::string exactDigits(double value)
{
    char text[64];
    return {text, std::to_chars(text, std::end(text), value, std::chars_format::general, 6).ptr};
}

std::string streamDigits(double value)
{
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << value;
    return stream.str();
}

struct RealText {
    double value;
    const char* text;
};

constexpr RealText kRealTexts[] = {
    {0.0, "0"},
    {-0.0, "-0"},
    {1.0, "1"},
    {-2.5, "-2.5"},
    {0.1, "0.1"},
    {3.14159265, "3.14159"},
    {100.0, "100"},
    {123456.0, "123456"},
    {999999.0, "999999"},
    {999999.5, "1e+06"},
    {1e6, "1e+06"},
    {1234567.0, "1.23457e+06"},
    {0.0001, "0.0001"},
    {0.00012345678, "0.000123457"},
    {0.00009999994, "9.99999e-05"},
    {0.00009999999, "0.0001"},
    {1e-5, "1e-05"},
    {1e25, "1e+25"},
    {1e26, "1e+26"},
    {1e-16, "1e-16"},
    {1e-17, "1e-17"},
    {std::numeric_limits<double>::max(), "1.79769e+308"},
    {std::numeric_limits<double>::denorm_min(), "4.94066e-324"},
    {std::numeric_limits<double>::infinity(), "inf"},
    {-std::numeric_limits<double>::infinity(), "-inf"},
    {std::numeric_limits<double>::quiet_NaN(), "nan"},
    // Halves go to the even digit, as the exact value lies in the middle.
    {123456.5, "123456"},
    {123457.5, "123458"},
    {2.5e-7, "2.5e-07"},
};

}  // namespace

TEST(SixDigitsTest, WritesEachRow)
{
    for (const auto& [value, text] : kRealTexts) {
        EXPECT_EQ(sixDigits(value), text);
        EXPECT_EQ(streamDigits(value), text);
    }
}

TEST(SixDigitsTest, WritesLikeAStreamWhateverTheBits)
{
    std::mt19937_64 random(1);
    for (int i = 0; i != 20'000; ++i) {
        const double value = std::bit_cast<double>(random());
        ASSERT_EQ(sixDigits(value), streamDigits(value)) << "seed 1, value " << i;
    }
}

TEST(SixDigitsTest, WritesLikeTheExactWayOverDecimalsAndHalves)
{
    std::mt19937_64 random(2);
    for (int i = 0; i != 100'000; ++i) {
        const double scale = std::pow(10.0, static_cast<double>(random() % 34) - 17);
        const auto digits = static_cast<double>(random() % 2'000'000);
        for (const double value : {digits * scale, -(digits + 0.5) * scale, digits / scale})
            ASSERT_EQ(sixDigits(value), exactDigits(value)) << "seed 2, value " << i;
    }
}

TEST(SixDigitsTest, WritesLikeTheExactWayAroundEachPowerOfTen)
{
    for (int exponent = -20; exponent != 30; ++exponent) {
        double below = std::pow(10.0, exponent);
        double above = below;
        for (int i = 0; i != 100; ++i) {
            ASSERT_EQ(sixDigits(below), exactDigits(below));
            ASSERT_EQ(sixDigits(above), exactDigits(above));
            below = std::nextafter(below, 0.0) * (1.0 - 1e-8 * (i % 3));
            above = std::nextafter(above, 1e300);
        }
    }
}

}  // namespace qz::text
