// SPDX-License-Identifier: MIT
#include <qz/qzProcess.h>

#include <limits>

#include "ProcessState.h"

namespace qz {

qzProcess::qzProcess() : mImpl(std::make_unique<Impl>()) {}

qzProcess::~qzProcess()
{
    if (mImpl->waitOnDestroy) waitForFinished(std::numeric_limits<int>::max());
    updateProcessState();
}

bool qzProcess::setWorkingDirectory(const std::string& path)
{
    updateProcessState();
    if (mImpl->state == Running) return false;
    mImpl->workingDirectory = path;
    return true;
}

bool qzProcess::setProcessEnvironmentUtf8(const std::vector<std::string>& variables, bool inherit)
{
    updateProcessState();
    if (mImpl->state == Running) return false;
    mImpl->environment = variables;
    mImpl->inheritEnvironment = inherit;
    return true;
}

qzProcess::ProcessState qzProcess::getState()
{
    updateProcessState();
    return mImpl->state;
}

bool qzProcess::hasCrashed()
{
    updateProcessState();
    return mImpl->crashed;
}

bool qzProcess::hasFailedToStart()
{
    updateProcessState();
    return !mImpl->started;
}

int qzProcess::exitCode()
{
    updateProcessState();
    return mImpl->exitCode;
}

int qzProcess::getPid() const
{
    return mImpl->pid;
}

const std::string& qzProcess::getProgramUtf8() const
{
    return mImpl->program;
}

const std::vector<std::string>& qzProcess::getArgumentsUtf8() const
{
    return mImpl->arguments;
}

const std::string& qzProcess::getWorkingDirectoryUtf8() const
{
    return mImpl->workingDirectory;
}

void qzProcess::getProcessEnvironmentUtf8(std::vector<std::string>& variables) const
{
    variables = mImpl->environment;
}

bool qzProcess::resetState()
{
    updateProcessState();
    if (mImpl->state == Running) return false;
    mImpl->state = NotStarted;
    mImpl->clearEnd();
    return true;
}

void qzProcess::clearProcess()
{
    mImpl->environment.clear();
    mImpl->arguments.clear();
    mImpl->workingDirectory.clear();
    mImpl->program.clear();
    mImpl->state = NotStarted;
    mImpl->clearEnd();
    mImpl->detached = false;
    mImpl->inheritEnvironment = true;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): other platforms have a limit
bool qzProcess::setWorkingSetMaxSize(unsigned long /*sizeBytes*/)
{
    return false;
}

std::string qzProcess::ProcessPriorityToString(ProcessPriority priority)
{
    switch (priority) {
        case PriorityLow:
            return "Low";
        case PriorityNormal:
            return "Normal";
        case PriorityHigh:
            return "High";
        case PriorityInherit:
            return "Inherit";
    }
    return "Unknown";
}

}  // namespace qz
