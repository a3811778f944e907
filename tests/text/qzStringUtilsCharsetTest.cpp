// SPDX-License-Identifier: MIT
#include <stdlib.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "text/PlainCharset.h"
#include "text/TextServices.h"

namespace qz {

static_assert(kLocal == 0 && kUtf8 == 1 && kAscii == 2);
static_assert(sizeof(qzStringUtils::qzCharSet) == 4);

// --- convertCharset

class qzStringUtilsCharset : public ::testing::Test {};

TEST_F(qzStringUtilsCharset, GivesNothingBetweenEqualOrUnknownSets)
{
    const LocalSet local("C.UTF-8");
    for (const int set : {0, 1, 2}) {
        EXPECT_EQ(convert("abc", set, set), "") << set;
        for (const int unknown : {-1, 3, 0x10001}) {
            EXPECT_EQ(convert("abc", set, unknown), "") << set << " to " << unknown;
            EXPECT_EQ(convert("abc", unknown, set), "") << unknown << " to " << set;
        }
    }
}

struct CharsetRow {
    const char* name;
    const char* locale;
    int from;
    int to;
    std::string text;
    std::string result;
};

std::string repeat(const std::string& text, int times)
{
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

// "¼" is transliterated to 5 bytes where the set lacks it: one has room, two have not.
const CharsetRow kCharsetRows[] = {
    {"Empty", "C.UTF-8", 0, 1, "", ""},
    {"AsciiLocalToUtf8", "C", 0, 1, "abc", "abc"},
    {"AsciiUtf8ToLocal", "ja_JP.EUC-JP", 1, 0, "abc", "abc"},
    {"Nul", "C.UTF-8", 1, 2, std::string("a\0b", 3), std::string("a\0b", 3)},
    {"NulAloneLatin1", "en_US.ISO-8859-1", 1, 0, std::string(1, '\0'), std::string(1, '\0')},
    {"NulAtTheEndLatin1", "en_US.ISO-8859-1", 0, 1, std::string("\xe9\0", 2),
     std::string("\xc3\xa9\0", 3)},
    {"Utf8LocalKeepsUtf8", "C.UTF-8", 0, 1, "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80",
     "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"},
    {"Utf8ToUtf8Local", "de_DE.UTF-8", 1, 0, "\xc3\xa9", "\xc3\xa9"},
    {"BrokenUtf8Local", "C.UTF-8", 0, 1, "a\xff", ""},
    {"Latin1ToUtf8", "en_US.ISO-8859-1", 0, 1, "\xe9\xff", "\xc3\xa9\xc3\xbf"},
    {"Latin1FillsItsRoom", "en_US.ISO-8859-1", 0, 1, repeat("\xff", 3000),
     repeat("\xc3\xbf", 3000)},
    {"Utf8ToLatin1", "en_US.ISO-8859-1", 1, 0, "a\xc3\xa9z", "a\xe9z"},
    {"EucJpToUtf8", "ja_JP.EUC-JP", 0, 1, "\xa4\xa2\xb4\xc1", "\xe3\x81\x82\xe6\xbc\xa2"},
    {"Utf8ToEucJp", "ja_JP.EUC-JP", 1, 0, "\xe3\x81\x82\xe6\xbc\xa2", "\xa4\xa2\xb4\xc1"},
    {"HighByteFromAscii", "C.UTF-8", 2, 1, "a\x80", ""},
    {"HighByteFromAsciiToLocal", "en_US.ISO-8859-1", 2, 0, "\xe9", ""},
    {"HighByteFromTheCLocale", "C", 0, 1, "\xe9", ""},
    {"CutUtf8", "C.UTF-8", 1, 2, "a\xc3", ""},
    {"OverlongUtf8", "C.UTF-8", 1, 0, "\xc0\xaf", ""},
    {"SurrogateInUtf8", "C.UTF-8", 1, 0, "\xed\xa0\x80", ""},
    {"TransliteratedWithRoom", "C", 1, 2, "\xc2\xbc", " 1/4 "},
    {"TransliteratedWithoutRoom", "C", 1, 2, "\xc2\xbc\xc2\xbc", ""},
    {"TransliteratedWithRoomMade", "C", 1, 2, "abc\xc2\xbc\xc2\xbc", "abc 1/4  1/4 "},
    {"LongAscii", "C.UTF-8", 1, 2, repeat("abcdefgh", 5000), repeat("abcdefgh", 5000)},
};

class qzStringUtilsCharsetRows : public ::testing::TestWithParam<CharsetRow> {};

TEST_P(qzStringUtilsCharsetRows, ConvertAsTheirRow)
{
    const CharsetRow& row = GetParam();
    const LocalSet local(row.locale);
    EXPECT_EQ(convert(row.text, row.from, row.to), row.result);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsCharsetRows, ::testing::ValuesIn(kCharsetRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzStringUtilsCharset, ConvertsAfterAFailureAsBefore)
{
    const LocalSet local("ja_JP.EUC-JP");
    EXPECT_EQ(convert("\xe3\x81", kUtf8, kLocal), "");
    EXPECT_EQ(convert("\xe3\x81\x82", kUtf8, kLocal), "\xa4\xa2");
    EXPECT_EQ(convert("\xa4", kLocal, kUtf8), "");
    EXPECT_EQ(convert("\xa4\xa2", kLocal, kUtf8), "\xe3\x81\x82");
}

// --- The wide conversions

struct WideRow {
    const char* name;
    int to;
    std::wstring text;
    std::string result;
};

const WideRow kWideRows[] = {
    {"Empty", 1, L"", ""},
    {"Three", 1, L"abc", ""},
    {"Six", 1, L"abcdef", ""},
    {"Seven", 1, L"abcdefg", "a"},
    {"Eight", 1, L"abcdefgh", ""},
    {"Eleven", 1, L"abcdefghijk", "ab"},
    {"SevenToAscii", 2, L"abcdefg", "a"},
    {"SevenToLocal", 0, L"abcdefg", "a"},
    {"TheLastByteIsCutFromACharacter", 1, L"a\u00e9cdefg", "a\xc3"},
    {"AWideCharacterAhead", 1,
     L"\u20ac"
     L"bcdefg",
     "\xe2\x82\xac"},
    {"NotACharacterIsTransliterated", 1, std::wstring(1, static_cast<wchar_t>(-1)) + L"bcdefg",
     "?"},
    {"UnknownSet", 3, L"abcdefg", ""},
    {"UnknownNegativeSet", -1, L"abcdefg", ""},
};

class qzStringUtilsTo8Bits : public ::testing::TestWithParam<WideRow> {};

TEST_P(qzStringUtilsTo8Bits, ConvertsAsItsRow)
{
    const LocalSet local("C.UTF-8");
    const auto to = qzStringUtils::qzCharSet(GetParam().to);
    EXPECT_EQ(qzStringUtils::convertTo8Bits(GetParam().text, to), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsTo8Bits, ::testing::ValuesIn(kWideRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzStringUtilsCharset, GivesNoWideTextWhatever)
{
    const LocalSet local("C.UTF-8");
    PlainCharset plain("UTF-8");
    for (const int from : {0, 1, 2}) {
        for (const std::string& text : {std::string(), std::string("a"), std::string(5000, 'a'),
                                        std::string("\xc3\xa9"), std::string(3, '\0')}) {
            EXPECT_EQ(qzStringUtils::convertToUnicode(text, qzStringUtils::qzCharSet(from)), L"");
            EXPECT_EQ(plain.convertToUnicode(text, from), L"");
        }
    }
}

// --- Threads

TEST(qzStringUtilsThreads, ConvertSideBySide)
{
    const LocalSet local("ja_JP.EUC-JP");
    constexpr int kThreads = 8;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&wrong, i] {
            const std::string utf8 = repeat("\xe3\x81\x82", i + 1);
            const std::string eucJp = repeat("\xa4\xa2", i + 1);
            for (int round = 0; round < 2000; ++round) {
                wrong += convert(utf8, kUtf8, kLocal) == eucJp ? 0 : 1;
                wrong += convert(eucJp, kLocal, kUtf8) == utf8 ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace qz
