// SPDX-License-Identifier: MIT
// The forms of the scan for each level of the processor, as far as this one has them, against the
// rules of UTF-8 taken one sequence at a time.

#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "text/GuardedBytes.h"
#include "text/PlainText.h"
#include "text/SimdLevel.h"
#include "text/Utf8Levels.h"
#include "text/Utf8Scan.h"

namespace qz {

using plain::choose;
using plain::makeAllTexts;
using text::SimdLevel;

namespace {

struct Form {
    const char* name;
    SimdLevel level;
    std::size_t (*count)(const char* begin, const char* end);
};

constexpr Form kForms[] = {
    {"Plain", SimdLevel::Sse2, text::countUtf8Plain},
    {"Ssse3", SimdLevel::Ssse3, text::countUtf8Ssse3},
    {"Avx2", SimdLevel::Avx2, text::countUtf8Avx2},
};

std::string printBytes(std::string_view text)
{
    std::string shown;
    for (const char byte : text) {
        char hex[4];
        std::snprintf(hex, sizeof hex, "%02X ", static_cast<unsigned>(byte) & 0xFFU);
        shown += hex;
    }
    return shown;
}

// The bytes at which one of the rules changes its mind.
const std::string kBounds =
    "\x01\x7f\x80\x8f\x90\x9f\xa0\xbf\xc0\xc1\xc2\xdf\xe0\xe1\xec\xed\xee\xef\xf0\xf1\xf3\xf4"
    "\xf5\xf7\xf8\xff";

// Those that matter inside of a sequence of four.
const std::string kFewerBounds = "a\x80\x8f\x90\x9f\xbf\xc1\xdf\xe0\xf0\xf3\xf4\xf5";

// Sequences that are right, and as many that are not quite.
const std::vector<std::string> kSequences = {
    "a",
    "\x7f",
    "\xc2\x80",
    "\xdf\xbf",
    "\xe0\xa0\x80",
    "\xed\x9f\xbf",
    "\xee\x80\x80",
    "\xef\xbf\xbf",
    "\xf0\x90\x80\x80",
    "\xf4\x8f\xbf\xbf",
    "\xf1\x80\x80\x80",
};

}  // namespace

class Utf8ScanForms : public ::testing::TestWithParam<Form> {
protected:
    void SetUp() override
    {
        if (GetParam().level > text::detectSimdLevel()) GTEST_SKIP() << "not on this processor";
    }

    void expectAsPlain(std::string_view content)
    {
        const std::size_t expected = plain::countUtf8(content);
        for (const std::string_view text : {mBytes.putAtEnd(content), mBytes.putAtBegin(content)}) {
            ASSERT_EQ(GetParam().count(text.data(), text.data() + text.size()), expected)
                << printBytes(content);
        }
    }

    GuardedBytes mBytes;
};

TEST_P(Utf8ScanForms, CountsNothingInAnEmptyText)
{
    EXPECT_EQ(GetParam().count(nullptr, nullptr), 0U);
}

TEST_P(Utf8ScanForms, DecidesEverySmallTextAsTheRulesDo)
{
    for (const std::string& text : makeAllTexts(kBounds, 3))
        expectAsPlain(text);
    for (const std::string& text : makeAllTexts(kFewerBounds, 4))
        expectAsPlain(text);
}

TEST_P(Utf8ScanForms, DecidesEveryPairOfBytes)
{
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second)
            expectAsPlain(std::string{static_cast<char>(first), static_cast<char>(second)});
    }
}

TEST_P(Utf8ScanForms, DecidesSequencesAcrossTheSeamsOfVectors)
{
    const std::vector<std::string> texts = makeAllTexts("a\x80\xc2\xe1\xf1", 4);
    for (const std::size_t before : {13U, 14U, 15U, 16U, 29U, 31U, 32U, 61U, 62U, 63U, 64U, 127U}) {
        for (const std::string& text : texts) {
            expectAsPlain(std::string(before, 'a') + text);
            if (before % 2 == 1) expectAsPlain(std::string(before, 'a') + text + "\xc2\x80");
        }
    }
}

TEST_P(Utf8ScanForms, FindsAFaultInFrontOfABlockOfAscii)
{
    for (std::size_t before = 0; before < 70; ++before) {
        for (const char* cut : {"\xc3", "\xe2\x82", "\xf0\x9f\x98", "\x80"})
            expectAsPlain(std::string(before, 'a') + cut + std::string(200, 'b'));
    }
}

// Long stretches of ASCII are passed in large steps, none of which may pass more than that.
TEST_P(Utf8ScanForms, StopsAtEveryPlaceOfLongAscii)
{
    constexpr std::size_t kSize = 900;
    for (std::size_t place = 0; place < kSize; ++place) {
        std::string text(kSize, 'a');
        text[place] = '\xe9';
        expectAsPlain(text);
        if (place % 3 == 0) expectAsPlain(text.replace(place, 1, "\xc3\xa9"));
    }
}

TEST_P(Utf8ScanForms, DecidesGeneratedTextsWithAndWithoutDamage)
{
    for (const unsigned seed : plain::kSeeds) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        for (int round = 0; round < 400; ++round) {
            std::string text;
            const std::size_t size = choose(random, 400);
            while (text.size() < size)
                text += kSequences[choose(random, kSequences.size())];
            expectAsPlain(text);
            if (text.empty()) continue;
            text[choose(random, text.size())] = static_cast<char>(random());
            expectAsPlain(text);
            expectAsPlain(text.substr(0, choose(random, text.size())));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, Utf8ScanForms, ::testing::ValuesIn(kForms),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Utf8Scan, AnswersAsThePlainFormAtEverySize)
{
    GuardedBytes bytes;
    for (std::size_t size = 0; size < 200; ++size) {
        const std::string_view ascii = bytes.putAtEnd(std::string(size, 'a'));
        ASSERT_TRUE(text::isAscii(ascii)) << size;
        ASSERT_TRUE(text::isUtf8(ascii)) << size;
        ASSERT_EQ(text::countUtf8(ascii), size);
        for (std::size_t place = 0; place < size; ++place) {
            std::string broken(size, 'a');
            broken[place] = '\xe9';
            ASSERT_FALSE(text::isAscii(bytes.putAtEnd(broken))) << size << " " << place;
            ASSERT_FALSE(text::isUtf8(bytes.putAtEnd(broken))) << size << " " << place;
            ASSERT_EQ(text::countUtf8(bytes.putAtEnd(broken)), 0U) << size << " " << place;
        }
    }
}

TEST(Utf8Scan, UsesTheBestLevelOfTheProcessor)
{
    EXPECT_EQ(text::getSimdLevel(), text::detectSimdLevel());
}

}  // namespace qz
