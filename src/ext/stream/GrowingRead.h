// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>

namespace qz::ext {

/// Reads bytes whose number may be a lie: memory grows with the bytes that come.
/// @param bytes an empty string or vector; receives them. After a short read, it is longer.
/// @param pull reads up to a number of bytes, as `unsigned long(char* data, unsigned long size)`,
///     and reads fewer only at the end.
/// @return the bytes that came.
template <typename Bytes, typename Pull>
unsigned long readGrowing(Bytes& bytes, unsigned long size, const Pull& pull)
{
    constexpr unsigned long kLargestStep = 64UL << 10U;
    unsigned long done = 0;
    while (done != size) {
        const unsigned long end = done + std::min(size - done, kLargestStep);
        if (bytes.capacity() < end) bytes.reserve(std::min(size, std::max(end, 2 * done)));
        bytes.resize(end);
        const unsigned long count = pull(bytes.data() + done, end - done);
        done += count;
        if (done != end) break;
    }
    return done;
}

}  // namespace qz::ext
