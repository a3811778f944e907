#include "SearchLevels.h"

#include "SearchBlocks.h"

namespace qz::text {

SearchResult searchAvx2(SearchJob& job, std::size_t* places, std::size_t room)
{
    return searchByBlocks<Vector32>(job, {places, room});
}

SearchResult searchFoldedAvx2(SearchJob& job, const FoldedBytes& folded, std::size_t* place)
{
    return searchFoldedByBlocks<Vector32>(job, folded, {place, 1});
}

}  // namespace qz::text
