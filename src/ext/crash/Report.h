// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <signal.h>
#include <ucontext.h>

#include "Frames.h"
#include "Modules.h"
#include "SafeText.h"

namespace qz::ext::crash {

/// Why a report is written: a signal, or `std::terminate`.
struct Cause {
    int signal = 0;  // 0 for `std::terminate`
    const siginfo_t* info = nullptr;
    ucontext_t* context = nullptr;
};

/// Writes one report. Safe in a signal handler.
class Report {
public:
    /// @param number of the report in its file, from 1 on.
    Report(const Cause& cause, long number, Modules& modules, Frames& frames, SafeText& out);

    /// Writes all parts. A part that fails leaves a remark, and the alarm ends all of them.
    void write();

private:
    using Part = void (Report::*)();

    void writeStack();
    void writePart(const char* name, Part part);
    void writeCause();
    void writeException();
    void writeThread();
    void writeRegisters();
    void collectFrames();
    void writeFrames();

    const Cause& mCause;
    const long mNumber;
    Modules& mModules;
    Frames& mFrames;
    SafeText& mOut;
    bool mHasExpired = false;
    std::uintptr_t mFault = 0;    // where the stack begins; 0 for that of the handler itself
    std::uintptr_t mBadCall = 0;  // the instruction at the signal, without code if `mIsRewound`
    bool mIsRewound = false;
};

}  // namespace qz::ext::crash
