// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <new>

#include <signal.h>

namespace qz {

/// If the program handles faults on an alternate signal stack, gives one to the calling thread, so
/// that an overflow of its stack is handled as well. Otherwise, without memory, and on a thread
/// that has one, it does nothing.
class AlternateStack {
public:
    AlternateStack() noexcept
    {
        if (!isWanted()) return;
        // Pages that no handler has touched take no memory.
        mMemory.reset(new (std::nothrow) char[kSize]);
        if (mMemory == nullptr) return;
        stack_t stack = {};
        stack.ss_sp = mMemory.get();
        stack.ss_size = kSize;
        ::sigaltstack(&stack, nullptr);
    }
    ~AlternateStack()
    {
        if (mMemory == nullptr) return;
        stack_t none = {};
        none.ss_flags = SS_DISABLE;
        ::sigaltstack(&none, nullptr);
    }
    AlternateStack(const AlternateStack&) = delete;
    AlternateStack& operator=(const AlternateStack&) = delete;

private:
    // The library's handler formats a log entry, and a second signal may come within it.
    static constexpr std::size_t kSize = 256UL * 1024;

    static bool isWanted()
    {
        struct sigaction action = {};
        if (::sigaction(SIGSEGV, nullptr, &action) != 0 || (action.sa_flags & SA_ONSTACK) == 0)
            return false;
        stack_t present = {};
        return ::sigaltstack(nullptr, &present) == 0 && (present.ss_flags & SS_DISABLE) != 0;
    }

    std::unique_ptr<char[]> mMemory;
};

}  // namespace qz
