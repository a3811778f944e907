// SPDX-License-Identifier: MIT
#include "TimeArgument.h"

#include <charconv>
#include <chrono>

#include <time.h>

namespace qzlog {

namespace {

// Takes a number of so many digits from the start. @return false if they aren't there.
bool takeDigits(std::string_view& text, std::size_t count, int& number)
{
    if (text.size() < count) return false;
    number = 0;
    for (const char c : text.substr(0, count)) {
        if (c < '0' || c > '9') return false;
        number = number * 10 + (c - '0');
    }
    text.remove_prefix(count);
    return true;
}

bool takeOne(std::string_view& text, std::string_view characters)
{
    if (text.empty() || characters.find(text[0]) == std::string_view::npos) return false;
    text.remove_prefix(1);
    return true;
}

bool takeDate(std::string_view& text, tm& parts)
{
    using namespace std::chrono;
    if (!takeDigits(text, 4, parts.tm_year) || !takeOne(text, "-") ||
        !takeDigits(text, 2, parts.tm_mon) || !takeOne(text, "-") ||
        !takeDigits(text, 2, parts.tm_mday))
        return false;
    const year_month_day date(year(parts.tm_year), month(static_cast<unsigned int>(parts.tm_mon)),
                              day(static_cast<unsigned int>(parts.tm_mday)));
    parts.tm_year -= 1900;
    --parts.tm_mon;
    return date.ok();
}

bool takeClock(std::string_view& text, tm& parts)
{
    if (text.empty()) return true;
    if (!takeOne(text, " T") || !takeDigits(text, 2, parts.tm_hour) || !takeOne(text, ":") ||
        !takeDigits(text, 2, parts.tm_min))
        return false;
    if (takeOne(text, ":") && !takeDigits(text, 2, parts.tm_sec)) return false;
    return parts.tm_hour < 24 && parts.tm_min < 60 && parts.tm_sec <= 60;
}

// Takes "Z", "+01:00" or "+0100". @return false for something else.
bool takeOffset(std::string_view& text, long& offsetSec)
{
    if (takeOne(text, "Zz")) return true;
    const bool isNegative = text[0] == '-';
    int hours = 0;
    int minutes = 0;
    if (!takeOne(text, "+-") || !takeDigits(text, 2, hours)) return false;
    takeOne(text, ":");
    if (!takeDigits(text, 2, minutes) || hours > 23 || minutes > 59) return false;
    offsetSec = (hours * 60L + minutes) * 60 * (isNegative ? -1 : 1);
    return true;
}

}  // namespace

std::optional<long> parseTimeArgument(std::string_view text)
{
    tm parts = {};
    parts.tm_isdst = -1;
    if (!takeDate(text, parts) || !takeClock(text, parts)) return std::nullopt;
    if (text.empty()) return ::mktime(&parts) * 1000L;
    long offsetSec = 0;
    if (!takeOffset(text, offsetSec) || !text.empty()) return std::nullopt;
    return (::timegm(&parts) - offsetSec) * 1000L;
}

}  // namespace qzlog
