// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>

namespace qz {

/// A signal that the library watches.
struct WatchedSignal {
    const char* name;
    int number;
    bool isFault;  // comes from what a thread itself does, so that it can't be blocked
};

/// In the order in which they are installed.
inline constexpr WatchedSignal kWatchedSignals[] = {
    {"SIGABRT", SIGABRT, true},       //
    {"SIGBUS", SIGBUS, true},         //
    {"SIGFPE", SIGFPE, true},         //
    {"SIGHUP", SIGHUP, false},        //
    {"SIGILL", SIGILL, true},         //
    {"SIGINT", SIGINT, false},        //
    {"SIGPIPE", SIGPIPE, false},      //
    {"SIGPROF", SIGPROF, false},      //
    {"SIGPWR", SIGPWR, false},        //
    {"SIGQUIT", SIGQUIT, false},      //
    {"SIGSEGV", SIGSEGV, true},       //
    {"SIGTSTP", SIGTSTP, false},      //
    {"SIGSYS", SIGSYS, true},         //
    {"SIGTERM", SIGTERM, false},      //
    {"SIGTRAP", SIGTRAP, true},       //
    {"SIGTTIN", SIGTTIN, false},      //
    {"SIGTTOU", SIGTTOU, false},      //
    {"SIGURG", SIGURG, false},        //
    {"SIGUSR1", SIGUSR1, false},      //
    {"SIGUSR2", SIGUSR2, false},      //
    {"SIGVTALRM", SIGVTALRM, false},  //
    {"SIGXCPU", SIGXCPU, false},      //
    {"SIGXFSZ", SIGXFSZ, false},      //
};

}  // namespace qz
