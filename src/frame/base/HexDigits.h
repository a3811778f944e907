// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

namespace qz {

/// Replaces `out` by the bytes as lower-case hexadecimal digits, the high half of each byte first.
inline void writeHexDigits(const unsigned char* bytes, std::size_t count, std::string& out)
{
    constexpr char kDigits[] = "0123456789abcdef";
    out.resize(2 * count);
    for (std::size_t i = 0; i < count; ++i) {
        out[2 * i] = kDigits[bytes[i] >> 4U];
        out[2 * i + 1] = kDigits[bytes[i] & 0xFU];
    }
}

}  // namespace qz
