#include <time.h>

#include <qz/qzStringUtils.h>
#include <qz/qzSystemUtils.h>

#include "text/TextServices.h"

namespace qz {

namespace {

constexpr std::size_t kBufferSize = 129;

// Gives the text in the process's character set; empty when it doesn't fit or has no meaning.
std::string formatTime(long seconds, const char* format, bool localTime)
{
    tm parts = {};
    const time_t time = seconds;
    const tm* known = localTime ? ::localtime_r(&time, &parts) : ::gmtime_r(&time, &parts);
    if (known == nullptr || format == nullptr) return {};
    char buffer[kBufferSize];
    return {buffer, ::strftime(buffer, sizeof buffer, format, &parts)};
}

}  // namespace

std::string qzSystemUtils::ConvertSecElapsedSinceEpochToString(long seconds, const char* format,
                                                               bool localTime)
{
    std::string text = formatTime(seconds, format, localTime);
    // Log lines want their time also before the start and after the stop.
    if (!text::areServicesUp()) return text;
    return qzStringUtils::convertCharset(text, qzStringUtils::CharSetLocal,
                                         qzStringUtils::CharSetUtf8);
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
