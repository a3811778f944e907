#pragma once

#include <string>

namespace qz::text {

// Numbers are read in the notation of C and in its locale, whatever the process's is, with or
// without a start of the library. A text is a number only when all of it is one; white space may
// stand ahead of it. The empty text counts as 0.

/// Reads an integer: decimal, octal behind a "0", hexadecimal behind a "0x". What 64 bits can't
/// hold is clamped.
/// @param value stays as it is when `text` is no integer.
bool parseInteger(const std::string& text, long& value);

/// Reads a real: also hexadecimal ones, infinities and NaNs. What a double can't hold becomes an
/// infinity or 0.
/// @param value stays as it is when `text` is no real.
bool parseReal(const std::string& text, double& value);

}  // namespace qz::text
