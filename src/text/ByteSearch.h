// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace qz::text {

/// Finds the first place of `needle` at or after `from`; an empty one is at `from`, unless that is
/// past the end. Takes time linear in both. @return npos if there is none.
std::size_t find(std::string_view text, std::string_view needle, std::size_t from = 0);

/// The same after `tolower` of all bytes in the locale of the calling thread.
std::size_t findIgnoringCase(std::string_view text, std::string_view needle, std::size_t from = 0);

/// Finds all places of `needle`, from left to right without overlaps. `needle` must not be empty.
class MatchFinder {
public:
    MatchFinder(std::string_view text, std::string_view needle) : mText(text), mNeedle(needle) {}

    /// Writes the next places, at most `room` of them.
    /// @return their number; less than `room` only at the end of the text.
    std::size_t next(std::size_t* places, std::size_t room);

private:
    std::string_view mText;
    std::string_view mNeedle;
    std::size_t mPosition = 0;
    bool mIsHard = false;  // too many places have begun like the needle
};

}  // namespace qz::text
