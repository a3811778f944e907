// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#include <signal.h>
#include <ucontext.h>

#include "Modules.h"
#include "SafeText.h"

namespace qz::ext::crash {

/// The calls of a thread at a crash. One report at a time uses it. All functions may meet memory
/// that can't be read: see `runPart`.
class Frames {
public:
    /// Collects the calls of the calling thread. What was found before a fault stays.
    void collect();
    /// Leaves out the calls of the handler, so that the frame of the fault is the first one.
    void begin(std::uintptr_t fault);
    /// Writes a line for each call.
    void write(Modules& modules, SafeText& out) const;

    /// If an address without code was called, rewinds the context to the call, as no stack can be
    /// unwound from there. @return whether it did.
    static bool RewindBadCall(const siginfo_t& info, ucontext_t& context);

    /// Adds an address. @return false if there is no space.
    bool add(std::uintptr_t address, bool isReturn);

    struct Frame {
        std::uintptr_t address;
        bool isReturn;  // the address after a call
    };
    /// Writes the line of a frame.
    static void Write(const Frame& frame, Modules& modules, SafeText& out);

private:
    static constexpr std::size_t kMost = 256;

    Frame mFrames[kMost] = {};
    std::size_t mFirst = 0;
    volatile std::size_t mCount = 0;  // also read after a jump out of `collect`
};

}  // namespace qz::ext::crash
