// SPDX-License-Identifier: MIT
#include <qz/qzStringUtils.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>

#include "Digits.h"

namespace qz {

namespace {

__extension__ using Wide = unsigned __int128;

constexpr unsigned kMostStep = 16;
constexpr unsigned kMostExtraDecimals = 16;

/// One `step`th in decimal: mantissa / 10^exponent.
struct Granule {
    unsigned mantissa;
    unsigned exponent;
};

// By step; those without a granule have a mantissa of 0.
constexpr Granule kGranules[kMostStep + 1] = {{0, 0}, {1, 0}, {5, 1},   {0, 0}, {25, 2}, {2, 1},
                                              {0, 0}, {0, 0}, {125, 3}, {0, 0}, {0, 0},  {0, 0},
                                              {0, 0}, {0, 0}, {0, 0},   {0, 0}, {625, 4}};

/// A magnitude that was rounded: whole + fraction / 10^n.
struct Rounded {
    std::uint64_t whole;
    std::uint64_t fraction;
};

/// A finite double's magnitude as mantissa * 2^exponent.
struct Binary {
    explicit Binary(double value)
    {
        constexpr int kMantissaBits = 52;
        constexpr std::uint64_t kHiddenBit = 1ULL << kMantissaBits;
        const auto bits = std::bit_cast<std::uint64_t>(value);
        const auto biased = static_cast<int>(bits >> kMantissaBits & 0x7ff);
        mantissa = (bits & (kHiddenBit - 1)) | (biased == 0 ? 0 : kHiddenBit);
        exponent = (biased == 0 ? 1 : biased) - 1023 - kMantissaBits;
    }
    std::uint64_t mantissa;
    int exponent;
};

// 10^n modulo 2^64, which matters for n = 20 only.
std::uint64_t getScale(unsigned n)
{
    return n < text::kPowersOfTen.size() ? text::kPowersOfTen[n] : text::kPowersOfTen.back() * 10;
}

// The product of a fraction of 53 bits and a scale of 64 bits is exact in 128 bits, so that ties
// are found exactly.
Rounded roundFraction(const Binary& magnitude, unsigned mantissa, std::uint64_t scale)
{
    // From this shift on the result is zero, even with the largest scale.
    constexpr int kMostShift = 118;
    const int shift = -magnitude.exponent;
    if (shift >= kMostShift) return {0, 0};
    const std::uint64_t whole = shift < 64 ? magnitude.mantissa >> shift : 0;
    const std::uint64_t rest = shift < 64 ? magnitude.mantissa - (whole << shift)  //
                                          : magnitude.mantissa;
    const Wide product = static_cast<Wide>(rest) * scale;
    const auto doubled = static_cast<std::uint64_t>(product >> (shift - 1));
    const auto scaled = static_cast<std::uint64_t>(product >> shift);
    const std::uint64_t over = mantissa == 1 ? 0 : scaled % mantissa;
    const std::uint64_t lower = scaled - over;
    // Compares the doubled distance to the lower multiple, rounded down, with the granule.
    const bool goesUp = 2 * over + (doubled & 1) >= mantissa;
    const std::uint64_t fraction = goesUp ? lower + mantissa : lower;
    if (fraction < scale) return {whole, fraction};
    return {whole + 1, fraction - scale};
}

const char* getSign(bool isNegative, bool isZero, bool showPlus)
{
    if (isNegative) return isZero && !showPlus ? "" : "-";
    return showPlus ? "+" : "";
}

// From 2^64 on a double is a whole number that doesn't fit into an integer type.
std::string writeHuge(double value, unsigned n, bool showPlus, bool showDecimals)
{
    constexpr std::size_t kMostDigits = 309;
    char digits[kMostDigits];
    const auto written =
        std::to_chars(digits, digits + kMostDigits, std::fabs(value), std::chars_format::fixed, 0);
    std::string text = getSign(value < 0, /*isZero=*/false, showPlus);
    text.append(digits, static_cast<std::size_t>(written.ptr - digits));
    if (showDecimals) text.append(1, '.').append(n, '0');
    return text;
}

std::string writeRounded(double value, Granule granule, bool showPlus, bool showDecimals)
{
    const unsigned n = granule.exponent;
    if (std::fabs(value) >= 0x1p64) return writeHuge(value, n, showPlus, showDecimals);
    const Binary magnitude(value);
    const Rounded rounded = magnitude.exponent >= 0
                                ? Rounded{magnitude.mantissa << magnitude.exponent, 0}
                                : roundFraction(magnitude, granule.mantissa, getScale(n));
    const bool isZero = (rounded.whole | rounded.fraction) == 0;

    char buffer[48];
    char* at = text::writeText(buffer, getSign(value < 0, isZero, showPlus));
    at = text::writeInteger(at, rounded.whole);
    if (showDecimals) {
        *at++ = '.';
        at = text::writePadded(at, rounded.fraction, static_cast<int>(n));
    }
    return {buffer, at};
}

// Whole numbers go through a stream with the global locale, which may group digits.
template <typename Number>
std::string streamInGlobalLocale(const char* sign, Number value)
{
    std::ostringstream stream;
    stream << sign << std::fixed << std::setprecision(0) << value;
    return stream.str();
}

template <typename Integer>
std::string writeInGlobalLocale(const char* sign, Integer value)
{
    if (std::locale() != std::locale::classic()) return streamInGlobalLocale(sign, value);
    char buffer[24];
    return {buffer, text::writeInteger(text::writeText(buffer, sign), value)};
}

std::string writeWhole(double value, bool showPlus)
{
    const bool fits = value >= -0x1p63 && value < 0x1p63;
    if (!fits && !showPlus) return streamInGlobalLocale("", value);
    if (!fits) return streamInGlobalLocale(value < 0 ? "-" : "+", std::fabs(value));
    const long long rounded = std::llround(value);
    if (!showPlus) return writeInGlobalLocale("", rounded);
    const auto bits = static_cast<unsigned long long>(rounded);
    return rounded < 0 ? writeInGlobalLocale("-", 0 - bits) : writeInGlobalLocale("+", bits);
}

}  // namespace

std::string qzStringUtils::roundNumber(double value, unsigned char step, char extraDecimals,
                                       bool showPlus, unsigned char maxDecimals)
{
    if (std::isnan(value)) return "nan";
    if (value > std::numeric_limits<double>::max()) return "inf";
    if (value < std::numeric_limits<double>::lowest()) return "-inf";

    const auto extra = static_cast<unsigned char>(extraDecimals);
    if (step > kMostStep || extra > kMostExtraDecimals) return writeWhole(value, showPlus);
    Granule granule = kGranules[step];
    granule.exponent += extra;
    if (granule.exponent == 0 || granule.mantissa == 0) return writeWhole(value, showPlus);
    return writeRounded(value, granule, showPlus, maxDecimals > 0);
}

}  // namespace qz
