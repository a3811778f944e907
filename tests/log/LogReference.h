// SPDX-License-Identifier: MIT
#pragma once

#include <time.h>
#include <unistd.h>

#include <iterator>
#include <locale>
#include <random>
#include <sstream>
#include <string>

#include <qz/qzLog.h>
#include <qz/qzStringUtils.h>

namespace qz::reference {

/// The text of an entry type on a line.
inline std::string getTypeText(int type)
{
    const char* const texts[] = {"DEV", "TRACE", "DEBUG", "INFO", "WARNING", "CRITICAL"};
    return type >= 0 && type < 6 ? texts[type] : "UNKNOWN";
}

/// The time of a line, with every call asking the system anew.
inline std::string makeTime(long timeMs)
{
    const time_t seconds = timeMs / 1000;
    tm parts = {};
    ::localtime_r(&seconds, &parts);
    char buffer[129];
    const std::size_t size = ::strftime(buffer, sizeof buffer, "%a %b %d %H:%M:%S%z %Y", &parts);
    return qzStringUtils::convertCharset({buffer, size}, qzStringUtils::CharSetLocal,
                                         qzStringUtils::CharSetUtf8);
}

/// The prefix of an entry in its plainest form, piece by piece through a stream.
inline std::string makePrefix(const qzLog::LogEntry& entry, bool withTime = true)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << getTypeText(entry.type);
    if (!entry.subType.empty()) text << '(' << entry.subType << ')';
    text << " PID " << ::getpid() << ' ';
    if (!entry.threadId.empty()) text << "TID " << entry.threadId << ' ';
    if (withTime) text << makeTime(entry.timeMs) << ' ';
    text << ": ";
    return text.str();
}

/// The line of an entry.
inline std::string makeLine(const qzLog::LogEntry& entry)
{
    return makePrefix(entry) + entry.message + '\n';
}

/// What random tests begin with, one run each.
inline constexpr unsigned kSeeds[] = {1, 2, 3, 5, 8, 13, 21, 34};

/// Makes random choices and random entries.
class Generator {
public:
    explicit Generator(unsigned seed) : mEngine(seed) {}

    long getNumber(long smallest, long largest)
    {
        return std::uniform_int_distribution<long>(smallest, largest)(mEngine);
    }
    template <typename Choices>
    auto choose(const Choices& choices)
    {
        return choices[static_cast<std::size_t>(
            getNumber(0, static_cast<long>(std::size(choices)) - 1))];
    }
    bool toss() { return getNumber(0, 1) == 1; }

    /// Near and far, before and after the epoch, and all around the changes of summer time.
    long makeTimeMs()
    {
        constexpr long kYearMs = 365L * 24 * 3600 * 1000;
        constexpr long kHourMs = 3600L * 1000;
        constexpr long kNow = 1794687476789;              // Nov 14 2026
        constexpr long kSpringInEurope = 1774746000000;   // Mar 29 2026, 01:00 UTC
        constexpr long kAutumnInAmerica = 1793512800000;  // Nov 1 2026, 06:00 UTC
        const long times[] = {
            kNow + getNumber(-kYearMs, kYearMs),
            kSpringInEurope + getNumber(-2 * kHourMs, 2 * kHourMs),
            kAutumnInAmerica + getNumber(-2 * kHourMs, 2 * kHourMs),
            getNumber(-200 * kYearMs, 200 * kYearMs),
            getNumber(-2000, 2000),
            getNumber(-20000 * kYearMs, 20000 * kYearMs),
        };
        return choose(times);
    }

    std::string makeText()
    {
        std::string text(static_cast<std::size_t>(getNumber(0, 40)), '\0');
        for (char& c : text)
            c = static_cast<char>(getNumber(0, 255));
        return text;
    }

    qzLog::LogEntry makeEntry()
    {
        qzLog::LogEntry entry;
        entry.type = static_cast<int>(getNumber(-1, 7));
        entry.message = makeText();
        if (toss()) entry.subType = makeText();
        if (toss()) entry.systemLogTag = makeText();
        if (toss()) entry.threadId = std::to_string(getNumber(1, 4194304));
        entry.timeMs = makeTimeMs();
        return entry;
    }

private:
    std::mt19937_64 mEngine;
};

}  // namespace qz::reference
