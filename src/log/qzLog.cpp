#include <qz/qzLog.h>

#include <utility>

#include <syslog.h>

#include <qz/qzSystemUtils.h>

#include "LogLine.h"
#include "frame/Relaxed.h"
#include "qzLogParameters.h"

namespace qz {

qzLog* qzLog::msInstance = nullptr;

void qzLog::createInstance(bool threadSafe)
{
    if (msInstance != nullptr) return;
    msInstance = std::make_unique<qzLog>(threadSafe).release();
    ::openlog(nullptr, 0, LOG_USER);
}

void qzLog::destroyInstance()
{
    // The pointer goes last: what the logger has to say on its way still finds it.
    delete msInstance;
    msInstance = nullptr;
}

qzLog::qzLog(bool /*threadSafe*/) : mParameters(std::make_unique<qzLogParameters>())
{
    for (bool& enabled : mTypeEnabled) {
        enabled = true;
    }
    setLogLevel(LogLevelNormal);
}

qzLog::~qzLog() = default;

void qzLog::setLogLevel(qzLogLevel level)
{
    relaxedStore(mTypeEnabled[Dev], level == LogLevelAll || level == LogLevelDebug);
    relaxedStore(mTypeEnabled[Trace], level == LogLevelAll);
    relaxedStore(mTypeEnabled[Debug], level == LogLevelAll || level == LogLevelDebug);
}

qzLogLevel qzLog::getLogLevel() const
{
    if (!isTypeEnabled(Debug)) return LogLevelNormal;
    return isTypeEnabled(Trace) ? LogLevelAll : LogLevelDebug;
}

void qzLog::setEchoToConsole(bool echo)
{
    mParameters->echoToConsole = echo;
}

bool qzLog::installCustomHandler(CustomHandler handler, void* data)
{
    if (handler != nullptr && mParameters->customHandler != nullptr) return false;
    mParameters->customHandler = handler;
    mParameters->customHandlerData = data;
    return true;
}

void qzLog::Write(LogEntry& entry, bool /*synchronous*/)
{
    std::list<LogEntry> batch;
    batch.push_back(std::move(entry));
    WriteImpl(*mParameters, batch);
}

std::string qzLog::GetTime()
{
    return qzSystemUtils::GetCurrentTimeAsString(kLogTimeFormat, true);
}

}  // namespace qz
