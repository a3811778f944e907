// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

namespace qz::text {

/// Whether all bytes are below 0x80.
bool isAscii(std::string_view text);

/// Whether the bytes are well-formed UTF-8; an empty text is. Never throws.
bool isUtf8(std::string_view text);

/// Counts the code points; 0 for a text that isn't well formed. Never throws.
std::size_t countUtf8(std::string_view text);

}  // namespace qz::text
