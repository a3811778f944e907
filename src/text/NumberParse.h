// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace qz::text {

// Numbers are read in the notation and the locale of C, whatever the process's locale is, with or
// without a start of the library. The whole text must be a number; white space may precede it. The
// empty text counts as 0.

/// Reads an integer: decimal, octal after "0", hexadecimal after "0x". A value that doesn't fit
/// into 64 bits is clamped.
/// @param value is unchanged if `text` is no integer.
bool parseInteger(const std::string& text, long& value);

/// Reads a real: also hexadecimal ones, infinities and NaNs. A value that doesn't fit into a double
/// becomes an infinity or 0.
/// @param value is unchanged if `text` is no real.
bool parseReal(const std::string& text, double& value);

/// The result of `readPlainNumber`.
enum class NumberKind {
    None,     ///< No number, even if each comma is replaced by a point.
    Integer,  ///< A number for `parseInteger`.
    Real,     ///< A number for `parseReal`, but not for `parseInteger`.
    Unclear   ///< Unknown: call `parseInteger` and `parseReal`.
};

/// Reads numbers in plain decimal notation, and recognises most texts that aren't numbers.
/// @param integer, real the one of the returned kind receives the value.
NumberKind readPlainNumber(std::string_view text, long& integer, double& real);

}  // namespace qz::text
