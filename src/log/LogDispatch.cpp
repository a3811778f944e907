#include <utility>

#include <qz/qzLog.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "Console.h"
#include "LogFile.h"
#include "SignalSafety.h"
#include "qzLogParameters.h"

namespace qz {

namespace {

bool isSwitchedOff(const qzLogParameters& parameters, const qzLog::LogEntry& entry)
{
    return entry.type == qzLog::Debug && !entry.subType.empty() &&
           parameters.subTypeBlacklist.contains(entry.subType);
}

void writePendingNotice(qzLogParameters& parameters)
{
    std::list<qzLog::LogEntry> batch(1);
    qzLog::LogEntry& notice = batch.front();
    notice.type = qzLog::Debug;
    notice.message = std::exchange(parameters.pendingNotice, {});
    notice.timeMs = qzSystemUtils::GetMSecElapsedSinceEpoch();
    notice.threadId = qzThread::CurrentThreadId();
    qzLog::WriteImpl(parameters, batch);
}

// The handler isn't entered again while it runs, for example if it crashes or reports something: it
// may hold a mutex of its own.
void callCustomHandler(const qzLogParameters& parameters, std::list<qzLog::LogEntry>& batch)
{
    if (parameters.customHandler == nullptr || log::HandlerCall::IsRunning()) return;
    const log::HandlerCall call;
    parameters.customHandler(batch, parameters.customHandlerData);
}

}  // namespace

void qzLog::WriteImpl(qzLogParameters& parameters, std::list<LogEntry>& batch)
{
    log::LogFile file(parameters);
    for (LogEntry& entry : batch) {
        if (isSwitchedOff(parameters, entry)) return;
        if (entry.type == Debug && !parameters.pendingNotice.empty()) {
            file.close();  // so that the notice comes between the lines of this batch
            writePendingNotice(parameters);
        }
        entry.computeLogPrefix(true);
        if (parameters.echoToConsole || parameters.consoleFallback) {
            log::Console::WriteLine(entry.prefix, entry.message);
        }
        file.updateName();
        if (file.isRequested()) file.write(entry);
    }
    file.close();  // before the handler is called, which may read the file
    callCustomHandler(parameters, batch);
}

}  // namespace qz
