// SPDX-License-Identifier: MIT
#include "SixDigits.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "Digits.h"

// The value is scaled to six digits before the point by one multiplication or division with an
// exact power of ten. The error is below 2^-32, so the digits are certain unless the fraction is
// that near to a half. In that case, and for very large and very small values, the exact conversion
// is used.

namespace qz::text {

namespace {

constexpr int kDigits = 6;
constexpr double kDoubt = 0x1p-30;

char* writeExactly(char* to, double value)
{
    return std::to_chars(to, to + kSixDigitsSize, value, std::chars_format::general, kDigits).ptr;
}

double scale(double value, int power)
{
    return power >= 0 ? value * kExactRealPowersOfTen[static_cast<unsigned>(power)]
                      : value / kExactRealPowersOfTen[static_cast<unsigned>(-power)];
}

// The floor of log10 of the power of two at or below the value; too low by 1 at most.
int estimateExponent(double value)
{
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const int exponent = static_cast<int>(bits >> 52) - 1023;
    return (exponent * 78913) >> 18;
}

// `digits` has no trailing zero; `exponent` is that of the first digit.
char* writeFixed(char* to, std::uint64_t digits, int count, int exponent)
{
    if (exponent >= count - 1)
        return writePadded(to, digits * kPowersOfTen[static_cast<unsigned>(exponent + 1 - count)],
                           exponent + 1);
    if (exponent < 0) {
        to = writeText(to, "0.");
        return writePadded(to, digits, count - exponent - 1);
    }
    const int decimals = count - exponent - 1;
    const std::uint64_t one = kPowersOfTen[static_cast<unsigned>(decimals)];
    to = writePadded(to, digits / one, exponent + 1);
    *to++ = '.';
    return writePadded(to, digits % one, decimals);
}

char* writeScientific(char* to, std::uint64_t digits, int count, int exponent)
{
    const std::uint64_t one = kPowersOfTen[static_cast<unsigned>(count - 1)];
    *to++ = static_cast<char>('0' + digits / one);
    if (count > 1) {
        *to++ = '.';
        to = writePadded(to, digits % one, count - 1);
    }
    *to++ = 'e';
    *to++ = exponent < 0 ? '-' : '+';
    return writePadded(to, static_cast<std::uint64_t>(std::abs(exponent)), 2);
}

}  // namespace

char* writeSixDigits(char* to, double value)
{
    const double magnitude = std::fabs(value);
    if (!(magnitude >= 1e-16 && magnitude < 1e26)) return writeExactly(to, value);

    int exponent = estimateExponent(magnitude);
    double scaled = scale(magnitude, kDigits - 1 - exponent);
    if (scaled >= 1e6) scaled = scale(magnitude, kDigits - 1 - ++exponent);
    auto digits = static_cast<std::uint64_t>(scaled);
    const double rest = scaled - static_cast<double>(digits);
    if (std::fabs(rest - 0.5) < kDoubt) return writeExactly(to, value);
    if (rest > 0.5) ++digits;

    int count = kDigits;
    if (digits == kPowersOfTen[kDigits]) ++exponent;
    for (; digits % 10 == 0 && digits != 0; digits /= 10)
        --count;
    count = std::max(count, 1);

    if (std::signbit(value)) *to++ = '-';
    return exponent >= -4 && exponent < kDigits ? writeFixed(to, digits, count, exponent)
                                                : writeScientific(to, digits, count, exponent);
}

}  // namespace qz::text
