#include <iostream>
#include <utility>

#include <qz/qzLog.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "LogFile.h"
#include "LogFileBatch.h"
#include "LogLine.h"
#include "qzLogParameters.h"

namespace qz {

void writeLine(std::ostream& out, std::string_view prefix, std::string_view message)
{
    std::string line;
    line.reserve(prefix.size() + message.size() + 1);
    line.append(prefix).append(message) += '\n';
    out.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
}

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

}  // namespace

void qzLog::WriteImpl(qzLogParameters& parameters, std::list<LogEntry>& batch)
{
    log::LogFileBatch file(parameters);
    for (LogEntry& entry : batch) {
        if (isSwitchedOff(parameters, entry)) return;
        if (entry.type == Debug && !parameters.pendingNotice.empty()) {
            file.close();  // so that the notice stands between the lines of this batch
            writePendingNotice(parameters);
        }
        entry.computeLogPrefix(true);
        if (parameters.echoToConsole || parameters.consoleFallback) {
            writeLine(std::cout, entry.prefix, entry.message);
        }
        log::updateFileName(parameters);
        if (!parameters.requestedPath.empty()) file.write(entry);
    }
    file.close();  // the handler sees what is on the disk
    if (parameters.customHandler != nullptr) {
        parameters.customHandler(batch, parameters.customHandlerData);
    }
}

}  // namespace qz
