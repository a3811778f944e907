#include "SystemLog.h"

#include <mutex>

#include <syslog.h>
#include <time.h>

#include <qz/qzLog.h>
#include <qz/qzStringUtils.h>

#include "Console.h"
#include "SignalSafety.h"
#include "text/TextServices.h"

namespace qz {

namespace {

constexpr std::size_t kLargestText = 16384;

std::mutex gCallMutex;       // held by the thread that is in `syslog`
bool gIsHeldByFork = false;  // written by the thread that forks, with the log's mutex locked
bool gIsUsable = true;       // false in a child that may find the C library's lock locked

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
    if (echoToStdErr) log::Console::WriteErrorLine(text);
    if (!gIsUsable) return;
    // A report before the start or after the stop goes out as it is.
    if (text::areServicesUp()) {
        text = qzStringUtils::convertCharset(text, qzStringUtils::CharSetUtf8,
                                             qzStringUtils::CharSetLocal);
    }
    const log::ScopedSignalBlock signals;  // the report of a signal may come here as well
    const std::lock_guard<std::mutex> lock(gCallMutex);
    ::syslog(getPriority(entry.type), "%s", text.c_str());
}

namespace log {

void prepareSystemLogForFork()
{
    constexpr int kMostTries = 1000;
    constexpr timespec kPause = {0, 1'000'000};
    bool isLocked = gCallMutex.try_lock();
    for (int i = 0; i < kMostTries && !isLocked; ++i) {
        ::nanosleep(&kPause, nullptr);
        isLocked = gCallMutex.try_lock();
    }
    if (isLocked) gIsHeldByFork = true;
}

void resumeSystemLogInParent()
{
    if (!gIsHeldByFork) return;
    gIsHeldByFork = false;
    gCallMutex.unlock();
}

void resumeSystemLogInChild()
{
    gIsUsable = gIsUsable && gIsHeldByFork;
    resumeSystemLogInParent();
}

}  // namespace log

}  // namespace qz
