// SPDX-License-Identifier: MIT
#pragma once

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "FuzzInput.h"

// Replaces `operator new` of the whole program, so it is for one source file of a target.

namespace qz::fuzz {

inline std::size_t gUsedBytes = 0;
inline std::size_t gMostBytes = 0;

/// Ends the process if its memory in use has grown by more than a number of bytes at any time since
/// the construction. Targets have one thread.
class MemoryBound {
public:
    explicit MemoryBound(std::size_t bytes) : mLimit(gUsedBytes + bytes)
    {
        gMostBytes = gUsedBytes;
    }
    ~MemoryBound() { expectSame(gMostBytes <= mLimit, "memory in use"); }
    MemoryBound(const MemoryBound&) = delete;
    MemoryBound& operator=(const MemoryBound&) = delete;

private:
    std::size_t mLimit;
};

}  // namespace qz::fuzz

// Inline, g++ would take `free` for a function that doesn't match `new`.

[[gnu::noinline]] void* operator new(std::size_t size)
{
    void* const memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    qz::fuzz::gUsedBytes += ::malloc_usable_size(memory);
    qz::fuzz::gMostBytes = std::max(qz::fuzz::gMostBytes, qz::fuzz::gUsedBytes);
    return memory;
}

[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    qz::fuzz::gUsedBytes -= ::malloc_usable_size(memory);
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}
