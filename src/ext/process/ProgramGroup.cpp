// SPDX-License-Identifier: MIT
#include "ProgramGroup.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "SignalBlock.h"
#include "base/CancellationBlock.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

constexpr int kStreamCount = 3;

double toSeconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

ChildEnd makeEnd(int status, const rusage& usage)
{
    ChildEnd end;
    if (WIFEXITED(status)) end.exitStatus = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) {
        end.signal = WTERMSIG(status);
        end.hasDumpedCore = WCOREDUMP(status);
    }
    end.userSec = toSeconds(usage.ru_utime);
    end.systemSec = toSeconds(usage.ru_stime);
    end.peakResidentBytes = usage.ru_maxrss * 1024;
    return end;
}

// Whether a child has ended. One that somebody else has reaped has as well.
bool hasChildEnded(pid_t pid)
{
    siginfo_t end = {};
    if (::waitid(P_PID, static_cast<id_t>(pid), &end, WEXITED | WNOHANG | WNOWAIT) != 0)
        return errno == ECHILD;
    return end.si_pid != 0;
}

std::string describe(const Launched& launched, const ChildProgram& program)
{
    std::string call = launched.failed;
    if (call == "execve") return call + ' ' + program.program;
    if (call == "chdir") return call + ' ' + program.workingFolder;
    return call;
}

}  // namespace

ProgramGroup::~ProgramGroup()
{
    const CancellationBlock noCancellation;
    if (isOwn()) {
        sendSignal(SIGKILL);
        SystemFailure ignored;
        reap(ignored);
    } else if (mThread != nullptr) {
        // A fork doesn't copy the thread, so nobody can wait for it.
        static_cast<void>(mThread.release());
    }
}

bool ProgramGroup::start(const ChildOptions& options, const StreamEnds& streams,
                         SystemFailure& failure)
{
    std::vector<std::unique_ptr<ProgramImage>> images;
    for (const ChildProgram& program : options.programs) {
        images.push_back(std::make_unique<ProgramImage>(program));
        if (images.back()->isValid()) continue;
        failure = {"execve " + program.program, EINVAL};
        return false;
    }
    mPrograms.reserve(images.size());
    mIsOwnGroup = options.isOwnGroup;
    mOwner = ::getpid();
    if (options.endsWithParent) {
        // A handler may throw. That must not happen during the wait for the thread, nor before it
        // has an owner.
        const SignalBlock noSignals;
        try {
            mThread = std::make_unique<LaunchThread>([&] { launchAll(images, options, streams); });
        } catch (const std::system_error& error) {
            failure = {"pthread_create", error.code().value()};
            return false;
        }
    } else {
        launchAll(images, options, streams);
    }
    const std::size_t last = mPrograms.size() - 1;
    const Launched& launched = mPrograms[last].launched;
    if (launched.failed == nullptr) return true;
    failure = {describe(launched, options.programs[last]), launched.error};
    return false;
}

void ProgramGroup::launchAll(const std::vector<std::unique_ptr<ProgramImage>>& images,
                             const ChildOptions& options, const StreamEnds& streams)
{
    for (std::size_t i = 0; i < images.size(); ++i) {
        LaunchPlan plan = {};
        for (int place = 0; place < kStreamCount; ++place)
            plan.streams[static_cast<std::size_t>(place)] = streams.getSource(i, place);
        plan.group = -1;
        if (mIsOwnGroup) plan.group = i == 0 ? 0 : mPrograms[0].launched.pid;
        plan.endsWithThread = options.endsWithParent;
        Launched& launched = mPrograms.emplace_back().launched;
        launch(*images[i], plan, launched);
        if (launched.failed != nullptr) return;
    }
}

bool ProgramGroup::isOwn() const
{
    return mOwner == ::getpid();
}

void ProgramGroup::addWaits(std::vector<pollfd>& waits) const
{
    for (const Program& program : mPrograms) {
        if (!program.hasEnded) waits.push_back({program.launched.death.get(), POLLIN, 0});
    }
}

void ProgramGroup::updateEnds()
{
    for (Program& program : mPrograms) {
        if (!program.hasEnded) program.hasEnded = hasChildEnded(program.launched.pid);
    }
}

bool ProgramGroup::haveAllEnded() const
{
    return std::all_of(mPrograms.begin(), mPrograms.end(),
                       [](const Program& program) { return program.hasEnded; });
}

bool ProgramGroup::mustPoll() const
{
    return std::any_of(mPrograms.begin(), mPrograms.end(), [](const Program& program) {
        return !program.hasEnded && !program.launched.death.isOpen();
    });
}

std::vector<int> ProgramGroup::getPids() const
{
    std::vector<int> pids;
    for (const Program& program : mPrograms)
        pids.push_back(program.launched.pid);
    return pids;
}

// An ended program needs no signal. If somebody else has reaped it, its id may be another one's.
bool ProgramGroup::hasLeft(const Program& program, pid_t group)
{
    if (program.hasEnded) return false;
    const pid_t present = ::getpgid(program.launched.pid);
    return present > 0 && present != group;
}

// A program can leave the group, by `setsid` for example. It must end all the same.
bool ProgramGroup::sendSignal(int number) const
{
    // The group has the id of its first program.
    const pid_t group = mIsOwnGroup && !mPrograms.empty() ? mPrograms[0].launched.pid : -1;
    bool isSent = group > 0 && ::kill(-group, number) == 0;
    for (const Program& program : mPrograms) {
        const pid_t pid = program.launched.pid;
        if (pid <= 0 || (group > 0 && !hasLeft(program, group))) continue;
        isSent = ::kill(pid, number) == 0 || isSent;
    }
    return isSent;
}

std::vector<ChildEnd> ProgramGroup::reap(SystemFailure& failure)
{
    std::vector<ChildEnd> ends;
    ends.reserve(mPrograms.size());
    for (const Program& program : mPrograms) {
        const pid_t pid = program.launched.pid;
        if (pid <= 0) continue;
        int status = 0;
        rusage usage = {};
        const pid_t reaped = restart([&] { return ::wait4(pid, &status, 0, &usage); });
        if (reaped < 0 && !failure) failure = {"wait4", errno};
        ends.push_back(reaped < 0 ? ChildEnd() : makeEnd(status, usage));
    }
    mPrograms.clear();
    mThread.reset();
    return ends;
}

}  // namespace qz::ext
