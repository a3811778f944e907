// SPDX-License-Identifier: MIT
#pragma once

#include <charconv>
#include <climits>
#include <cstring>
#include <system_error>

namespace qz {

/// Enough for each line that is read of a status file under /proc.
inline constexpr int kStatusLineSize = 128;

/// Reads the bytes of a line such as "VmRSS:      5132 kB"; 0 without a number. The number is read
/// as C writes it, so that a leading 0 means octal and 0x hexadecimal. One beyond 63 bits is taken
/// for the largest number of 63 bits, and the product wraps around.
inline unsigned long parseKilobytes(const char* line)
{
    const char* number = std::strpbrk(line, "0123456789");
    if (number == nullptr) return 0;
    const char* const end = number + std::strlen(number);
    int base = 10;
    if (*number == '0') {
        const bool hexadecimal = end - number > 2 && (number[1] == 'x' || number[1] == 'X');
        base = hexadecimal ? 16 : 8;
        if (hexadecimal) number += 2;
    }
    unsigned long value = 0;
    const std::errc error = std::from_chars(number, end, value, base).ec;
    if (error == std::errc::result_out_of_range || value > LONG_MAX) value = LONG_MAX;
    return value * 1024;
}

}  // namespace qz
