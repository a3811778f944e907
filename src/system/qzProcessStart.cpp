// SPDX-License-Identifier: MIT
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <qz/qzDirUtils.h>
#include <qz/qzProcess.h>

#include "ChildWatch.h"
#include "ProcessState.h"
#include "ProgramStart.h"
#include "frame/base/ScopedSignalBlock.h"

namespace qz {

namespace {

// The exit of the process between this one and a detached program runs what the application has
// registered for its own exit, which may hang there without the application's threads.
constexpr int kIntermediateTimeMs = 5000;

int getNiceValue(qzProcess::ProcessPriority priority)
{
    switch (priority) {
        case qzProcess::PriorityLow:
            return 1;
        case qzProcess::PriorityNormal:
            return 0;
        case qzProcess::PriorityHigh:
            return -1;
        case qzProcess::PriorityInherit:
            break;
    }
    return ::getpriority(PRIO_PROCESS, 0);
}

// Blocks the asynchronous signals during a start: a handler that throws would leave a child that
// nobody knows. A ScopedSignalBlock would be undone by the fork, in the child.
class StartSignalBlock {
public:
    StartSignalBlock() { blockAsynchronousSignals(mBefore); }
    // What came meanwhile is handled here, and may be thrown.
    ~StartSignalBlock() noexcept(false) { setSignalMask(mBefore); }
    StartSignalBlock(const StartSignalBlock&) = delete;
    StartSignalBlock& operator=(const StartSignalBlock&) = delete;

private:
    sigset_t mBefore;
};

bool isStartedByIntermediate(pid_t pid)
{
    siginfo_t end = {};
    constexpr int kPeriodMs = 10;
    system::ProcessDeathWatch death(pid);
    for (int waitedMs = 0; waitedMs < kIntermediateTimeMs; waitedMs += kPeriodMs) {
        if (!system::waitForChild(pid, WNOHANG, end)) return false;
        if (end.si_pid != 0) return !system::hasStartFailed(end);
        death.sleep(kPeriodMs);
    }
    ::kill(pid, SIGKILL);
    return system::waitForChild(pid, 0, end) && !system::hasStartFailed(end);
}

}  // namespace

bool qzProcess::start(const std::string& program, const std::vector<std::string>& arguments,
                      bool absoluteProgram, ProcessPriority priority, bool isDetached)
{
    updateProcessState();
    Impl& process = *mImpl;
    if (process.state == Running) return false;
    process.clearEnd();
    process.state = Finished;
    process.program = program;
    process.arguments = arguments;
    const system::ProgramStart image({process.program, process.arguments, process.workingDirectory,
                                      process.environment, process.inheritEnvironment,
                                      absoluteProgram, getNiceValue(priority)});
    const StartSignalBlock signals;
    if (isDetached) {
        const pid_t intermediate = image.forkDetached();
        if (intermediate < 0) return false;
        process.detached = true;
        process.setPid(0);
        if (!isStartedByIntermediate(intermediate)) return false;
        process.state = Running;
        process.started = true;
        return true;
    }
    pid_t pid = image.spawn();
    if (pid < 0) pid = image.fork();
    if (pid < 0) return false;
    process.waitOnDestroy = true;
    system::sleepForStart(pid);
    process.detached = false;
    process.state = Running;
    process.setPid(pid);
    updateProcessState();
    const bool hasFailed = process.state != Running && process.killed &&
                           process.exitCode == system::kStartFailedSignal;
    process.started = !hasFailed;
    if (hasFailed) {
        process.crashed = false;
        process.exitCode = 0;
    }
    return true;
}

bool qzProcess::startProcess(const std::string& program, const std::vector<std::string>& arguments,
                             bool absoluteProgram, ProcessPriority priority)
{
    return start(program, arguments, absoluteProgram, priority, /*isDetached=*/false);
}

bool qzProcess::StartDetachedUtf8(const std::string& program,
                                  const std::vector<std::string>& arguments,
                                  const std::string& workingDirectory, bool absoluteProgram)
{
    qzProcess process;
    process.setWorkingDirectory(workingDirectory);
    return process.start(program, arguments, absoluteProgram, PriorityInherit,
                         /*isDetached=*/true) &&
           !process.hasFailedToStart();
}

bool qzProcess::StartDetachedUtf8(const std::string& commandLine)
{
    std::string program;
    std::vector<std::string> arguments;
    if (!SplitCommandLine(commandLine, program, arguments)) return false;
    const std::string path = qzDirUtils::GetAbsolutePathUtf8(program, "");
    std::string folder;
    std::string fileName;
    qzDirUtils::SplitFolderFilename(path, folder, fileName);
    return StartDetachedUtf8(path, arguments, folder, /*absoluteProgram=*/true);
}

}  // namespace qz
