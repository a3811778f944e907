#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>

#include <qz/qzLog.h>
#include <qz/qzSystemUtils.h>

#include "LogTime.h"

namespace qz {

namespace {

std::string_view getTypeText(int type)
{
    switch (type) {
        case qzLog::Dev:
            return "DEV";
        case qzLog::Trace:
            return "TRACE";
        case qzLog::Debug:
            return "DEBUG";
        case qzLog::Info:
            return "INFO";
        case qzLog::Warning:
            return "WARNING";
        case qzLog::Critical:
            return "CRITICAL";
        default:
            return "UNKNOWN";
    }
}

// Concatenates the pieces. The text is resized once: appending piece by piece takes one and a half
// times as long for a whole prefix.
template <typename... Pieces>
void join(std::string& text, const Pieces&... pieces)
{
    text.resize((pieces.size() + ...));
    char* out = text.data();
    ((out = std::copy(pieces.begin(), pieces.end(), out)), ...);
}

}  // namespace

void qzLog::LogEntry::computeLogPrefix(bool withTime)
{
    using namespace std::string_view_literals;
    const bool withSubType = !subType.empty();
    const bool withThread = !threadId.empty();
    char digits[24];
    const char* const digitsEnd =
        std::to_chars(digits, std::end(digits), qzSystemUtils::GetCurrentProcessID()).ptr;
    const auto digitsSize = static_cast<std::size_t>(digitsEnd - digits);
    std::string made;
    join(prefix, getTypeText(type),                                          //
         withSubType ? "("sv : ""sv, subType, withSubType ? ")"sv : ""sv,    //
         " PID "sv, std::string_view(digits, digitsSize), " "sv,             //
         withThread ? "TID "sv : ""sv, threadId, withThread ? " "sv : ""sv,  //
         withTime ? log::getTimeText(timeMs / 1000, made) : ""sv, withTime ? " "sv : ""sv, ": "sv);
}

}  // namespace qz
