// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qz {

namespace impl {

// Two words copy any number of bytes between one word and two; they overlap in the middle.
template <typename Word>
inline void copyTwoWords(char* to, const char* from, std::size_t size)
{
    Word head;
    Word tail;
    std::memcpy(&head, from, sizeof head);
    std::memcpy(&tail, from + size - sizeof tail, sizeof tail);
    std::memcpy(to, &head, sizeof head);
    std::memcpy(to + size - sizeof tail, &tail, sizeof tail);
}

}  // namespace impl

/// Copies bytes. A number or a short text is copied without a call, which would cost more than the
/// bytes.
inline void copyBytes(char* to, const char* from, std::size_t size)
{
    if (size < sizeof(std::uint32_t) || size > 2 * sizeof(std::uint64_t))
        std::memcpy(to, from, size);
    else if (size < sizeof(std::uint64_t))
        impl::copyTwoWords<std::uint32_t>(to, from, size);
    else
        impl::copyTwoWords<std::uint64_t>(to, from, size);
}

}  // namespace qz
