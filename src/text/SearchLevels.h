#pragma once

#include <cstddef>
#include <cstdint>

namespace qz::text {

/// A search under way. Only plain types, since it goes into files that are compiled for a level of
/// the processor.
struct SearchJob {
    const char* text;
    std::size_t size;
    const char* needle;
    std::size_t needleSize;  // at least 1
    std::size_t position;    // where the search goes on; moves behind each place that was found
};

/// How a search ended.
enum class SearchEnd {
    Full,       ///< There was no room for a further place.
    Exhausted,  ///< The text has no further place.
    TooHard,    ///< Too many places looked like the needle; those before `position` are done.
};

struct SearchResult {
    SearchEnd end;
    std::size_t count;
};

/// A byte together with another one that counts as the same, or with itself.
struct BytePair {
    char one;
    char other;
};

/// What a search needs to know that takes certain bytes for the same.
struct FoldedBytes {
    const std::int32_t* lowered;  // for each byte
    BytePair first;               // of the needle
    BytePair last;
};

// The forms of the search, one for each level of the processor: they write the next places, up to
// `room` of them. A level that the processor lacks must not be called.

SearchResult searchSse2(SearchJob& job, std::size_t* places, std::size_t room);
SearchResult searchAvx2(SearchJob& job, std::size_t* places, std::size_t room);

// The same where the bytes of the text are lowered first; those of the needle are so already.

SearchResult searchFoldedSse2(SearchJob& job, const FoldedBytes& folded, std::size_t* place);
SearchResult searchFoldedAvx2(SearchJob& job, const FoldedBytes& folded, std::size_t* place);

}  // namespace qz::text
