// SPDX-License-Identifier: MIT
#include "TimeText.h"

#include <atomic>
#include <chrono>

#include <qz/qzStringUtils.h>
#include <qz/qzSystemUtils.h>

#include "ForkProtocol.h"
#include "Relaxed.h"
#include "text/TextServices.h"

namespace qz {

namespace {

constexpr std::size_t kBufferSize = 129;

// What is used where the zone can't be looked up. The C library never frees the name of a zone.
struct KnownZone {
    long offsetSec = 0;
    int isSummerTime = 0;
    const char* name = "UTC";
};
KnownZone gKnownZone;  // read and written by all threads; any mix of two of its states will do

std::atomic<int> gKnownZoneScopes = 0;

void rememberZone(const tm& parts)
{
    relaxedStore(gKnownZone.offsetSec, parts.tm_gmtoff);
    relaxedStore(gKnownZone.isSummerTime, parts.tm_isdst);
    relaxedStore(gKnownZone.name, parts.tm_zone);
}

// No call of the C library, since even `gmtime_r` takes the lock of the time zones.
bool computeLocalTime(long second, tm& parts)
{
    using namespace std::chrono;
    constexpr long kMostSeconds = 900'000'000'000;  // the calendar ends with the year 32767
    if (second < -kMostSeconds || second > kMostSeconds) return false;
    const sys_seconds local{seconds(second + relaxedLoad(gKnownZone.offsetSec))};
    const sys_days day = floor<days>(local);
    const year_month_day date{day};
    const hh_mm_ss time{local - day};
    parts.tm_sec = static_cast<int>(time.seconds().count());
    parts.tm_min = static_cast<int>(time.minutes().count());
    parts.tm_hour = static_cast<int>(time.hours().count());
    parts.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    parts.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    parts.tm_year = static_cast<int>(date.year()) - 1900;
    parts.tm_wday = static_cast<int>(weekday(day).c_encoding());
    parts.tm_yday = static_cast<int>((day - sys_days(date.year() / January / 1)).count());
    parts.tm_isdst = relaxedLoad(gKnownZone.isSummerTime);
    parts.tm_gmtoff = relaxedLoad(gKnownZone.offsetSec);
    parts.tm_zone = relaxedLoad(gKnownZone.name);
    return true;
}

}  // namespace

KnownZoneScope::KnownZoneScope() noexcept
{
    ++gKnownZoneScopes;
}

KnownZoneScope::~KnownZoneScope()
{
    --gKnownZoneScopes;
}

void rememberPresentZone()
{
    tm now = {};
    getLocalTime(qzSystemUtils::GetSecElapsedSinceEpoch(), now);
}

bool getLocalTime(long second, tm& parts)
{
    if (isForkedChild() || gKnownZoneScopes.load(std::memory_order_relaxed) != 0)
        return computeLocalTime(second, parts);
    const time_t time = second;
    if (::localtime_r(&time, &parts) == nullptr) return false;
    rememberZone(parts);
    return true;
}

std::string formatTime(const tm& parts, const char* format)
{
    char buffer[kBufferSize];
    std::string text(buffer, ::strftime(buffer, sizeof buffer, format, &parts));
    // Log lines have a time also before the start and after the stop.
    if (!text::areServicesUp()) return text;
    return qzStringUtils::convertCharset(text, qzStringUtils::CharSetLocal,
                                         qzStringUtils::CharSetUtf8);
}

std::string getPresentTimeText(const char* format)
{
    tm now = {};
    const bool isKnown = getLocalTime(qzSystemUtils::GetSecElapsedSinceEpoch(), now);
    return isKnown ? formatTime(now, format) : std::string();
}

std::string qzSystemUtils::ConvertSecElapsedSinceEpochToString(long seconds, const char* format,
                                                               bool localTime)
{
    tm parts = {};
    const time_t time = seconds;
    const tm* const known = localTime ? ::localtime_r(&time, &parts) : ::gmtime_r(&time, &parts);
    return known != nullptr && format != nullptr ? formatTime(parts, format) : std::string();
}

std::string qzSystemUtils::GetCurrentTimeAsString(const char* format, bool localTime)
{
    return ConvertSecElapsedSinceEpochToString(GetSecElapsedSinceEpoch(), format, localTime);
}

std::string qzSystemUtils::GetCurrentDateTimeISO(bool localTime)
{
    return GetCurrentTimeAsString("%FT%T%z", localTime);
}

}  // namespace qz
