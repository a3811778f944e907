// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "ReportLayout.h"

namespace qz::ext::crash {

/// Writes entries to the mapped ring of a file.
/// Threads: one at a time.
class EntryRing {
public:
    /// @param memory of `size` bytes, all zero, which is not owned.
    EntryRing(void* memory, std::size_t size);

    /// Adds an entry, of which at most a quarter of the ring is kept.
    void append(std::string_view prefix, std::string_view message);

private:
    void copy(std::string_view bytes);

    RingHead* const mHead;
    char* const mBytes;
    const std::size_t mSize;
    std::size_t mPosition = 0;
};

/// The whole entries of a ring, oldest first. The bytes may be anything.
std::vector<std::string> readRing(std::string_view ring);

}  // namespace qz::ext::crash
