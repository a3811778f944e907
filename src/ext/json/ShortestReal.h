// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace qz::ext {

/// A decimal number, `digits * 10^exponent`.
struct Decimal {
    std::uint64_t digits;
    int exponent;
};

/// Finds the decimal number with the fewest digits that reads back as the same real, and of several
/// the one that is nearest to it. Zeros at its end don't count; there are 17 digits at most with
/// them.
/// @param value finite and above 0.
Decimal findShortest(double value);

}  // namespace qz::ext
