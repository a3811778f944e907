// SPDX-License-Identifier: MIT
#include "support/BusyProcesses.h"

#include <csignal>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qz::support {

namespace {

// Ends with its parent, however that ends.
[[noreturn]] void spin(pid_t parent)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    volatile bool goesOn = ::getppid() == parent;
    while (goesOn) {
    }
    ::_exit(0);
}

}  // namespace

BusyProcesses::BusyProcesses(int count)
{
    const pid_t self = ::getpid();
    for (int i = 0; i < count; ++i) {
        const pid_t pid = ::fork();
        if (pid == 0) spin(self);
        if (pid > 0) mPids.push_back(pid);
    }
}

BusyProcesses::~BusyProcesses()
{
    for (const pid_t pid : mPids) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
}

}  // namespace qz::support
