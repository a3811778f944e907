#pragma once

namespace qz::text {

/// The most characters that `writeSixDigits` writes.
constexpr int kSixDigitsSize = 16;

/// Writes a real as a stream of the classic locale does by default: 6 significant digits, without
/// zeros at the end.
/// @return the end of the text.
char* writeSixDigits(char* to, double value);

}  // namespace qz::text
