// SPDX-License-Identifier: MIT
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace qz {

/// Memory between two pages that nobody may touch: what reads beyond a text faults.
class GuardedBytes {
public:
    explicit GuardedBytes(std::size_t pages = 1) : mSize(pages * getPageSize())
    {
        mBase = ::mmap(nullptr, mSize + 2 * getPageSize(), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS,
                       -1, 0);
        if (mBase == MAP_FAILED || ::mprotect(begin(), mSize, PROT_READ | PROT_WRITE) != 0)
            throw std::runtime_error("No guarded memory");
    }
    ~GuardedBytes() { ::munmap(mBase, mSize + 2 * getPageSize()); }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    /// Copies the text to the very end. It stays until the next call.
    std::string_view putAtEnd(std::string_view text) { return put(text, mSize - text.size()); }
    /// Copies the text to the very beginning.
    std::string_view putAtBegin(std::string_view text) { return put(text, 0); }

private:
    static std::size_t getPageSize() { return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); }
    char* begin() const { return static_cast<char*>(mBase) + getPageSize(); }

    std::string_view put(std::string_view text, std::size_t offset)
    {
        if (text.size() > mSize) throw std::length_error("The guarded memory is too small");
        std::memcpy(begin() + offset, text.data(), text.size());
        return {begin() + offset, text.size()};
    }

    std::size_t mSize;
    void* mBase;
};

}  // namespace qz
