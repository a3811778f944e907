// SPDX-License-Identifier: MIT
// The search at each level of the processor, as far as this one has them, against the standard
// library's own.

#include <ctype.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "text/ByteSearch.h"
#include "text/GuardedBytes.h"
#include "text/PlainText.h"
#include "text/SearchLevels.h"
#include "text/SimdLevel.h"

namespace qz {

using plain::choose;
using plain::kNone;
using plain::makeAllTexts;
using plain::makeText;
using ::testing::ElementsAre;
using text::FoldedBytes;
using text::SearchEnd;
using text::SearchJob;
using text::SearchResult;
using text::SimdLevel;
using Places = std::vector<std::size_t>;

namespace {

struct Form {
    const char* name;
    SimdLevel level;
    SearchResult (*search)(SearchJob& job, std::size_t* places, std::size_t room);
    SearchResult (*searchFolded)(SearchJob& job, const FoldedBytes& folded, std::size_t* place);
};

constexpr Form kForms[] = {
    {"Sse2", SimdLevel::Sse2, text::searchSse2, text::searchFoldedSse2},
    {"Avx2", SimdLevel::Avx2, text::searchAvx2, text::searchFoldedAvx2},
};

SearchJob makeJob(std::string_view text, std::string_view needle, std::size_t from = 0)
{
    return {text.data(), text.size(), needle.data(), needle.size(), from};
}

FoldedBytes makeFoldedBytes()
{
    FoldedBytes folded = {*::__ctype_tolower_loc(), {}};
    for (int letter = 'A'; letter <= 'Z'; ++letter)
        folded.otherBits[letter ^ 0x20] = 0x20;
    return folded;
}

}  // namespace

class ByteSearchForms : public ::testing::TestWithParam<Form> {
protected:
    void SetUp() override
    {
        if (GetParam().level > text::detectSimdLevel()) GTEST_SKIP() << "not on this processor";
    }

    // All places, fetched `room` at a time; those that the search gives up on are found plainly.
    Places findAll(std::string_view content, std::string_view needle, std::size_t room = 3)
    {
        const std::string_view text = mBytes.putAtEnd(content);
        SearchJob job = makeJob(text, needle);
        Places places;
        Places found(room);
        SearchResult result = {};
        do {
            result = GetParam().search(job, found.data(), room);
            places.insert(places.end(), found.begin(), found.begin() + long(result.count));
        } while (result.end == SearchEnd::Full);
        if (result.end == SearchEnd::TooHard) {
            for (const std::size_t place : plain::findAll(text.substr(job.position), needle))
                places.push_back(job.position + place);
        }
        return places;
    }

    std::size_t findFolded(std::string_view content, const std::string& needle, std::size_t from)
    {
        const std::string_view text = mBytes.putAtEnd(content);
        SearchJob job = makeJob(text, needle, from);
        std::size_t place = 0;
        switch (GetParam().searchFolded(job, makeFoldedBytes(), &place).end) {
            case SearchEnd::Full:
                return place;
            case SearchEnd::Exhausted:
                return kNone;
            case SearchEnd::TooHard:
                break;
        }
        return plain::findIgnoringCase(std::string(text), needle, job.position);
    }

    GuardedBytes mBytes{2};
};

TEST_P(ByteSearchForms, FindsEveryPlaceInAllSmallTexts)
{
    const std::vector<std::string> needles = makeAllTexts("ab", 4);
    for (const std::string& text : makeAllTexts("ab", 9)) {
        for (const std::string& needle : needles) {
            if (needle.empty()) continue;
            ASSERT_EQ(findAll(text, needle), plain::findAll(text, needle)) << text << " " << needle;
        }
    }
}

TEST_P(ByteSearchForms, FindsEveryPlaceAtTheSeamsOfBlocks)
{
    const std::vector<std::string> texts = makeAllTexts("ab", 5);
    for (std::size_t before = 55; before < 70; ++before) {
        for (const std::string& text : texts) {
            const std::string whole = std::string(before, 'c') + text + "cb" + text;
            for (const char* needle : {"a", "ab", "aba", "cb", "cabba", "bcb"}) {
                ASSERT_EQ(findAll(whole, needle), plain::findAll(whole, needle))
                    << whole << " " << needle;
            }
        }
    }
}

TEST_P(ByteSearchForms, FindsEveryPlaceInGeneratedTexts)
{
    for (const unsigned seed : plain::kSeeds) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        for (unsigned round = 0; round < 500; ++round) {
            const std::string text =
                makeText(random, std::string_view("abcdefgh").substr(0, 1 + choose(random, 8)),
                         choose(random, 500));
            std::string needle = text.substr(choose(random, text.size() + 1), choose(random, 90));
            if (round % 4 == 0 || needle.empty()) needle += static_cast<char>('a' + round % 3);
            ASSERT_EQ(findAll(text, needle, 1 + choose(random, 9)), plain::findAll(text, needle))
                << text << " " << needle;
        }
    }
}

