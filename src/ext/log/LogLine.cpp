// SPDX-License-Identifier: MIT
#include <qz/ext/LogLine.h>

#include <array>
#include <charconv>
#include <chrono>
#include <optional>

#include <langinfo.h>

#include <qz/ext/PrintableText.h>

#include "base/Utf8Character.h"

namespace qz::ext {

namespace {

constexpr std::array<const char*, 7> kTypeNames = {"DEV",     "TRACE",    "DEBUG",  "INFO",
                                                   "WARNING", "CRITICAL", "UNKNOWN"};
constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr long kSecondsInDay = 86'400;
// `strftime` has 129 bytes for the time of a prefix.
constexpr std::size_t kMaxTimeBytes = 129;

bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

bool takeStart(std::string_view& text, std::string_view start)
{
    if (!startsWith(text, start)) return false;
    text.remove_prefix(start.size());
    return true;
}

// Takes a number from the start of a text.
bool takeNumber(std::string_view& text, long& number)
{
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return false;
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
    return true;
}

// A number of exactly these digits. @return negative for anything else.
long getNumber(std::string_view digits)
{
    long number = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9') return -1;
        number = number * 10 + (c - '0');
    }
    return number;
}

bool takeType(std::string_view& line, int& type)
{
    for (std::size_t i = 0; i != kTypeNames.size(); ++i) {
        if (!takeStart(line, kTypeNames[i])) continue;
        type = static_cast<int>(i);
        return true;
    }
    return false;
}

// Takes "(name) PID " or " PID ". A name may hold any text but the end of the bracket.
bool takeSubType(std::string_view& line, std::string_view& subType)
{
    constexpr std::string_view kProcess = " PID ";
    constexpr std::string_view kEnd = ") PID ";
    subType = {};
    if (takeStart(line, kProcess)) return true;
    if (!takeStart(line, "(")) return false;
    const std::size_t end = line.find(kEnd);
    if (end == std::string_view::npos) return false;
    subType = line.substr(0, end);
    line.remove_prefix(end + kEnd.size());
    return true;
}

// The month, from 1, whose name is the last word of a text; 0 if it is unknown.
unsigned int getMonth(std::string_view names)
{
    constexpr nl_item kItems[] = {ABMON_1, ABMON_2, ABMON_3, ABMON_4,  ABMON_5,  ABMON_6,
                                  ABMON_7, ABMON_8, ABMON_9, ABMON_10, ABMON_11, ABMON_12};
    const std::string_view name = names.substr(names.rfind(' ') + 1);
    for (unsigned int i = 0; i != kMonths.size(); ++i) {
        if (name == kMonths[i]) return i + 1;
    }
    for (unsigned int i = 0; i != kMonths.size(); ++i) {
        if (name == ::nl_langinfo(kItems[i])) return i + 1;
    }
    long number = 0;
    std::string_view rest = name;
    const bool isNumber = takeNumber(rest, number) && number >= 1 && number <= 12;
    return isNumber ? static_cast<unsigned int>(number) : 0;
}

// Local time minus UTC in seconds, from "+0130".
std::optional<long> parseOffset(std::string_view text)
{
    const long hours = getNumber(text.substr(1, 2));
    const long minutes = getNumber(text.substr(3));
    if (hours < 0 || hours > 23 || minutes < 0 || minutes > 59) return std::nullopt;
    if (text[0] != '+' && text[0] != '-') return std::nullopt;
    const long offset = hours * 3600 + minutes * 60;
    return text[0] == '-' ? -offset : offset;
}

// Local seconds of a day, from "20:17:56".
std::optional<long> parseClock(std::string_view text)
{
    const long hours = getNumber(text.substr(0, 2));
    const long minutes = getNumber(text.substr(3, 2));
    const long seconds = getNumber(text.substr(6));
    if (text[2] != ':' || text[5] != ':') return std::nullopt;
    if (hours < 0 || hours > 23 || minutes < 0 || minutes > 59 || seconds < 0 || seconds > 60)
        return std::nullopt;
    return hours * 3600 + minutes * 60 + seconds;
}

// Reads "Sat Nov 14 20:17:56+0000 2026" from its end, as the names of day and month depend on the
// locale. @return false if it has another form.
bool parseTime(std::string_view text, LogLine& parsed)
{
    constexpr std::size_t kFixedBytes = 17;  // " 14 20:17:56+0000", before the blank and the year
    const std::size_t blank = text.rfind(' ');
    if (blank == std::string_view::npos || blank < kFixedBytes || text.size() - blank > 6)
        return false;
    const long year = getNumber(text.substr(blank + 1));
    const std::string_view fixed = text.substr(blank - kFixedBytes, kFixedBytes);
    const long day = getNumber(fixed.substr(1, 2));
    const std::optional<long> clock = parseClock(fixed.substr(4, 8));
    const std::optional<long> offset = parseOffset(fixed.substr(12));
    if (year < 0 || day < 0 || !clock || !offset || fixed[0] != ' ' || fixed[3] != ' ')
        return false;
    const unsigned int month = getMonth(text.substr(0, blank - kFixedBytes));
    const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(year)),
                                           std::chrono::month(month),
                                           std::chrono::day(static_cast<unsigned int>(day)));
    if (!date.ok()) return true;
    const long days = std::chrono::sys_days(date).time_since_epoch().count();
    parsed.hasTime = true;
    parsed.timeMs = (days * kSecondsInDay + *clock - *offset) * 1000;
    parsed.offsetSec = *offset;
    return true;
}

void appendDigits(std::string& text, unsigned long number, std::size_t count)
{
    char digits[20];
    for (std::size_t i = count; i-- != 0; number /= 10)
        digits[i] = static_cast<char>('0' + number % 10);
    text.append(digits, count);
}

