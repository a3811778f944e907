// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

namespace qz::text {

/// The state of a search. Only plain types, since files that are compiled for one level of the
/// processor include it.
struct SearchJob {
    const char* text;
    std::size_t size;
    const char* needle;
    std::size_t needleSize;  // at least 1
    std::size_t position;    // where the search continues: after the place that was found last
};

/// How a search ended.
enum class SearchEnd {
    Full,       ///< The array of places is full.
    Exhausted,  ///< The text has no further place.
    TooHard,    ///< Too many places begin like the needle; the search has come to `position`.
};

struct SearchResult {
    SearchEnd end;
    std::size_t count;
};

/// The table of a search that treats some bytes as equal.
struct FoldedBytes {
    const std::int32_t* lowered;  // each byte
    /// For each lowered byte: the bits in which the bytes that are lowered to it differ from it.
    std::uint8_t otherBits[256];
};

// The search for each level of the processor. It writes the next places, at most `room` of them. A
// level that the processor lacks must not be called.

SearchResult searchSse2(SearchJob& job, std::size_t* places, std::size_t room);
SearchResult searchAvx2(SearchJob& job, std::size_t* places, std::size_t room);

// The same with the lowered bytes of the text. The needle must be lowered already.

SearchResult searchFoldedSse2(SearchJob& job, const FoldedBytes& folded, std::size_t* place);
SearchResult searchFoldedAvx2(SearchJob& job, const FoldedBytes& folded, std::size_t* place);

}  // namespace qz::text
