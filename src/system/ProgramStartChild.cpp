// SPDX-License-Identifier: MIT
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <spawn.h>
#include <stdio_ext.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <qz/qzLogObject.h>

#include "ChildWatch.h"
#include "ProgramStart.h"
#include "SignalWatcher.h"
#include "frame/base/ScopedSignalBlock.h"

// From `fork` to `exec`, a child makes only calls that are safe after a `fork` of a process with
// threads. The one exception is a report through the log, which is prepared for that.

namespace qz::system {

namespace {

// The signal mask of a spawned child.
class SpawnAttributes {
public:
    explicit SpawnAttributes(const sigset_t& mask)
    {
        if (::posix_spawnattr_init(&mAttributes) != 0) return;
        mIsUsable = true;
        ::posix_spawnattr_setsigmask(&mAttributes, &mask);
        ::posix_spawnattr_setflags(&mAttributes, POSIX_SPAWN_SETSIGMASK);
    }
    ~SpawnAttributes()
    {
        if (mIsUsable) ::posix_spawnattr_destroy(&mAttributes);
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    bool isUsable() const { return mIsUsable; }
    const posix_spawnattr_t* get() const { return &mAttributes; }

private:
    posix_spawnattr_t mAttributes;
    bool mIsUsable = false;
};

// The folder of a spawned child.
class SpawnActions {
public:
    explicit SpawnActions(const std::string& folder)
    {
        mIsUsable = ::posix_spawn_file_actions_init(&mActions) == 0;
        if (mIsUsable && !folder.empty())
            mHasFolder = ::posix_spawn_file_actions_addchdir_np(&mActions, folder.c_str()) == 0;
    }
    ~SpawnActions()
    {
        if (mIsUsable) ::posix_spawn_file_actions_destroy(&mActions);
    }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    bool isUsable() const { return mIsUsable && mHasFolder; }
    const posix_spawn_file_actions_t* get() const { return &mActions; }

private:
    posix_spawn_file_actions_t mActions;
    bool mIsUsable = false;
    bool mHasFolder = true;
};

// A thread that reads holds the lock of its stream until bytes come, and to flush all streams is to
// wait for each lock. That is likely for the standard input alone.
void flushStandardFiles()
{
    if (::ftrylockfile(stdin) == 0) {
        ::funlockfile(stdin);
        std::fflush(nullptr);
    } else {
        std::fflush(stdout);
        std::fflush(stderr);
    }
}

// What is in a buffer at the `fork` would be written by the `exit` of the child once more. A
// failure is left for the application to find: the state of its streams is its own.
void flushStreams()
{
    try {
        for (std::ostream* stream : {&std::cout, &std::cerr, &std::clog}) {
            if (stream->rdbuf() != nullptr) stream->rdbuf()->pubsync();
        }
    } catch (const std::exception&) {  // from a buffer of the application's own
    }
    flushStandardFiles();
}

// The parent recognises this end.
[[noreturn]] void reportFailedStart()
{
    restoreFirstAction(kStartFailedSignal);
    sigset_t failed;
    ::sigemptyset(&failed);
    ::sigaddset(&failed, kStartFailedSignal);
    ::sigprocmask(SIG_UNBLOCK, &failed, nullptr);
    ::raise(kStartFailedSignal);
    std::exit(0);
}

}  // namespace

pid_t ProgramStart::spawn() const
{
    // The child would need a nice value of its own before its program runs.
    if (mNiceValue != ::getpriority(PRIO_PROCESS, 0)) return -1;
    const SpawnAttributes attributes(mSignalMask);
    const SpawnActions actions(mFolder);
    if (!attributes.isUsable() || !actions.isUsable() || mFolder.empty() != mFolderUtf8.empty())
        return -1;
    pid_t pid = -1;
    char* const* const environment = mEnvironment.empty() ? ::environ : mEnvironmentPointers.data();
    const int error = ::posix_spawnp(&pid, mFile.c_str(), actions.get(), attributes.get(),
                                     mArgumentPointers.data(), environment);
    return error == 0 ? pid : -1;
}

pid_t ProgramStart::fork() const
{
    return forkChild(&ProgramStart::runChild);
}

pid_t ProgramStart::forkDetached() const
{
    return forkChild(&ProgramStart::runIntermediate);
}

pid_t ProgramStart::forkChild(void (ProgramStart::*body)() const noexcept) const
{
    flushStreams();
    // The library's handlers of some signals throw. In the child, an exception must not leave these
    // functions, or the application would run on in two processes.
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t pid = ::fork();
    if (pid == 0) {
        leaveParent(body);
    }
    setSignalMask(before);
    return pid;
}

void ProgramStart::leaveParent(void (ProgramStart::*body)() const noexcept) const noexcept
{
    ::pthread_sigmask(SIG_SETMASK, &mSignalMask, nullptr);
    prepareChild();
    (this->*body)();
    std::abort();  // never reached: no body returns
}

void ProgramStart::runIntermediate() const noexcept
{
    const pid_t program = ::fork();
    if (program < 0) reportFailedStart();
    if (program > 0) leaveIntermediate(program);
    runChild();
}

void ProgramStart::prepareChild() const
{
    ::setpriority(PRIO_PROCESS, 0, mNiceValue);
    if (mFolderUtf8.empty() || ::chdir(mFolder.c_str()) == 0) return;
    logWarning() << "Beware, could not change current working directory in startProcess "
                 << mFolderUtf8;
}

void ProgramStart::runChild() const noexcept
{
    if (mEnvironment.empty()) {
        ::execvp(mFile.c_str(), mArgumentPointers.data());
    } else {
        ::execvpe(mFile.c_str(), mArgumentPointers.data(), mEnvironmentPointers.data());
    }
    reportFailedStart();
}

void ProgramStart::leaveIntermediate(pid_t program)
{
    sleepForStart(program);
    siginfo_t end = {};
    if (!waitForChild(program, WNOHANG, end) || hasStartFailed(end)) reportFailedStart();
    std::exit(0);
}

}  // namespace qz::system
