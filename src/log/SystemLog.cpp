#include <iostream>

#include <syslog.h>

#include <qz/qzLog.h>
#include <qz/qzStringUtils.h>

#include "LogLine.h"
#include "text/TextServices.h"

namespace qz {

namespace {

constexpr std::size_t kLargestText = 16384;

int getPriority(int type)
{
    switch (type) {
        case qzLog::Warning:
            return LOG_WARNING;
        case qzLog::Critical:
            return LOG_CRIT;
        default:
            return LOG_INFO;
    }
}

std::string makeText(const qzLog::LogEntry& entry)
{
    std::string text;
    if (!entry.systemLogTag.empty()) text = entry.systemLogTag + " : ";
    text += entry.prefix;
    text += entry.message;
    if (text.size() > kLargestText) text.resize(kLargestText);
    return text;
}

}  // namespace

void qzLog::WriteToSystemLog(const LogEntry& entry, bool echoToStdErr)
{
    if (entry.type == Debug) return;
    std::string text = makeText(entry);
    if (echoToStdErr) writeLine(std::cerr, {}, text);
    // A report ahead of the start or behind the stop goes out as it is.
    if (text::areServicesUp()) {
        text = qzStringUtils::convertCharset(text, qzStringUtils::CharSetUtf8,
                                             qzStringUtils::CharSetLocal);
    }
    ::syslog(getPriority(entry.type), "%s", text.c_str());
}

}  // namespace qz
