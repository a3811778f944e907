#include "Interruption.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace recorder {

namespace {

volatile std::sig_atomic_t gSignal = 0;

extern "C" void rememberSignal(int signal)
{
    gSignal = signal;
}

}  // namespace

void watchForInterruption()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signal, rememberSignal);
    }
}

bool isInterrupted()
{
    return gSignal != 0;
}

void endAsRequested()
{
    std::signal(gSignal, SIG_DFL);
    std::raise(gSignal);
    std::abort();  // not reached: the default action of all three ends the process
}

}  // namespace recorder
