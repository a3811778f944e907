// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "JsonText.h"

namespace qz::ext {

/// Reads the string whose opening quote is the next byte, and passes it.
/// @param buffer is overwritten if the string has escapes.
/// @param content receives a part of the text or the buffer.
JsonFault parseString(JsonText& text, std::string& buffer, std::string_view& content);

}  // namespace qz::ext