// Divides rounding down, also for what is before the epoch.
long divideDown(long dividend, long divisor)
{
    return dividend / divisor - (dividend % divisor < 0 ? 1 : 0);
}

void appendUnit(std::string& json, char32_t unit)
{
    constexpr char kDigits[] = "0123456789abcdef";
    json += {'\\',
             'u',
             kDigits[unit >> 12U],
             kDigits[unit >> 8U & 0xFU],
             kDigits[unit >> 4U & 0xFU],
             kDigits[unit & 0xFU]};
}

// What a JSON string can't contain, or would change how a line is shown.
void appendSpecial(std::string& json, char32_t character)
{
    if (character == '"' || character == '\\')
        json += {'\\', static_cast<char>(character)};
    else if (character == '\n')
        json += "\\n";
    else if (character == '\t')
        json += "\\t";
    else if (character <= 0xFFFF)
        appendUnit(json, character);
    else {
        const char32_t offset = character - 0x10000;
        appendUnit(json, 0xD800 + (offset >> 10U));
        appendUnit(json, 0xDC00 + (offset & 0x3FFU));
    }
}

void appendJsonString(std::string& json, std::string_view text)
{
    json += '"';
    const char* const end = text.data() + text.size();
    const char* run = text.data();  // what has not been appended
    const auto appendRun = [&](const char* until, std::size_t skipped) {
        json.append(run, until);
        run = until + skipped;
    };
    for (const char* at = run; at != end;) {
        const Utf8Character character = decodeCharacter(at, end);
        const char32_t value = character.value;
        if (character.size == 0) {
            appendRun(at, 1);
            json += '\\' + escaped({at, 1});
        } else if (value == '"' || value == '\\' || isMisleading(value)) {
            appendRun(at, character.size);
            appendSpecial(json, value);
        }
        at += character.size == 0 ? 1 : character.size;
    }
    appendRun(end, 0);
    json += '"';
}

}  // namespace

const char* getTypeName(int type)
{
    const bool isKnown = type >= 0 && type < qzLog::Unknown;
    return kTypeNames[static_cast<std::size_t>(isKnown ? type : qzLog::Unknown)];
}

bool parseLogLine(std::string_view line, LogLine& parsed)
{
    parsed.hasTime = parsed.hasFraction = false;
    parsed.threadId = {};
    if (!takeType(line, parsed.type) || !takeSubType(line, parsed.subType) ||
        !takeNumber(line, parsed.processId) || !takeStart(line, " "))
        return false;
    if (takeStart(line, "TID ")) {
        const std::size_t end = line.find(' ');
        if (end == std::string_view::npos) return false;
        parsed.threadId = line.substr(0, end);
        line.remove_prefix(end + 1);
    }
    // Without a time there are one or two blanks before the text.
    const bool hasNoTime = takeStart(line, ": ") || takeStart(line, " : ");
    if (!hasNoTime) {
        constexpr std::string_view kEnd = " : ";
        const std::size_t end = line.substr(0, kMaxTimeBytes + kEnd.size()).find(kEnd);
        if (end == std::string_view::npos || !parseTime(line.substr(0, end), parsed)) return false;
        line.remove_prefix(end + kEnd.size());
    }
    parsed.text = line;
    return true;
}

void appendTime(std::string& text, const LogLine& line)
{
    using namespace std::chrono;
    if (!line.hasTime) return;
    // The limits of the years from 0 to 9999. They are checked with and without the offset.
    constexpr long kFirstMs = -62'167'219'200'000;
    constexpr long kLastMs = 253'402'300'799'999;
    if (line.timeMs < kFirstMs || line.timeMs > kLastMs) return;
    if (line.offsetSec <= -kSecondsInDay || line.offsetSec >= kSecondsInDay) return;
    const long localMs = line.timeMs + line.offsetSec * 1000;
    if (localMs < kFirstMs || localMs > kLastMs) return;
    const long seconds = divideDown(localMs, 1000);
    const long dayNumber = divideDown(seconds, kSecondsInDay);
    const year_month_day date{sys_days{days(dayNumber)}};
    const auto clock = static_cast<unsigned long>(seconds - dayNumber * kSecondsInDay);
    appendDigits(text, static_cast<unsigned long>(static_cast<int>(date.year())), 4);
    appendDigits(text += '-', static_cast<unsigned int>(date.month()), 2);
    appendDigits(text += '-', static_cast<unsigned int>(date.day()), 2);
    appendDigits(text += 'T', clock / 3600, 2);
    appendDigits(text += ':', clock / 60 % 60, 2);
    appendDigits(text += ':', clock % 60, 2);
    if (line.hasFraction)
        appendDigits(text += '.', static_cast<unsigned long>(localMs - seconds * 1000), 3);
    const auto offset =
        static_cast<unsigned long>(line.offsetSec < 0 ? -line.offsetSec : line.offsetSec);
    appendDigits(text += line.offsetSec < 0 ? '-' : '+', offset / 3600, 2);
    appendDigits(text += ':', offset / 60 % 60, 2);
}

void appendJsonLine(std::string& json, const LogLine& line)
{
    std::string time;
    appendTime(time, line);
    json += '{';
    if (!time.empty()) json.append(R"("time":")").append(time).append(R"(",)");
    json.append(R"("level":")").append(getTypeName(line.type)).append(R"(")");
    if (!line.subType.empty()) appendJsonString(json += R"(,"subType":)", line.subType);
    json.append(R"(,"pid":)").append(std::to_string(line.processId));
    if (!line.threadId.empty()) appendJsonString(json += R"(,"tid":)", line.threadId);
    appendJsonString(json += R"(,"text":)", line.text);
    json += "}\n";
}

}  // namespace qz::ext
