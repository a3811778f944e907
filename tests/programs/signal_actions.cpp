// SPDX-License-Identifier: MIT
// Shows how the library installs its handlers, and what it says when it can't:
//     signal_actions start|catcher|press|trap [SIGNAL...]
//
// The installation fails for the signals that are named: with "start" at the full start, with
// "catcher" while the console's catcher is made and taken away. With "press", which is like
// "catcher", each signal comes as soon as its handler is installed. With "trap", a signal with a
// trace is reported instead.

#include <dlfcn.h>
#include <execinfo.h>
#include <signal.h>

#include <cerrno>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string>

#include <qz/qzCancelConsoleEventCatcher.h>
#include <qz/qzException.h>
#include <qz/qzLog.h>
#include <qz/qzSystem.h>

namespace {

bool gIsWatching = false;
bool gIsPressing = false;
std::set<int> gFailing;

std::string describe(const struct sigaction& action)
{
    std::string text = action.sa_handler == SIG_DFL   ? " default"
                       : action.sa_handler == SIG_IGN ? " ignored"
                                                      : " handler";
    if ((action.sa_flags & SA_SIGINFO) != 0) text += " SA_SIGINFO";
    if ((action.sa_flags & SA_NODEFER) != 0) text += " SA_NODEFER";
    if ((action.sa_flags & ~(SA_SIGINFO | SA_NODEFER)) != 0) text += " and other flags";
    if (::sigisemptyset(&action.sa_mask) == 0) text += " with a mask";
    return qz::qzCancelConsoleEventCatcher::Get() != nullptr ? text + " of a catcher" : text;
}

}  // namespace

extern "C" {

int sigaction(int signal, const struct sigaction* action, struct sigaction* old) noexcept
{
    using Call = int (*)(int, const struct sigaction*, struct sigaction*);
    static const auto realCall = reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "sigaction"));
    if (!gIsWatching || action == nullptr) return realCall(signal, action, old);
    std::cout << '[' << signal << describe(*action) << ']' << std::endl;
    if (gFailing.count(signal) != 0) {
        errno = EPERM;
        return -1;
    }
    const int result = realCall(signal, action, old);
    if (gIsPressing && action->sa_handler != SIG_DFL) ::raise(signal);
    return result;
}

int backtrace(void** frames, int size)
{
    using Call = int (*)(void**, int);
    static const auto realCall = reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "backtrace"));
    if (gIsWatching) std::cout << "[backtrace " << size << ']' << std::endl;
    return realCall(frames, size);
}

}  // extern "C"

namespace {

int trap()
{
    qz::qzLog::msInstance->setEchoToConsole(false);
    gIsWatching = true;
    int (*const volatile raiseSignal)(int) = &::raise;  // which is declared not to throw
    try {
        raiseSignal(SIGTRAP);
    } catch (const std::runtime_error&) {
        std::cout << "[thrown]" << std::endl;
    }
    gIsWatching = false;
    qz::terminateQzSystem();
    return 0;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount < 2) return 2;
    for (int i = 2; i < argumentCount; ++i)
        gFailing.insert(std::stoi(arguments[i]));
    const bool isStart = arguments[1] == std::string("start");
    gIsWatching = isStart;
    qz::initializeQzSystem(qz::FullInit);
    std::cout << "[registered " << qz::exception::IsSigWatcherRegistered() << ']' << std::endl;
    if (arguments[1] == std::string("trap")) return trap();
    gIsWatching = !isStart;
    gIsPressing = arguments[1] == std::string("press");
    const bool isRequested = qz::qzCancelConsoleEventCatcher::Create()->shouldCancel();
    std::cout << (isRequested ? "[created, requested]" : "[created]") << std::endl;
    qz::qzCancelConsoleEventCatcher::Delete();
    std::cout << "[deleted]" << std::endl;
    gIsWatching = isStart;
    qz::terminateQzSystem();
    std::cout << "[stopped]" << std::endl;
    return 0;
}
