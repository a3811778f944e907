// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include <signal.h>

namespace qz::ext::crash {

/// Memory for the alternate signal stack of one thread, with an inaccessible page below it. Pages
/// that no handler has touched take no memory.
class SignalStack {
public:
    SignalStack();
    ~SignalStack();
    SignalStack(const SignalStack&) = delete;
    SignalStack& operator=(const SignalStack&) = delete;

    /// False if the system had no memory.
    bool isMade() const { return mMemory != nullptr; }
    /// What `sigaltstack` takes.
    stack_t describe() const;

    /// Whether the calling thread has no alternate stack.
    static bool IsMissing();

private:
    void* mMemory = nullptr;
};

}  // namespace qz::ext::crash
