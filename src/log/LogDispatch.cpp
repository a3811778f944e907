// SPDX-License-Identifier: MIT
#include <utility>

#include <qz/qzLog.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "Console.h"
#include "LogEntry.h"
#include "LogFile.h"
#include "LogTime.h"
#include "SignalSafety.h"
#include "qzLogParameters.h"

namespace qz {

namespace {

bool isSwitchedOff(const qzLogParameters& parameters, const qzLog::LogEntry& entry)
{
    return entry.type == qzLog::Debug && !entry.subType.empty() &&
           parameters.subTypeBlacklist.contains(entry.subType);
}

// Writes an entry whose prefix is made.
void writeEntry(const qzLogParameters& parameters, log::LogFile& file, const qzLog::LogEntry& entry)
{
    if (parameters.echoToConsole || parameters.consoleFallback) {
        log::Console::WriteLine(entry.prefix, entry.message);
    }
    file.updateName();
    if (file.isRequested()) file.write(entry);
}

// The handler isn't entered again while it runs, for example if it crashes or reports something: it
// may hold a mutex of its own.
void callCustomHandler(const qzLogParameters& parameters, std::list<qzLog::LogEntry>& batch)
{
    if (parameters.customHandler == nullptr || log::HandlerCall::IsRunning()) return;
    const log::HandlerCall call;
    parameters.customHandler(batch, parameters.customHandlerData);
}

// For the handler the notice is a batch of its own. In the file it is a line of the batch that it
// comes up in, since a file is opened only once in a batch.
void writePendingNotice(qzLogParameters& parameters, log::LogFile& file)
{
    std::list<qzLog::LogEntry> batch(1);
    qzLog::LogEntry& notice = batch.front();
    notice.type = qzLog::Debug;
    notice.message = std::exchange(parameters.pendingNotice, {});
    notice.timeMs = qzSystemUtils::GetMSecElapsedSinceEpoch();
    notice.threadId = qzThread::CurrentThreadId();
    notice.computeLogPrefix(true);
    writeEntry(parameters, file, notice);
    file.flush();  // before the handler is called, which may read the file
    callCustomHandler(parameters, batch);
}

}  // namespace

void qzLog::WriteImpl(qzLogParameters& parameters, std::list<LogEntry>& batch)
{
    log::LogFile file(parameters);
    log::BatchTime time;
    std::string prefix;  // the memory of the prefixes that nobody reads any more
    for (LogEntry& entry : batch) {
        if (isSwitchedOff(parameters, entry)) return;
        if (entry.type == Debug && !parameters.pendingNotice.empty()) {
            writePendingNotice(parameters, file);
            time.forget();  // the handler may have changed the zone or the locale
        }
        if (parameters.customHandler == nullptr) entry.prefix.swap(prefix);
        log::computePrefix(entry, time.getText(entry.timeMs / 1000));
        writeEntry(parameters, file, entry);
        if (parameters.customHandler == nullptr) entry.prefix.swap(prefix);
    }
    file.close();  // before the handler is called, as for the notice
    callCustomHandler(parameters, batch);
}

}  // namespace qz
