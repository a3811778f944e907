// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace qz {

/// The texts of numbers by the plain steps: streams, `log10`, `pow`, and exact decimal expansions.
/// What the library does faster has to read the same.
struct PlainNumbers {
    template <typename T>
    static std::string humanizeNumber(T value, int significantDigits, int maxDecimals,
                                      bool isBinary, bool hasLarge, bool hasSmall);

    static std::string humanizeDuration(long milliseconds, int detail, bool showMilliseconds);

    /// By decimal arithmetic on the digits of the value, all of which it writes out first. Knows
    /// the steps 1, 2, 4, 5, 8 and 16 with 1 to 19 decimals.
    static std::string roundNumberExactly(double value, int step, int extraDecimals, bool showPlus,
                                          int maxDecimals);

    /// By steps in extended precision, for magnitudes below 2^64.
    static std::string roundNumberExtended(double value, int step, int extraDecimals, bool showPlus,
                                           int maxDecimals);

    static std::string formatWithSeparator(unsigned long value, char separator);
};

}  // namespace qz