TEST_P(ByteSearchForms, LetsNoPlaceOverlapTheOneBefore)
{
    EXPECT_EQ(findAll(std::string(200, 'a'), std::string(70, 'a')), (Places{0, 70}));
    EXPECT_THAT(findAll("aaaaa", "aa", 1), ElementsAre(0, 2));
}

TEST_P(ByteSearchForms, GivesUpWhereEveryPlaceLooksLikeTheNeedle)
{
    const std::string text = std::string(1000, 'x') + std::string(7000, 'a');
    std::string needle(40, 'a');
    needle[1] = 'b';
    SearchJob job = makeJob(text, needle);
    std::size_t place = 0;
    EXPECT_EQ(GetParam().search(job, &place, 1).end, SearchEnd::TooHard);
    EXPECT_GT(job.position, 1000U);
    EXPECT_LT(job.position, 2000U) << "this is no longer linear";
}

TEST_P(ByteSearchForms, LosesNoPlaceWhereItGivesUp)
{
    std::string needle(40, 'a');
    needle[1] = 'b';
    for (std::size_t before = 0; before < 200; ++before) {
        const std::string text = std::string(before, 'a') + needle;
        ASSERT_EQ(findAll(text, needle), Places{before});
        ASSERT_EQ(findFolded(text, needle, 0), before);
    }
}

TEST_P(ByteSearchForms, GivesUpSoonerWhereLongPiecesAreAlike)
{
    const std::string text(8000, 'a');
    std::string needle(4000, 'a');
    needle[3000] = 'b';
    SearchJob job = makeJob(text, needle);
    std::size_t place = 0;
    EXPECT_EQ(GetParam().search(job, &place, 1).end, SearchEnd::TooHard);
    EXPECT_LT(job.position, 8U);
}

TEST_P(ByteSearchForms, FindsFoldedBytesInAllSmallTexts)
{
    const std::vector<std::string> needles = makeAllTexts("ab", 3);
    for (const std::string& text : makeAllTexts("aAbB", 5)) {
        for (const std::string& needle : needles) {
            if (needle.empty()) continue;
            for (const char* before : {"",
                                       "cccccccccccccccccccccccccccccccccccccccccccccccccc"
                                       "ccccccccccccc"}) {
                const std::string whole = before + text;
                ASSERT_EQ(findFolded(whole, needle, 0), plain::findIgnoringCase(whole, needle, 0))
                    << whole << " " << needle;
            }
        }
    }
}

TEST_P(ByteSearchForms, FindsFoldedBytesInGeneratedTexts)
{
    for (const unsigned seed : plain::kSeeds) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        for (unsigned round = 0; round < 500; ++round) {
            const std::string text = makeText(random, "aAbBcC\xc9\xe9", choose(random, 400));
            const std::size_t from = choose(random, text.size() + 1);
            const std::string needle = plain::lower(makeText(random, "abc", 1 + round % 4));
            ASSERT_EQ(findFolded(text, needle, from), plain::findIgnoringCase(text, needle, from))
                << text << " " << needle << " " << from;
        }
    }
}

TEST_P(ByteSearchForms, GivesUpOnFoldedBytesToo)
{
    const std::string text(4000, 'A');
    std::string needle(40, 'a');
    needle[1] = 'b';
    SearchJob job = makeJob(text, needle);
    std::size_t place = 0;
    EXPECT_EQ(GetParam().searchFolded(job, makeFoldedBytes(), &place).end, SearchEnd::TooHard);
}

INSTANTIATE_TEST_SUITE_P(Levels, ByteSearchForms, ::testing::ValuesIn(kForms),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(MatchFinder, GoesOnWhereTheSearchByVectorsGaveUp)
{
    // Hits at first, then a stretch where all looks alike, then hits again.
    std::string needle(40, 'a');
    needle[1] = 'b';
    std::string text;
    for (int i = 0; i < 5; ++i)
        text += needle + "x";
    text += std::string(3000, 'a');
    for (int i = 0; i < 5; ++i)
        text += needle;
    for (const std::size_t room : {1U, 2U, 5U, 100U}) {
        text::MatchFinder finder(text, needle);
        Places places;
        Places found(room);
        std::size_t count = 0;
        do {
            count = finder.next(found.data(), room);
            places.insert(places.end(), found.begin(), found.begin() + long(count));
        } while (count == room);
        EXPECT_EQ(places, plain::findAll(text, needle)) << room;
        EXPECT_EQ(places.size(), 10U);
    }
}

}  // namespace qz
