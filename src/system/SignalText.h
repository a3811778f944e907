// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>

namespace qz {

/// How a signal is handled.
struct SignalDecision {
    bool isFatal;     // ends in an exception
    bool wantsTrace;  // the report shows where it happened
};

SignalDecision decideAboutSignal(int signal);

/// Takes the system's descriptions of the watched signals in the present locale. `strsignal` takes
/// a lock of the C library, which the thread that a signal interrupts may hold.
void cacheSignalDescriptions();

/// Writes the name and the number of a signal: "Got signal (SIGTERM 15) Terminated".
void writeSignal(std::ostream& out, int signal);
/// Writes how a signal came about: " (SI_USER)".
void writeSignalCode(std::ostream& out, int signal, int code);

}  // namespace qz
