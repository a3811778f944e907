// SPDX-License-Identifier: MIT
#include "SignalStack.h"

#include <sys/mman.h>

namespace qz::ext::crash {

namespace {

constexpr std::size_t kPageSize = 4096;
// The library's handler formats a log entry on it, a terminate handler may run on it, and so may
// a second signal within the first.
constexpr std::size_t kStackSize = 256UL * 1024;

}  // namespace

SignalStack::SignalStack()
{
    void* const memory =
        ::mmap(nullptr, kPageSize + kStackSize, PROT_READ | PROT_WRITE,
               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, /*fd=*/-1, /*offset=*/0);
    if (memory == MAP_FAILED) return;
    mMemory = memory;
    ::mprotect(memory, kPageSize, PROT_NONE);
}

SignalStack::~SignalStack()
{
    if (mMemory != nullptr) ::munmap(mMemory, kPageSize + kStackSize);
}

stack_t SignalStack::describe() const
{
    stack_t stack = {};
    stack.ss_sp = static_cast<char*>(mMemory) + kPageSize;
    stack.ss_size = kStackSize;
    return stack;
}

bool SignalStack::IsMissing()
{
    stack_t present = {};
    return ::sigaltstack(nullptr, &present) == 0 && (present.ss_flags & SS_DISABLE) != 0;
}

}  // namespace qz::ext::crash
