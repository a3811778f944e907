#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace qz::text {

/// Finds the first place of `needle` at or after `from`; an empty one stands at `from`, unless that
/// is past the end. Takes time linear in both. @return npos when there is none.
std::size_t find(std::string_view text, std::string_view needle, std::size_t from = 0);

/// The same with all bytes as the calling thread's `tolower` makes them.
std::size_t findIgnoringCase(std::string_view text, std::string_view needle, std::size_t from = 0);

/// Finds all places of `needle`, which must not be empty, from left to right, each behind the end
/// of the one before.
class MatchFinder {
public:
    MatchFinder(std::string_view text, std::string_view needle) : mText(text), mNeedle(needle) {}

    /// Writes the next places, at most `room` of them.
    /// @return how many there were; fewer than `room` only when these are the last ones.
    std::size_t next(std::size_t* places, std::size_t room);

private:
    std::string_view mText;
    std::string_view mNeedle;
    std::size_t mPosition = 0;
    bool mIsHard = false;  // too many places looked like the needle
};

}  // namespace qz::text
