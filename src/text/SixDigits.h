// SPDX-License-Identifier: MIT
#pragma once

namespace qz::text {

/// The largest number of characters that `writeSixDigits` writes.
constexpr int kSixDigitsSize = 16;

/// Writes a real as a stream with the classic locale does by default: 6 significant digits, without
/// trailing zeros.
/// @return the end of the text.
char* writeSixDigits(char* to, double value);

}  // namespace qz::text
