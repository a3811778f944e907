// Runs a program, with its output in the log, and ends all of it in time.

#include <cerrno>
#include <iostream>
#include <string>
#include <vector>

#include <qz/ext/ChildProcess.h>
#include <qz/ext/LibraryStart.h>
#include <qz/qzCancelConsoleEventCatcher.h>
#include <qz/qzDirUtils.h>
#include <qz/qzLockFile.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "Options.h"
#include "Status.h"

namespace {

using namespace run;
using qz::qzLog;
using namespace qz::ext;

constexpr int kMsPerSec = 1000;
const char* const kChannel = "run";

int fail(const std::string& message)
{
    std::cerr << "run: " << message << '\n';
    return StatusFailed;
}

int reportFailedStart(const SystemFailure& failure)
{
    qz::logCritical(kChannel) << "not started: " << failure.toString();
    return failure.error == ENOENT ? StatusMissing : StatusNotExecuted;
}

int reportEnd(const ChildResult& result)
{
    if (result.ends.empty()) return reportFailedStart(result.failure);
    if (result.failure) qz::logWarning(kChannel) << result.failure.toString();
    if (result.isCancelled) {
        qz::logWarning(kChannel) << "interrupted";
        return StatusInterrupted;
    }
    if (result.hasTimedOut) {
        qz::logWarning(kChannel) << "ended after the time limit";
        return StatusTimeout;
    }
    const ChildEnd& end = result.ends[0];
    if (end.signal == 0) {
        qz::logInfo(kChannel) << "exit status " << end.exitStatus;
        return end.exitStatus;
    }
    qz::logWarning(kChannel) << "ended by signal " << end.signal;
    return StatusSignal + end.signal;
}

int runOnce(const Options& options, const qz::qzCancelInterfaceReadOnly& cancel)
{
    ChildOptions child;
    child.programs = {{options.program, options.arguments}};
    child.input = ChildInput::Inherited();
    child.output = ChildOutput::Log(qzLog::Info, "out");
    child.error = ChildOutput::Log(qzLog::Warning, "err");
    child.endsWithParent = true;
    ChildWait wait;
    wait.cancel = &cancel;
    if (options.timeoutSec > 0) wait.timeoutMs = static_cast<int>(options.timeoutSec) * kMsPerSec;
    return reportEnd(ChildProcess::Run(std::move(child), wait));
}

int runWithRetries(const Options& options)
{
    const auto* const cancel = qz::qzCancelConsoleEventCatcher::Create();
    int status = runOnce(options, *cancel);
    for (unsigned long retry = 1; retry <= options.retries; ++retry) {
        if (status == 0 || cancel->shouldCancel()) break;
        qz::logInfo(kChannel) << "retry " << retry << " of " << options.retries;
        status = runOnce(options, *cancel);
    }
    qz::qzCancelConsoleEventCatcher::Delete();
    return status;
}

// Appends to the file and keeps the files beside it. If it can't be made, the log reports so and
// continues on the console.
void logTo(const std::string& path)
{
    constexpr int kAppend = 0;
    constexpr long kNoSizeLimit = 0;
    constexpr int kKeepAll = -1;
    qzLog::msInstance->installFileHandlerExUtf8(path, kAppend, kNoSizeLimit, kKeepAll,
                                                qzLog::RotateNever);
}

int runLocked(const Options& options)
{
    qz::qzLockFile lock;
    if (!options.lockName.empty()) {
        std::string error;
        const std::string path =
            qz::qzDirUtils::GetTempFolderUtf8() + "/run-" + options.lockName + ".lock";
        if (!lock.takeLockUtf8(path, nullptr, qz::qzLockFile::LockExclusive, &error))
            return fail("'" + options.lockName + "' is locked: " + error);
    }
    return runWithRetries(options);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    Options options;
    if (const std::optional<int> status = parseOptions(argumentCount, arguments, options))
        return *status;
    const LibraryStart library(qz::FullInit);
    if (!options.logPath.empty()) logTo(options.logPath);
    return runLocked(options);
}
