// SPDX-License-Identifier: MIT
#include "Worker.h"

#include <csignal>
#include <iostream>

#include <sys/wait.h>
#include <unistd.h>

#include "Status.h"

namespace run {

namespace {

int waitForWorker(pid_t worker, const sigset_t& signals)
{
    for (;;) {
        const int signal = ::sigwaitinfo(&signals, nullptr);
        int status = 0;
        if (signal == SIGINT || signal == SIGTERM) {
            ::kill(worker, signal);
        } else if (::waitpid(worker, &status, WNOHANG) == worker) {
            return WIFEXITED(status) ? WEXITSTATUS(status) : StatusSignal + WTERMSIG(status);
        }
    }
}

}  // namespace

std::optional<int> continueInWorker(pid_t& watchedPid)
{
    ::signal(SIGCHLD, SIG_DFL);  // a caller may have ignored it
    sigset_t signals;
    sigset_t before;
    ::sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGCHLD})
        ::sigaddset(&signals, signal);
    ::sigprocmask(SIG_BLOCK, &signals, &before);
    watchedPid = ::getpid();
    const pid_t worker = ::fork();
    if (worker > 0) return waitForWorker(worker, signals);
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
    if (worker < 0) {
        std::cerr << "run: the system has no more processes\n";
        return StatusFailed;
    }
    // What is sent to the group of the first process, by a terminal for example, arrives there
    // alone.
    ::setpgid(0, 0);
    return std::nullopt;
}

}  // namespace run
