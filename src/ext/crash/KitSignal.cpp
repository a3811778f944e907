// SPDX-License-Identifier: MIT
#include "KitSignal.h"

#include <cerrno>
#include <cstdint>

#include <signal.h>
#include <ucontext.h>
#include <unistd.h>

#include "Alarm.h"
#include "ThreadStacks.h"

namespace qz::ext::crash {

namespace {

void handleKitSignal(int /*signal*/, siginfo_t* info, void* context)
{
    const int interruptedErrno = errno;
    auto& interrupted = *static_cast<ucontext_t*>(context);
    if (info->si_code == SI_TIMER)
        Alarm::Expire(info->si_value.sival_int,
                      static_cast<std::uintptr_t>(interrupted.uc_mcontext.gregs[REG_RSP]));
    // A forked child may have inherited the handler, but nobody else's process sends a pointer.
    if (info->si_code == SI_QUEUE && info->si_pid == ::getpid())
        takeStack(info->si_value, interrupted);
    errno = interruptedErrno;
}

int chooseKitSignal()
{
    struct sigaction action = {};
    action.sa_sigaction = &handleKitSignal;
    // The handler may leave a report by a jump, so the signal must stay usable.
    action.sa_flags = SA_SIGINFO | SA_RESTART | SA_ONSTACK | SA_NODEFER;
    ::sigemptyset(&action.sa_mask);
    for (int signal = SIGRTMAX; signal >= SIGRTMIN; --signal) {
        struct sigaction present = {};
        if (::sigaction(signal, nullptr, &present) != 0) continue;
        if (present.sa_handler != SIG_DFL) continue;
        if (::sigaction(signal, &action, nullptr) == 0) return signal;
    }
    return 0;
}

}  // namespace

int getKitSignal()
{
    static const int signal = chooseKitSignal();
    return signal;
}

}  // namespace qz::ext::crash
