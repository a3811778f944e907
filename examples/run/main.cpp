// SPDX-License-Identifier: MIT
// Runs a program, with its output in the log, and ends all of it in time.

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <qz/ext/ChildProcess.h>
#include <qz/ext/FileLock.h>
#include <qz/ext/LibraryStart.h>
#include <qz/ext/PrintableText.h>
#include <qz/qzCancelConsoleEventCatcher.h>
#include <qz/qzCancelIfParentProcessDied.h>
#include <qz/qzDirUtils.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "Options.h"
#include "Status.h"
#include "Worker.h"

namespace {

using namespace run;
using qz::qzLog;
using namespace qz::ext;

constexpr int kMsPerSec = 1000;
const char* const kChannel = "run";

// How a run ended, and whether another one may end better.
struct Outcome {
    int status;
    bool canBeRetried;
};

int fail(const std::string& message)
{
    std::cerr << "run: " << escaped(message) << '\n';
    return StatusFailed;
}

// As it could be typed, as long as no argument contains a quote.
std::string describeCommand(const Options& options)
{
    std::string text = options.program;
    for (const std::string& argument : options.arguments) {
        const bool isPlain = !argument.empty() &&
                             argument.find_first_of(" \t\n\"\\$&|;<>()*?#~`") == std::string::npos;
        text += isPlain ? ' ' + argument : " '" + argument + '\'';
    }
    return text;
}

Outcome reportFailedStart(const SystemFailure& failure)
{
    qz::logCritical(kChannel) << "not started: " << failure.toString();
    return {failure.error == ENOENT ? StatusMissing : StatusNotExecuted, false};
}

Outcome reportEnd(const ChildResult& result)
{
    if (result.ends.empty()) return reportFailedStart(result.failure);
    if (result.failure) qz::logWarning(kChannel) << result.failure.toString();
    if (result.isCancelled) {
        qz::logWarning(kChannel) << "interrupted";
        return {StatusInterrupted, false};
    }
    if (result.hasTimedOut) {
        qz::logWarning(kChannel) << "ended after the time limit";
        return {StatusTimeout, true};
    }
    const ChildEnd& end = result.ends[0];
    if (end.signal != 0) {
        qz::logWarning(kChannel) << "ended by signal " << end.signal << " ("
                                 << ::strsignal(end.signal) << ')';
        return {StatusSignal + end.signal, true};
    }
    const qzLog::EntryType type = end.exitStatus == 0 ? qzLog::Info : qzLog::Warning;
    qz::qzLogObject(type, /*synchronous=*/false, kChannel, nullptr)
        << "exit status " << end.exitStatus;
    return {end.exitStatus, end.exitStatus != 0};
}

Outcome runOnce(const Options& options, const qz::qzCancelInterfaceReadOnly& cancel)
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

int runWithRetries(const Options& options, const qz::qzCancelInterfaceReadOnly& cancel)
{
    qz::logInfo(kChannel) << "command: " << escaped(describeCommand(options));
    Outcome outcome = runOnce(options, cancel);
    for (unsigned long retry = 1; retry <= options.retries; ++retry) {
        if (!outcome.canBeRetried || cancel.shouldCancel()) break;
        qz::logInfo(kChannel) << "retry " << retry << " of " << options.retries;
        outcome = runOnce(options, cancel);
    }
    return outcome.status;
}

// Ctrl-C, SIGTERM and the end of the first process request an end.
int runUntilCancelled(const Options& options, pid_t watchedPid)
{
    const auto* const console = qz::qzCancelConsoleEventCatcher::Create();
    int status = StatusInterrupted;
    {
        const qz::qzCancelIfParentProcessDied cancel(console);
        // It may have ended before.
        if (::getppid() == watchedPid) status = runWithRetries(options, cancel);
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

int runAlone(const Options& options, pid_t watchedPid)
{
    if (qz::qzDirUtils::DirExistsUtf8(options.logPath))
        return fail("the log '" + options.logPath + "' is a folder");
    SingleInstance instance;
    SystemFailure failure;
    if (!options.lockName.empty() && !instance.claim("run-" + options.lockName, &failure))
        return fail("'" + options.lockName + "' is locked: " + failure.toString());
    if (!options.logPath.empty()) logTo(options.logPath);
    return runUntilCancelled(options, watchedPid);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    Options options;
    if (const std::optional<int> status = parseOptions(argumentCount, arguments, options))
        return *status;
    // Without it, the number would go to the next file that is opened, and the log into that file.
    if (options.logPath.empty() && ::fcntl(STDOUT_FILENO, F_GETFD) < 0)
        return fail("the standard output is closed, and there is no --log");
    pid_t watchedPid = 0;
    if (const std::optional<int> status = continueInWorker(watchedPid)) return *status;
    const LibraryStart library(qz::FullInit);
    return runAlone(options, watchedPid);
}
