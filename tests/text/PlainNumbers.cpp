// SPDX-License-Identifier: MIT
#include "text/PlainNumbers.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <limits>
#include <locale>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

namespace qz {

namespace {

std::ostringstream makeStream()
{
    std::ostringstream stream;
    stream.imbue(std::locale("C"));
    return stream;
}

template <typename T>
std::string toText(T value)
{
    std::ostringstream stream = makeStream();
    stream << std::setfill('0') << std::setw(1) << value;
    return stream.str();
}

struct Prefix {
    int decimalExponent;
    double decimal;
    int binaryExponent;
    const char* letter;
};

constexpr Prefix kLarge[] = {{24, 1e24, 80, "Y"}, {21, 1e21, 70, "Z"}, {18, 1e18, 60, "E"},
                             {15, 1e15, 50, "P"}, {12, 1e12, 40, "T"}, {9, 1e9, 30, "G"},
                             {6, 1e6, 20, "M"},   {3, 1e3, 10, "k"}};
constexpr Prefix kSmall[] = {{-3, 1e-3, -10, "m"},   {-6, 1e-6, -20, "\xC2\xB5"},
                             {-9, 1e-9, -30, "n"},   {-12, 1e-12, -40, "p"},
                             {-15, 1e-15, -50, "f"}, {-18, 1e-18, -60, "a"},
                             {-21, 1e-21, -70, "z"}, {-24, 1e-24, -80, "y"}};

template <std::size_t Size>
const char* divide(double& x, bool isBinary, const Prefix (&prefixes)[Size])
{
    for (const Prefix& prefix : prefixes) {
        const double threshold = isBinary ? std::ldexp(1.0, prefix.binaryExponent) : prefix.decimal;
        if (x < threshold) continue;
        x /= threshold;
        return prefix.letter;
    }
    return nullptr;
}

// mantissa and exponent of one step
const std::map<int, std::pair<unsigned, int>> kGranules = {
    {1, {1, 0}}, {2, {5, 1}}, {4, {25, 2}}, {5, {2, 1}}, {8, {125, 3}}, {16, {625, 4}}};

unsigned long long power(int n)
{
    unsigned long long result = 1;
    for (; n > 0; --n)
        result *= 10;
    return result;
}

std::string joinRounded(bool isNegative, unsigned long long whole, unsigned long long fraction,
                        int n, bool showPlus, int maxDecimals)
{
    const bool isZero = whole == 0 && fraction == 0;
    const char* sign = showPlus ? "+" : "";
    if (isNegative) sign = isZero && !showPlus ? "" : "-";
    char text[128];
    if (std::min(maxDecimals, n) >= 1) {
        std::snprintf(text, sizeof text, "%s%llu.%.*llu", sign, whole, n, fraction);
    } else {
        std::snprintf(text, sizeof text, "%s%llu", sign, whole);
    }
    return text;
}

}  // namespace

template <typename T>
std::string PlainNumbers::humanizeNumber(T value, int significantDigits, int maxDecimals,
                                         bool isBinary, bool hasLarge, bool hasSmall)
{
    double x = std::fabs(static_cast<double>(value));
    const char* prefix = hasLarge ? divide(x, isBinary, kLarge) : nullptr;
    if (prefix == nullptr && hasSmall && x < 1) {
        prefix = divide(x, isBinary, kSmall);
        if (prefix == nullptr) x = 0;
    }
    const int digits = x <= 1 ? 1 : static_cast<int>(std::floor(std::log10(x))) + 1;
    const long digitsLeft = static_cast<long>(significantDigits) - digits;
    const int decimals = static_cast<int>(
        std::clamp<long>(digitsLeft, std::numeric_limits<int>::min(), maxDecimals));
    std::string text;
    if (decimals <= 0) {
        const double whole = std::fabs(std::ceil(x - 0.5));
        std::ostringstream stream = makeStream();
        stream << std::fixed << std::setprecision(0) << whole;
        text = stream.str();
    } else {
        const double p = std::pow(10.0, decimals);
        std::ostringstream stream = makeStream();
        const double scaled = std::fabs(std::ceil(x * p - 0.5));
        stream << std::fixed << std::setprecision(decimals)
               << (std::isfinite(scaled) ? scaled / p : x);
        text = stream.str();
        while (text.back() == '0')
            text.pop_back();
        if (text.back() == '.' || text.back() == ',') text.pop_back();
    }
    return (value < 0 ? "-" : "") + text + (prefix != nullptr ? prefix : "");
}

template std::string PlainNumbers::humanizeNumber(long, int, int, bool, bool, bool);
template std::string PlainNumbers::humanizeNumber(unsigned long, int, int, bool, bool, bool);
template std::string PlainNumbers::humanizeNumber(double, int, int, bool, bool, bool);

std::string PlainNumbers::humanizeDuration(long milliseconds, int detail, bool showMilliseconds)
{
    const long amounts[] = {milliseconds % 1000, milliseconds / 1000 % 60,
                            milliseconds / 60000 % 60, milliseconds / 3600000 % 24,
                            milliseconds / 86400000};
    const char* const labels[] = {"ms", "s", "m", "h", "d"};
    int count = 5;
    while (count > 0 && amounts[count - 1] == 0)
        --count;
    if (count == 0 || (detail == 2 && count <= 2)) return "0ms";
    int lowest = 0;
    if (detail == 1) lowest = count <= 2 ? 0 : count == 3 ? 1 : 2;
    if (detail == 2) lowest = 2;
    while (amounts[lowest] == 0)
        ++lowest;
    std::string text;
    for (int unit = count - 1; unit >= lowest; --unit) {
        text += toText(amounts[unit]) + labels[unit];
        if (unit != lowest) text += " ";
    }
    if (showMilliseconds && count > 1) {
        text += " (" + toText(static_cast<unsigned long>(milliseconds)) + "ms)";
    }
    return text;
}

std::string PlainNumbers::roundNumberExactly(double value, int step, int extraDecimals,
                                             bool showPlus, int maxDecimals)
{
    const auto [mantissa, exponent] = kGranules.at(step);
    const int n = extraDecimals + exponent;
    // No double has more than 1074 decimals, and the C library writes all of them.
    std::vector<char> digits(1500);
    std::snprintf(digits.data(), digits.size(), "%.1074f", std::fabs(value));
    const std::string all = digits.data();
    const std::size_t point = all.find('.');
    unsigned long long whole = std::strtoull(all.substr(0, point).c_str(), nullptr, 10);
    const unsigned long long scaled =
        std::strtoull(all.substr(point + 1, static_cast<std::size_t>(n)).c_str(), nullptr, 10);
    const bool isRestAHalfOrMore = all[point + 1 + static_cast<std::size_t>(n)] >= '5';
    const unsigned long long over = scaled % mantissa;
    unsigned long long fraction = scaled - over;
    if (2 * over + (isRestAHalfOrMore ? 1 : 0) >= mantissa) fraction += mantissa;
    if (fraction >= power(n)) {
        fraction -= power(n);
        ++whole;
    }
    return joinRounded(value < 0, whole, fraction, n, showPlus, maxDecimals);
}

std::string PlainNumbers::roundNumberExtended(double value, int step, int extraDecimals,
                                              bool showPlus, int maxDecimals)
{
    const auto [mantissa, exponent] = kGranules.at(step);
    const int n = extraDecimals + exponent;
    const auto magnitude = std::fabs(static_cast<long double>(value));
    auto whole = static_cast<unsigned long long>(magnitude);
    const long double f =
        (magnitude - static_cast<long double>(whole)) * static_cast<long double>(power(n));
    const auto scaled = static_cast<unsigned long long>(f);
    const unsigned long long lower = scaled - scaled % mantissa;
    const unsigned long long upper = lower + mantissa;
    unsigned long long fraction = lower;
    if (f - static_cast<long double>(lower) >= static_cast<long double>(upper) - f) {
        fraction = upper;
    }
    if (fraction >= power(n)) {
        fraction -= power(n);
        ++whole;
    }
    return joinRounded(value < 0, whole, fraction, n, showPlus, maxDecimals);
}

std::string PlainNumbers::formatWithSeparator(unsigned long value, char separator)
{
    std::string text = toText(value);
    for (std::size_t at = text.size(); at > 3;)
        text.insert(at -= 3, 1, separator);
    return text;
}

}  // namespace qz
