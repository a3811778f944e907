// SPDX-License-Identifier: MIT
// A program is run to its end, one that is missing is started, one is started detached, and the
// process and its parent are looked at.

#include <stdlib.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include <qz/qzProcess.h>

#include "faults/Scenario.h"
#include "support/Children.h"
#include "support/LibraryStart.h"

namespace {

using qz::qzProcess;

// A clock that fails once makes any shorter time run out.
constexpr unsigned int kNoLimit = 0xFFFFFFFF;

std::string run()
{
    std::string error = "none";
    const int code = qzProcess::ExecUtf8("/bin/sh", {"-c", "exit 3"}, "", true, kNoLimit, &error);
    return "ran " + std::to_string(code) + " (" + error + ")";
}

std::string startMissing()
{
    qzProcess process;
    if (!process.startProcess("/no/such/program", {}, false, qzProcess::PriorityLow))
        return "no child";
    process.waitForFinished(kNoLimit);
    // A slow machine needs more than the time in which the failure is recognised.
    const bool isMissing = process.hasFailedToStart() || process.exitCode() == 10;
    return isMissing ? "missing" : "started, exit code " + std::to_string(process.exitCode());
}

std::string startDetached()
{
    return qzProcess::StartDetachedUtf8("/bin/true", {}, "", false) ? "detached" : "not detached";
}

std::string inspect()
{
    qzProcess self;
    qzProcess parent;
    const bool isKnown = qzProcess::GetCurrentProcess(self);
    qzProcess::GetParentProcess(parent);
    unsigned long resident = 0;
    unsigned long peak = 0;
    const bool hasMemory = self.getMemoryStatistics(resident, peak) && peak > 0;
    return std::string(isKnown ? "self with " : "not self, ") +
           (self.getArgumentsUtf8().empty() ? "no arguments, " : "arguments, ") +
           (parent.getProgramUtf8().empty() ? "a parent, " : "a parent with program, ") +
           (hasMemory ? "memory" : "no memory");
}

// Children that a fault has left are waited for, so that the next piece of work begins anew.
std::string work(const std::string& /*folder*/)
{
    std::string outcome;
    {
        const qz::faults::Watch watch;
        // First, as its files are then the first ones in each run: a start opens one more each time
        // when the machine is slow.
        const std::string inspected = inspect();
        outcome = run();
        outcome += "; " + startMissing();
        outcome += "; " + startDetached();
        outcome += "; " + inspected;
    }
    if (qz::support::hasChildren()) outcome += "; a child is left";
    return outcome;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    ::unsetenv("LD_PRELOAD");  // faults are for this program, not for its children
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &work);
}
