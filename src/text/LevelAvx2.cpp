// SPDX-License-Identifier: MIT
// The vector code for processors with AVX2, the only file that is compiled for them.

#include "SearchBlocks.h"
#include "SearchLevels.h"
#include "Utf8Blocks.h"
#include "Utf8Levels.h"

namespace qz::text {

SearchResult searchAvx2(SearchJob& job, std::size_t* places, std::size_t room)
{
    return searchByBlocks<Vector32>(job, {places, room});
}

SearchResult searchFoldedAvx2(SearchJob& job, const FoldedBytes& folded, std::size_t* place)
{
    return searchFoldedByBlocks<Vector32>(job, folded, {place, 1});
}

std::size_t countUtf8Avx2(const char* begin, const char* end)
{
    return countUtf8ByBlocks<Vector32>(begin, end);
}

}  // namespace qz::text
