// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qz::ext {

/// Puts a key between quotes for a message: in UTF-8 whatever it is, on one line, without what
/// could mislead, and cut if it is long.
std::string quoteKey(std::string_view key);

/// Extends the path of a map by a key, as in "a.b" or `a["b c"]`.
void appendKey(std::string& path, std::string_view key);

/// Extends the path of a list by an index, as in "a[3]".
void appendIndex(std::string& path, std::size_t index);

}  // namespace qz::ext
