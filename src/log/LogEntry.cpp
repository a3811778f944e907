#include <charconv>

#include <qz/qzLog.h>
#include <qz/qzSystemUtils.h>

#include "LogTime.h"

namespace qz {

namespace {

const char* getTypeText(int type)
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

void appendNumber(std::string& text, long number)
{
    char digits[24];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

}  // namespace

void qzLog::LogEntry::computeLogPrefix(bool withTime)
{
    prefix = getTypeText(type);
    if (!subType.empty()) {
        prefix += '(';
        prefix += subType;
        prefix += ')';
    }
    prefix += " PID ";
    appendNumber(prefix, qzSystemUtils::GetCurrentProcessID());
    prefix += ' ';
    if (!threadId.empty()) {
        prefix += "TID ";
        prefix += threadId;
        prefix += ' ';
    }
    if (withTime) {
        appendLogTime(prefix, timeMs / 1000);
        prefix += ' ';
    }
    prefix += ": ";
}

}  // namespace qz
