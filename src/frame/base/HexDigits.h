#pragma once

#include <cstddef>
#include <string>

namespace qz {

/// Writes bytes as lower-case hexadecimal digits over the whole of `out`, the high half first.
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
