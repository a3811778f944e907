// SPDX-License-Identifier: MIT
#include <qz/qzStringUtils.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string_view>

#include "Digits.h"

namespace qz {

namespace {

struct Prefix {
    double decimal;
    double binary;
    const char* letter;

    double getThreshold(bool isBinary) const { return isBinary ? binary : decimal; }
};

constexpr Prefix kLargePrefixes[] = {
    {1e24, 0x1p80, "Y"}, {1e21, 0x1p70, "Z"}, {1e18, 0x1p60, "E"}, {1e15, 0x1p50, "P"},
    {1e12, 0x1p40, "T"}, {1e9, 0x1p30, "G"},  {1e6, 0x1p20, "M"},  {1e3, 0x1p10, "k"},
};

constexpr Prefix kSmallPrefixes[] = {
    {1e-3, 0x1p-10, "m"},  {1e-6, 0x1p-20, "µ"},  {1e-9, 0x1p-30, "n"},  {1e-12, 0x1p-40, "p"},
    {1e-15, 0x1p-50, "f"}, {1e-18, 0x1p-60, "a"}, {1e-21, 0x1p-70, "z"}, {1e-24, 0x1p-80, "y"},
};

// Divides a magnitude by its prefix, whose letter it returns.
std::string_view takePrefix(double& x, bool isBinary, bool hasLarge, bool hasSmall)
{
    if (hasLarge) {
        // Fast path: most numbers need only the lower half of the table.
        const Prefix* const first =
            x < kLargePrefixes[3].getThreshold(isBinary) ? kLargePrefixes + 4 : kLargePrefixes;
        for (const Prefix* prefix = first; prefix != std::end(kLargePrefixes); ++prefix) {
            if (!(x >= prefix->getThreshold(isBinary))) continue;
            x /= prefix->getThreshold(isBinary);
            return prefix->letter;
        }
    }
    if (!hasSmall || !(x < 1)) return {};
    for (const Prefix& prefix : kSmallPrefixes) {
        if (!(x >= prefix.getThreshold(isBinary))) continue;
        x /= prefix.getThreshold(isBinary);
        return prefix.letter;
    }
    x = 0;
    return {};
}

// The floor of log10(x) plus 1. The error of log10 is below 1e-12 of the number, so a table of
// powers gives the same result, except very near to a power. There log10 itself decides, with its
// error.
int countIntegerDigits(double x)
{
    constexpr double kNear = 1e-11;
    constexpr std::size_t kPowers = text::kExactRealPowersOfTen.size();
    if (!(x > 1) || !(x <= std::numeric_limits<double>::max())) return 1;
    std::size_t digits = 1;
    while (digits < kPowers && x >= text::kExactRealPowersOfTen[digits])
        ++digits;
    if (digits < kPowers && x <= text::kExactRealPowersOfTen[digits] * (1 - kNear) &&
        x >= text::kExactRealPowersOfTen[digits - 1] * (1 + kNear)) {
        return static_cast<int>(digits);
    }
    return static_cast<int>(std::floor(std::log10(x))) + 1;
}

std::size_t trimDecimals(std::string_view text)
{
    std::size_t size = text.find_last_not_of('0') + 1;
    if (size > 0 && text[size - 1] == '.') --size;
    return size;
}

std::string join(bool isNegative, std::string_view number, std::string_view prefix)
{
    std::string text;
    text.reserve(number.size() + 3);
    if (isNegative) text += '-';
    return text.append(number).append(prefix);
}

// The exact digits of a number that may not fit into 64 bits, or has very many decimals.
std::string writeExactly(bool isNegative, double magnitude, std::size_t decimals,
                         std::string_view prefix)
{
    constexpr std::size_t kMostIntegerDigits = 309;
    constexpr std::size_t kMostDecimals = 1074;  // of any double; further ones are zeros
    decimals = std::min(decimals, kMostDecimals);
    std::string number(kMostIntegerDigits + 1 + decimals, '\0');
    char* const end = number.data() + number.size();
    const auto written = std::to_chars(number.data(), end, magnitude, std::chars_format::fixed,
                                       static_cast<int>(decimals));
    number.resize(static_cast<std::size_t>(written.ptr - number.data()));
    if (decimals > 0) number.resize(trimDecimals(number));
    return join(isNegative, number, prefix);
}

std::string writeWithDecimals(bool isNegative, double x, std::size_t decimals,
                              std::string_view prefix)
{
    const bool isPowerExact = decimals < text::kExactRealPowersOfTen.size();
    const double power = isPowerExact ? text::kExactRealPowersOfTen[decimals]
                                      : std::pow(10.0, static_cast<double>(decimals));
    const double scaled = std::fabs(std::ceil(x * power - 0.5));
    // Beyond the largest double there is nothing left to round; 0 times an infinite power is NaN.
    if (!std::isfinite(scaled)) return writeExactly(isNegative, x, decimals, prefix);
    // A whole number below 2^52, divided by an exact power of ten and written with as many
    // decimals, has the same digits: the error of the division is below half a unit.
    if (!isPowerExact || !(scaled < 0x1p52)) {
        return writeExactly(isNegative, scaled / power, decimals, prefix);
    }
    char buffer[48];
    char* at = buffer;
    auto digits = static_cast<std::uint64_t>(scaled);
    while (decimals > 0 && digits % 10 == 0) {
        digits /= 10;
        --decimals;
    }
    if (isNegative) *at++ = '-';
    if (decimals < text::kPowersOfTen.size()) {
        const std::uint64_t unit = text::kPowersOfTen[decimals];
        at = text::writeInteger(at, digits / unit);
        digits %= unit;
    } else {
        *at++ = '0';
    }
    if (decimals > 0) {
        *at++ = '.';
        at = text::writePadded(at, digits, static_cast<int>(decimals));
    }
    at = text::writeText(at, prefix);
    return {buffer, at};
}

std::string writeWhole(bool isNegative, double x, std::string_view prefix)
{
    const double whole = std::fabs(std::ceil(x - 0.5));
    if (!(whole < 0x1p63)) return writeExactly(isNegative, whole, /*decimals=*/0, prefix);
    char number[24];
    char* const end = text::writeInteger(number, static_cast<std::int64_t>(whole));
    return join(isNegative, {number, end}, prefix);
}

}  // namespace

template <typename T>
std::string qzStringUtils::humanizeNumberGeneric(T value, int significantDigits, int maxDecimals,
                                                 bool binaryPrefixes, bool largePrefixes,
                                                 bool smallPrefixes)
{
    const bool isNegative = value < 0;
    double x = std::fabs(static_cast<double>(value));
    const std::string_view prefix = takePrefix(x, binaryPrefixes, largePrefixes, smallPrefixes);
    // In more bits: a caller may ask for the least or the largest int of digits.
    const long digitsLeft = static_cast<long>(significantDigits) - countIntegerDigits(x);
    const long decimals = digitsLeft < maxDecimals ? digitsLeft : maxDecimals;
    if (decimals <= 0) return writeWhole(isNegative, x, prefix);
    return writeWithDecimals(isNegative, x, static_cast<std::size_t>(decimals), prefix);
}

template QZ_API std::string qzStringUtils::humanizeNumberGeneric(long, int, int, bool, bool, bool);
template QZ_API std::string qzStringUtils::humanizeNumberGeneric(unsigned long, int, int, bool,
                                                                 bool, bool);
template QZ_API std::string qzStringUtils::humanizeNumberGeneric(double, int, int, bool, bool,
                                                                 bool);

}  // namespace qz
