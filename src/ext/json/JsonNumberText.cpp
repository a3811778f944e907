// SPDX-License-Identifier: MIT
// The numbers of a text that is written.

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "JsonNumber.h"
#include "PowersOfTen.h"
#include "ShortestReal.h"

namespace qz::ext {

namespace {

constexpr double kFirstWithGaps = 9007199254740992;  // above it, not each integer is a real

// Returns eight digits as a text, with leading zeros. Pairs of digits, and then single ones, are
// divided side by side in one word.
std::uint64_t formatEight(std::uint32_t number)
{
    std::uint64_t digits = number / 10000 | std::uint64_t{number % 10000} << 32U;
    std::uint64_t high = (digits * 10486 >> 20U) & 0x7F0000007FU;  // / 100
    digits = high | (digits - high * 100) << 16U;
    high = (digits * 103 >> 10U) & 0x000F000F000F000FU;  // / 10
    digits = high | (digits - high * 10) << 8U;
    return digits | 0x3030303030303030U;
}

// The digits of a number as a text, from its first one on, and zeros up to the 17th. They are kept
// in registers: a text in memory would have to be moved by a byte to make room for the point.
class Digits {
public:
    explicit Digits(Decimal number) : mExponent(number.exponent + msMost - 1)
    {
        constexpr std::uint32_t eightDigits = 100000000;
        for (; number.digits < std::uint64_t{eightDigits} * eightDigits; number.digits *= 10)
            --mExponent;
        const auto top = static_cast<std::uint32_t>(number.digits / eightDigits);
        mFirst = static_cast<char>('0' + top / eightDigits);
        const std::uint64_t high = formatEight(top % eightDigits);
        const std::uint64_t low =
            formatEight(static_cast<std::uint32_t>(number.digits % eightDigits));
        mRest = Wide{low} << 64U | high;
        mCount = 1 + (low != msZeros ? 8 + countWithoutZeros(low) : countWithoutZeros(high));
    }

    // The number is between 10^exponent and 10 times of it.
    int getExponent() const { return mExponent; }
    // The number of digits without the zeros.
    int getCount() const { return mCount; }
    // Writes all 17. @return the place after the last one that isn't such a zero.
    char* write(char* out) const
    {
        out[0] = mFirst;
        std::memcpy(out + 1, &mRest, sizeof mRest);
        return out + mCount;
    }
    // Writes them with a point after so many.
    char* write(char* out, int whole) const
    {
        write(out);
        out[whole] = '.';
        const Wide fraction = mRest >> (8U * static_cast<unsigned int>(whole - 1));
        std::memcpy(out + whole + 1, &fraction, sizeof fraction);
        return out + 1 + mCount;
    }

private:
    static constexpr int msMost = 17;
    static constexpr std::uint64_t msZeros = 0x3030303030303030;

    static int countWithoutZeros(std::uint64_t text)
    {
        return text == msZeros ? 0 : 8 - __builtin_clzll(text ^ msZeros) / 8;
    }

    int mExponent;
    int mCount;
    char mFirst;
    Wide mRest;  // from its lowest byte on
};

// Whether the form without an exponent takes no more bytes, apart from the ".0" of a whole number.
// The other form takes four bytes for the exponent, and one for a point if there is a second digit.
bool isFixedShorter(const Digits& digits)
{
    const int count = digits.getCount();
    const int mostZeros = count > 1 ? 4 : 3;
    return digits.getExponent() >= -mostZeros && digits.getExponent() <= count + mostZeros;
}

char* formatFixed(char* out, double value, const Digits& digits)
{
    const int exponent = digits.getExponent();
    if (exponent < 0) {
        std::copy_n("0.000000", 8, out);
        return digits.write(out + 1 - exponent);
    }
    if (exponent + 1 < digits.getCount()) return digits.write(out, exponent + 1);
    if (value < kFirstWithGaps) {
        digits.write(out);
        out += exponent + 1;
    } else {
        // All digits of a whole number are shown, even those that reading back doesn't need.
        out = std::to_chars(out, out + kMaxNumberBytes, value, std::chars_format::fixed, 0).ptr;
    }
    *out++ = '.';
    *out++ = '0';
    return out;
}

char* formatScientific(char* out, const Digits& digits)
{
    const int exponent = digits.getExponent();
    out = digits.getCount() == 1 ? digits.write(out) : digits.write(out, 1);
    *out++ = 'e';
    *out++ = exponent < 0 ? '-' : '+';
    if (std::abs(exponent) < 10) *out++ = '0';
    return formatInteger(out, std::abs(exponent));
}

}  // namespace

char* formatInteger(char* out, long value)
{
    return std::to_chars(out, out + kMaxNumberBytes, value).ptr;
}

char* formatReal(char* out, double value)
{
    if (std::signbit(value)) *out++ = '-';
    // By its bits, as the program may have told the processor to take subnormal numbers for 0
    if (std::bit_cast<std::uint64_t>(value) * 2 == 0) return std::copy_n("0.0", 3, out);
    value = std::abs(value);
    const Digits digits(findShortest(value));
    return isFixedShorter(digits) ? formatFixed(out, value, digits) : formatScientific(out, digits);
}

}  // namespace qz::ext
