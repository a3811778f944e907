// SPDX-License-Identifier: MIT
#include "Launch.h"

#include <cerrno>

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "SignalBlock.h"
#include "base/CancellationBlock.h"
#include "base/Restart.h"

// The child runs in the memory of its parent, whose thread is suspended. A sanitizer takes what it
// does for the doing of that thread, and its jump out of the function for a strange stack. A
// sanitizer also replaces functions of the C library, to record descriptors, signal actions and the
// end of the process, and would record those of the child as the parent's. So the child calls the
// system itself.
#define QZ_NOT_INSTRUMENTED __attribute__((no_sanitize("address", "undefined", "thread")))

// The same function of the C library as `clone`, which the thread sanitizer replaces by one for
// children with a memory of their own.
// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): its name
extern "C" int __clone(int (*body)(void*), void* stack, int flags, void* argument, ...) noexcept;

namespace qz::ext {

namespace {

// It is on the stack of the calling thread, which may be small. The child needs some hundred bytes,
// and its first call of a function some thousand, if the function is looked up then.
constexpr std::size_t kStackBytes = 16384;
// The set of signals that the system knows, which is smaller than the C library's.
using SystemSignalSet = unsigned long;
constexpr std::size_t kSignalSetBytes = sizeof(SystemSignalSet);

// What parent and child share.
struct Shared {
    const ProgramImage& image;
    const LaunchPlan& plan;
    pid_t parent;
    const char* failed;
    int error;
};

// What the system calls a signal action on this processor; all zero is the default one.
struct SystemSignalAction {
    void (*handler)(int);
    unsigned long flags;
    void (*restorer)();
    SystemSignalSet mask;
};

// Handlers of this process would run in its memory as soon as the signals are unblocked. Those that
// are ignored would stay so in the program.
QZ_NOT_INSTRUMENTED bool resetSignalActions()
{
    const SystemSignalAction byDefault = {};
    for (int number = 1; number < NSIG; ++number) {
        const bool isFixed = number == SIGKILL || number == SIGSTOP;
        if (!isFixed &&
            ::syscall(SYS_rt_sigaction, number, &byDefault, nullptr, kSignalSetBytes) != 0)
            return false;
    }
    return true;
}

QZ_NOT_INSTRUMENTED bool connectStreams(const std::array<int, 3>& streams)
{
    for (int place = 0; place < kFirstOtherDescriptor; ++place) {
        if (::syscall(SYS_dup2, streams[static_cast<std::size_t>(place)], place) < 0) return false;
    }
    return true;
}

QZ_NOT_INSTRUMENTED bool closeOthers()
{
    if (::syscall(SYS_close_range, kFirstOtherDescriptor, ~0U, 0) == 0) return true;
    // Kernels before 5.9 don't have the call.
    rlimit limit = {};
    if (::syscall(SYS_getrlimit, RLIMIT_NOFILE, &limit) != 0) return false;
    for (rlim_t descriptor = kFirstOtherDescriptor; descriptor < limit.rlim_cur; ++descriptor)
        ::syscall(SYS_close, static_cast<int>(descriptor));
    return true;
}

// The null that `prepare` returns stands for success.
QZ_NOT_INSTRUMENTED const char* prepare(const Shared& shared)
{
    if (!resetSignalActions()) return "rt_sigaction";
    if (shared.plan.endsWithThread) {
        const unsigned long deathSignal = SIGKILL;
        if (::syscall(SYS_prctl, PR_SET_PDEATHSIG, deathSignal) != 0) return "prctl";
        // The parent may have ended before.
        if (::syscall(SYS_getppid) != shared.parent) return "getppid";
    }
    if (shared.plan.group >= 0 && ::syscall(SYS_setpgid, 0, shared.plan.group) != 0)
        return "setpgid";
    const char* const folder = shared.image.getFolder();
    if (folder != nullptr && ::syscall(SYS_chdir, folder) != 0) return "chdir";
    if (!connectStreams(shared.plan.streams)) return "dup2";
    if (!closeOthers()) return "close_range";
    const SystemSignalSet none = 0;
    if (::syscall(SYS_rt_sigprocmask, SIG_SETMASK, &none, nullptr, kSignalSetBytes) != 0)
        return "rt_sigprocmask";
    return nullptr;
}

// Tries the paths in their order, as a shell does: a file that may not be executed is no reason to
// end the search, but is reported if nothing else is found.
QZ_NOT_INSTRUMENTED int execute(const ProgramImage& image)
{
    int error = 0;
    for (const char* const* path = image.getPaths(); *path != nullptr; ++path) {
        ::syscall(SYS_execve, *path, image.getArguments(), image.getEnvironment());
        const bool isNotThere = errno == ENOENT || errno == ENOTDIR;
        if (!isNotThere && errno != EACCES) return errno;
        if (error == 0 || errno == EACCES) error = errno;
    }
    return error;
}

QZ_NOT_INSTRUMENTED int runChild(void* argument)
{
    Shared& shared = *static_cast<Shared*>(argument);
    shared.failed = prepare(shared);
    if (shared.failed != nullptr) {
        shared.error = errno;
    } else {
        shared.error = execute(shared.image);
        shared.failed = "execve";
    }
    for (;;)
        ::syscall(SYS_exit_group, 127);
}

}  // namespace

void launch(const ProgramImage& image, const LaunchPlan& plan, Launched& launched)
{
    Shared shared = {image, plan, ::getpid(), nullptr, 0};
    alignas(16) char stack[kStackBytes];
    const CancellationBlock noCancellation;
    const SignalBlock noSignals;
    int death = -1;
    const pid_t pid = ::__clone(&runChild, stack + kStackBytes,
                                CLONE_VM | CLONE_VFORK | CLONE_PIDFD | SIGCHLD, &shared, &death);
    if (pid < 0) {
        launched.error = errno;
        launched.failed = "clone";
        return;
    }
    FileDescriptor owned(moveAboveStreams(death));
    if (shared.failed == nullptr) {
        launched.pid = pid;
        launched.death = std::move(owned);
        return;
    }
    launched.failed = shared.failed;
    launched.error = shared.error;
    restart([&] { return ::waitpid(pid, nullptr, 0); });
}

}  // namespace qz::ext
