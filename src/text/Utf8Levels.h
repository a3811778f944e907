// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace qz::text {

/// The result for a text that isn't well formed.
constexpr std::size_t kNotUtf8 = static_cast<std::size_t>(-1);

// The scan for each level of the processor: it counts the code points of a text. A level that the
// processor lacks must not be called.

std::size_t countUtf8Plain(const char* begin, const char* end);
std::size_t countUtf8Ssse3(const char* begin, const char* end);
std::size_t countUtf8Avx2(const char* begin, const char* end);

}  // namespace qz::text
