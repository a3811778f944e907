// SPDX-License-Identifier: MIT
// The vector code for processors with SSSE3, the only file that is compiled for them.

#include "Utf8Blocks.h"
#include "Utf8Levels.h"

namespace qz::text {

std::size_t countUtf8Ssse3(const char* begin, const char* end)
{
    return countUtf8ByBlocks<Vector16>(begin, end);
}

}  // namespace qz::text
