#pragma once

#include <string>
#include <string_view>

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

/// What a look at a text tells of it.
enum class NumberKind {
    None,     ///< No number, also with a point in the place of each comma.
    Integer,  ///< One that `parseInteger` reads.
    Real,     ///< One that `parseReal` reads and `parseInteger` doesn't.
    Unclear   ///< Something else; only the two know.
};

/// Reads numbers in plain decimals, and knows most texts that aren't numbers.
/// @param integer, real one of them receives the value of the kind.
NumberKind readPlainNumber(std::string_view text, long& integer, double& real);

}  // namespace qz::text
