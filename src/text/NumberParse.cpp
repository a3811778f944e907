// SPDX-License-Identifier: MIT
#include "NumberParse.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <system_error>

#include <stdlib.h>

#include "Characters.h"
#include "TextServices.h"

namespace qz::text {

namespace {

// The first characters of all integers and reals, with leading white space, "inf" and "nan". This
// test refuses most texts that aren't numbers.
constexpr auto kNumberBegins = [] {
    std::array<bool, 256> begins{};
    for (const char c : std::string_view("+-. \t\n\v\f\riInN"))
        begins[static_cast<unsigned char>(c)] = true;
    std::fill_n(begins.begin() + '0', 10, true);
    return begins;
}();

bool canBeginNumber(char c)
{
    return kNumberBegins[static_cast<unsigned char>(c)];
}

// Whether the text begins like a decimal number without white space and without a base prefix.
bool isPlainDecimal(const char* begin, const char* end)
{
    if (*begin == '-') ++begin;
    if (begin == end || !isDigit(*begin)) return false;
    return *begin != '0' || begin + 1 == end || begin[1] == '.';
}

// Reads the decimal integer at the beginning and returns its end. A value out of range is clamped.
const char* readPlainInteger(const char* begin, const char* end, long& value)
{
    value = *begin == '-' ? std::numeric_limits<long>::min() : std::numeric_limits<long>::max();
    return std::from_chars(begin, end, value).ptr;
}

}  // namespace

bool parseInteger(const std::string& text, long& value)
{
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    if (begin == end) {
        value = 0;
        return true;
    }
    if (!canBeginNumber(*begin)) return false;
    if (isPlainDecimal(begin, end)) {
        long parsed = 0;
        if (readPlainInteger(begin, end, parsed) != end) return false;
        value = parsed;
        return true;
    }
    char* stop = nullptr;
    const long parsed = ::strtoll_l(text.c_str(), &stop, 0, getCLocale());
    if (stop != end) return false;
    value = parsed;
    return true;
}

bool parseReal(const std::string& text, double& value)
{
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    if (begin == end) {
        value = 0.0;
        return true;
    }
    if (!canBeginNumber(*begin)) return false;
    if (isPlainDecimal(begin, end)) {
        double parsed = 0.0;
        const auto [stop, error] = std::from_chars(begin, end, parsed);
        if (stop != end) return false;
        if (error == std::errc()) {
            value = parsed;
            return true;
        }
    }
    char* stop = nullptr;
    const double parsed = ::strtod_l(text.c_str(), &stop, getCLocale());
    if (stop != end) return false;
    value = parsed;
    return true;
}

NumberKind readPlainNumber(std::string_view text, long& integer, double& real)
{
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    if (begin == end) {
        integer = 0;
        return NumberKind::Integer;
    }
    if (!canBeginNumber(*begin)) return *begin == ',' ? NumberKind::Unclear : NumberKind::None;
    if (!isPlainDecimal(begin, end)) return NumberKind::Unclear;
    const char* const stop = readPlainInteger(begin, end, integer);
    if (stop == end) return NumberKind::Integer;
    // A real continues with a point or an exponent.
    if (*stop != '.' && *stop != ',' && *stop != 'e' && *stop != 'E') return NumberKind::None;
    const auto [realStop, error] = std::from_chars(begin, end, real);
    return realStop == end && error == std::errc() ? NumberKind::Real : NumberKind::Unclear;
}

}  // namespace qz::text
