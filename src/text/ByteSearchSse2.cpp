#include "SearchLevels.h"

#include "SearchBlocks.h"

namespace qz::text {

SearchResult searchSse2(SearchJob& job, std::size_t* places, std::size_t room)
{
    return searchByBlocks<Vector16>(job, {places, room});
}

SearchResult searchFoldedSse2(SearchJob& job, const FoldedBytes& folded, std::size_t* place)
{
    return searchFoldedByBlocks<Vector16>(job, folded, {place, 1});
}

}  // namespace qz::text
