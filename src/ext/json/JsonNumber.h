// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "JsonText.h"

namespace qz::ext {

/// Reads the number at the next byte, which is a digit or a minus sign, and passes it.
/// @param number receives an `INTEGER` or `REAL`; it must be empty.
JsonFault parseNumber(JsonText& text, JsonReadOptions::LargeIntegers largeIntegers,
                      qzVariant& number);

/// The bytes that `formatInteger` and `formatReal` need.
constexpr std::size_t kMaxNumberBytes = 48;

/// Writes an integer. @return the end of the text.
char* formatInteger(char* out, long value);

/// Writes a finite real with the fewest digits that read back as the same, and with a point or an
/// exponent. @return the end of the text.
char* formatReal(char* out, double value);

}  // namespace qz::ext
