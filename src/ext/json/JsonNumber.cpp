// SPDX-License-Identifier: MIT
#include "JsonNumber.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>

namespace qz::ext {

namespace {

using LargeIntegers = JsonReadOptions::LargeIntegers;

constexpr std::ptrdiff_t kMaxDigitsOf64Bits = 19;  // however large the digits are
constexpr std::uint64_t kLargestInteger = std::numeric_limits<long>::max();

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

const char* skipDigits(const char* at, const char* end)
{
    return std::find_if_not(at, end, isDigit);
}

// Whether the number is at least 1, from the place of its first digit that isn't 0. Only for
// numbers far from 1.
bool isLarge(const char* begin, const char* end)
{
    const auto isExponentSign = [](char c) { return c == 'e' || c == 'E'; };
    const char* const digitsEnd = std::find_if(begin, end, isExponentSign);
    const char* const point = std::find(begin, digitsEnd, '.');
    const char* const first =
        std::find_if(begin, digitsEnd, [](char c) { return c >= '1' && c <= '9'; });
    const std::ptrdiff_t place = point - first;
    if (digitsEnd == end) return place > 0;
    const bool isNegative = digitsEnd[1] == '-';
    const char* at = digitsEnd + (isDigit(digitsEnd[1]) ? 1 : 2);
    constexpr std::ptrdiff_t limit = std::numeric_limits<std::ptrdiff_t>::max() / 16;
    std::ptrdiff_t exponent = 0;
    for (; at != end && exponent < limit; ++at)
        exponent = exponent * 10 + (*at - '0');
    return place + (isNegative ? -exponent : exponent) > 0;
}

JsonFault parseReal(const char* begin, const char* end, qzVariant& number)
{
    double value = 0;
    if (std::from_chars(begin, end, value).ec == std::errc::result_out_of_range) {
        if (isLarge(begin, end))
            return {JsonError::Kind::Number, begin, "The number exceeds the range of a double"};
        value = *begin == '-' ? -0.0 : 0.0;
    }
    number = value;
    return {};
}

// Whether all digits of the real are those of the text.
bool isExact(double value, const char* begin, const char* end)
{
    char digits[std::numeric_limits<double>::max_exponent10 + 8];
    const auto result =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 0);
    return std::equal(begin, end, static_cast<const char*>(digits),
                      static_cast<const char*>(result.ptr));
}

JsonFault parseLargeInteger(const char* begin, const char* end, LargeIntegers largeIntegers,
                            qzVariant& number)
{
    const JsonFault fault = parseReal(begin, end, number);
    if (fault || largeIntegers == LargeIntegers::Nearest || isExact(number.toReal(), begin, end))
        return fault;
    return {JsonError::Kind::Number, begin, "The integer has no exact value of 64 bits"};
}

// Passes a fraction and an exponent, if they are there.
JsonFault skipFractionAndExponent(JsonText& text)
{
    const auto skipSomeDigits = [&text]() -> JsonFault {
        if (!isDigit(text.peek())) return makeSyntaxFault(text, "A digit is missing");
        text.at = skipDigits(text.at, text.end);
        return {};
    };
    if (text.peek() == '.') {
        ++text.at;
        if (const JsonFault fault = skipSomeDigits()) return fault;
    }
    if (text.peek() != 'e' && text.peek() != 'E') return {};
    ++text.at;
    if (text.peek() == '-' || text.peek() == '+') ++text.at;
    return skipSomeDigits();
}

}  // namespace

JsonFault parseNumber(JsonText& text, LargeIntegers largeIntegers, qzVariant& number)
{
    const char* const begin = text.at;
    const bool isNegative = *begin == '-';
    if (isNegative) ++text.at;
    const char* const digits = text.at;
    std::uint64_t value = 0;  // only used if it doesn't wrap around
    for (; !text.isAtEnd() && isDigit(*text.at); ++text.at)
        value = value * 10 + static_cast<unsigned int>(*text.at - '0');
    const std::ptrdiff_t count = text.at - digits;
    if (count == 0) return makeSyntaxFault(text, "A digit is missing");
    if (count > 1 && *digits == '0')
        return {JsonError::Kind::Syntax, digits, "The number begins with a useless 0"};

    const char next = text.peek();
    if (next == '.' || next == 'e' || next == 'E') {
        const JsonFault fault = skipFractionAndExponent(text);
        return fault ? fault : parseReal(begin, text.at, number);
    }
    if (isNegative && value == 0 && count == 1) {
        number = -0.0;  // an integer would lose the sign
        return {};
    }
    if (count > kMaxDigitsOf64Bits || value > kLargestInteger + (isNegative ? 1 : 0))
        return parseLargeInteger(begin, text.at, largeIntegers, number);
    number = static_cast<long>(isNegative ? 0 - value : value);
    return {};
}

}  // namespace qz::ext
