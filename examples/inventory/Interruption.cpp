// SPDX-License-Identifier: MIT
#include "Interruption.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

#include <signal.h>

namespace inventory {

namespace {

bool gIsCancelled = false;
qz::qzCancelInterfaceProxy gCancel(gIsCancelled);
volatile std::sig_atomic_t gSignal = 0;

// All that `cancel` does here is to set the flag, so a handler may call it.
extern "C" void requestEnd(int signal)
{
    gSignal = signal;
    gCancel.cancel();
}

}  // namespace

const qz::qzCancelInterface& watchForInterruption()
{
    struct sigaction action = {};
    action.sa_handler = requestEnd;
    // Calls of the system go on, as none of them shall look like a failed disk.
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        ::sigaction(signal, &action, nullptr);
    return gCancel;
}

void endAsRequested()
{
    std::signal(gSignal, SIG_DFL);
    std::raise(gSignal);
    std::abort();  // not reached: the default action of all three ends the process
}

}  // namespace inventory
