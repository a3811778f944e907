// SPDX-License-Identifier: MIT
#include "ByteSearch.h"

#include <cstring>
#include <string>

#include <ctype.h>

#include "SearchBlocks.h"
#include "SearchLevels.h"
#include "SimdLevel.h"

namespace qz::text {

namespace {

SearchJob makeJob(std::string_view text, std::string_view needle, std::size_t from)
{
    return {text.data(), text.size(), needle.data(), needle.size(), from};
}

SearchResult search(SearchJob& job, std::size_t* places, std::size_t room)
{
    return getSimdLevel() == SimdLevel::Avx2 ? searchAvx2(job, places, room)
                                             : searchSse2(job, places, room);
}

SearchResult searchFolded(SearchJob& job, const FoldedBytes& folded, std::size_t* place)
{
    return getSimdLevel() == SimdLevel::Avx2 ? searchFoldedAvx2(job, folded, place)
                                             : searchFoldedSse2(job, folded, place);
}

// In linear time for all texts.
std::size_t findHard(std::string_view text, std::string_view needle, std::size_t from)
{
    const void* const found =
        ::memmem(text.data() + from, text.size() - from, needle.data(), needle.size());
    if (found == nullptr) return std::string_view::npos;
    return static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}

// Searches for the first byte only, which is fastest if that byte is rare. Gives up if it isn't.
SearchEnd searchFirstByte(SearchJob& job, std::size_t& place)
{
    constexpr std::size_t kSlack = 512;
    constexpr std::size_t kPrice = 128;  // bytes that each step must pass on average
    const std::size_t start = job.position;
    const std::size_t starts = job.size - job.needleSize + 1;
    for (std::size_t price = 0; price <= kSlack + (job.position - start); price += kPrice) {
        const void* const found =
            std::memchr(job.text + job.position, job.needle[0], starts - job.position);
        if (found == nullptr) return SearchEnd::Exhausted;
        const auto* const text = static_cast<const char*>(found);
        place = static_cast<std::size_t>(text - job.text);
        if (std::memcmp(text, job.needle, job.needleSize) == 0) return SearchEnd::Full;
        job.position = place + 1;
        // Parts of a long needle may be compared many times.
        price += job.needleSize / 16;
    }
    return SearchEnd::TooHard;
}

// The table of the thread's locale that `tolower` uses.
const std::int32_t* getLowered()
{
    return *::__ctype_tolower_loc();
}

char lower(const std::int32_t* lowered, char byte)
{
    return static_cast<char>(lowered[static_cast<unsigned char>(byte)]);
}

std::string makeLowered(const std::int32_t* lowered, std::string_view text)
{
    std::string result(text);
    for (char& byte : result)
        byte = lower(lowered, byte);
    return result;
}

FoldedBytes makeFoldedBytes(const std::int32_t* lowered)
{
    FoldedBytes folded = {lowered, {}};
    for (int byte = 0; byte < 256; ++byte) {
        const auto to = static_cast<std::uint8_t>(lowered[byte]);
        folded.otherBits[to] = static_cast<std::uint8_t>(folded.otherBits[to] | (byte ^ to));
    }
    return folded;
}

// Byte by byte, for short texts.
std::size_t findLoweredSlowly(std::string_view text, std::string_view needle, std::size_t from,
                              const std::int32_t* lowered)
{
    for (std::size_t place = from; place + needle.size() <= text.size(); ++place) {
        std::size_t i = 0;
        while (i < needle.size() && lower(lowered, text[place + i]) == needle[i])
            ++i;
        if (i == needle.size()) return place;
    }
    return std::string_view::npos;
}

std::size_t findLowered(std::string_view text, std::string_view needle, std::size_t from,
                        const std::int32_t* lowered)
{
    // Below this size the preparation of the table costs more than the search.
    constexpr std::size_t kWorthATable = 256;
    if (text.size() - from < kWorthATable) return findLoweredSlowly(text, needle, from, lowered);
    SearchJob job = makeJob(text, needle, from);
    std::size_t place = 0;
    switch (searchFolded(job, makeFoldedBytes(lowered), &place).end) {
        case SearchEnd::Full:
            return place;
        case SearchEnd::Exhausted:
            return std::string_view::npos;
        case SearchEnd::TooHard:
            break;
    }
    const std::string rest = makeLowered(lowered, text.substr(job.position));
    const std::size_t found = findHard(rest, needle, 0);
    return found != std::string_view::npos ? job.position + found : found;
}

bool isDecidedBySize(std::string_view text, std::string_view needle, std::size_t from,
                     std::size_t& result)
{
    result = std::string_view::npos;
    if (from > text.size()) return true;
    if (needle.empty()) result = from;
    return needle.empty() || needle.size() > text.size() - from;
}

}  // namespace

std::size_t find(std::string_view text, std::string_view needle, std::size_t from)
{
    std::size_t place = 0;
    if (isDecidedBySize(text, needle, from, place)) return place;
    SearchJob job = makeJob(text, needle, from);
    SearchEnd end = searchFirstByte(job, place);
    if (end == SearchEnd::TooHard) end = search(job, &place, 1).end;
    switch (end) {
        case SearchEnd::Full:
            return place;
        case SearchEnd::Exhausted:
            return std::string_view::npos;
        case SearchEnd::TooHard:
            break;
    }
    return findHard(text, needle, job.position);
}

std::size_t findIgnoringCase(std::string_view text, std::string_view needle, std::size_t from)
{
    std::size_t place = 0;
    if (isDecidedBySize(text, needle, from, place)) return place;
    const std::int32_t* const lowered = getLowered();
    return findLowered(text, makeLowered(lowered, needle), from, lowered);
}

std::size_t MatchFinder::next(std::size_t* places, std::size_t room)
{
    std::size_t count = 0;
    if (!mIsHard) {
        SearchJob job = makeJob(mText, mNeedle, mPosition);
        const SearchResult result = search(job, places, room);
        mPosition = job.position;
        if (result.end != SearchEnd::TooHard) return result.count;
        mIsHard = true;
        count = result.count;
    }
    for (; count < room; ++count) {
        const std::size_t place = findHard(mText, mNeedle, mPosition);
        if (place == std::string_view::npos) break;
        places[count] = place;
        mPosition = place + mNeedle.size();
    }
    return count;
}

SearchResult searchSse2(SearchJob& job, std::size_t* places, std::size_t room)
{
    return searchByBlocks<Vector16>(job, {places, room});
}

SearchResult searchFoldedSse2(SearchJob& job, const FoldedBytes& folded, std::size_t* place)
{
    return searchFoldedByBlocks<Vector16>(job, folded, {place, 1});
}

}  // namespace qz::text
