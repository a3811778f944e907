// SPDX-License-Identifier: MIT
#include <algorithm>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <qz/qzProcess.h>
#include <qz/qzSystemUtils.h>

#include "ChildWatch.h"
#include "ProcessState.h"

namespace qz {

namespace {

constexpr unsigned long kPollPeriodMs = 100;

}  // namespace

void qzProcess::updateProcessState()
{
    Impl& process = *mImpl;
    // Nothing can be known of a detached process.
    if (process.state != Running || process.detached || process.currentProcess) return;
    if (process.parentProcess) {
        if (::getppid() == process.pid) return;
    } else {
        siginfo_t end = {};
        const bool isOurs = system::waitForChild(process.pid, WNOHANG, end);
        if (isOurs && end.si_pid == 0) return;
        // If something else has waited for the child, the zeroes read as a crash.
        process.exitCode = end.si_status;
        if (end.si_code != CLD_EXITED) process.crashed = true;
        if (end.si_code == CLD_KILLED) process.killed = true;
    }
    process.state = Finished;
    process.endSeen = true;
}

bool qzProcess::waitForFinished(unsigned int timeoutMs)
{
    if (mImpl->currentProcess) return false;
    const unsigned long startMs = qzSystemUtils::GetTimeBaseMs();
    updateProcessState();
    if (mImpl->state != Running || timeoutMs == 0) return mImpl->state != Running;
    system::ProcessDeathWatch death(mImpl->pid);
    while (mImpl->state == Running) {
        const unsigned long elapsedMs = qzSystemUtils::GetTimeBaseMs() - startMs;
        if (elapsedMs >= timeoutMs) break;
        death.sleep(static_cast<int>(std::min(timeoutMs - elapsedMs, kPollPeriodMs)));
        updateProcessState();
    }
    return mImpl->state != Running;
}

void qzProcess::terminateProcess()
{
    if (mImpl->pid != 0 && !mImpl->endSeen) ::kill(mImpl->pid, SIGTERM);
}

void qzProcess::killProcess()
{
    if (mImpl->pid != 0 && !mImpl->endSeen) ::kill(mImpl->pid, SIGKILL);
}

}  // namespace qz
