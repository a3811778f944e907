#include "NumberParse.h"

#include <charconv>
#include <cstring>
#include <limits>
#include <system_error>

#include <stdlib.h>

#include "TextServices.h"

namespace qz::text {

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// All that a number of either kind can begin with, white space and "inf" and "nan" included. Most
// texts that are no numbers end here.
bool canBeginNumber(char c)
{
    return isDigit(c) || std::strchr("+-. \t\n\v\f\riInN", c) != nullptr;
}

// Whether the text begins as a decimal number that needs neither white space nor a base.
bool isPlainDecimal(const char* begin, const char* end)
{
    if (*begin == '-') ++begin;
    if (begin == end || !isDigit(*begin)) return false;
    return *begin != '0' || begin + 1 == end || begin[1] == '.';
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
        long parsed =
            *begin == '-' ? std::numeric_limits<long>::min() : std::numeric_limits<long>::max();
        // What is out of range leaves the number as it is.
        const char* const stop = std::from_chars(begin, end, parsed).ptr;
        if (stop != end) return false;
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

}  // namespace qz::text
