// SPDX-License-Identifier: MIT
#include <string>

#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

#include "text/PlainText.h"

namespace qz {

using namespace std::string_literals;

namespace {

std::string removeNonPrintable(const std::string& text, std::string before = {})
{
    qzStringUtils::RemoveAsciiNonPrintableChar(text.data(), text.size(), before);
    return before;
}

}  // namespace

TEST(qzStringUtilsPrintable, OnlyControlBytesOtherThanWhiteSpaceAreNot)
{
    for (int value = 0; value < 256; ++value) {
        const std::string text(1, static_cast<char>(value));
        const bool isExpected = value < 0x20 && value != 9 && value != 10 && value != 13;
        EXPECT_EQ(qzStringUtils::ContainsAsciiNonPrintableChar(text), isExpected) << value;
        EXPECT_EQ(qzStringUtils::ContainsAsciiNonPrintableChar(text.data(), 1), isExpected)
            << value;
        EXPECT_EQ(removeNonPrintable(text), isExpected ? "" : text) << value;
    }
}

TEST(qzStringUtilsPrintable, IsAskedOfAllBytes)
{
    EXPECT_FALSE(qzStringUtils::ContainsAsciiNonPrintableChar("\t\r\n"));
    EXPECT_TRUE(qzStringUtils::ContainsAsciiNonPrintableChar("\x0b"));
    EXPECT_FALSE(qzStringUtils::ContainsAsciiNonPrintableChar("\x7f"));
    EXPECT_FALSE(qzStringUtils::ContainsAsciiNonPrintableChar("caf\xc3\xa9"));
    EXPECT_TRUE(qzStringUtils::ContainsAsciiNonPrintableChar("abc\0"s));
    EXPECT_TRUE(qzStringUtils::ContainsAsciiNonPrintableChar("\x1b[0m"));
}

TEST(qzStringUtilsPrintable, NothingContainsNothing)
{
    EXPECT_FALSE(qzStringUtils::ContainsAsciiNonPrintableChar(""));
    EXPECT_FALSE(qzStringUtils::ContainsAsciiNonPrintableChar(nullptr, 0));
    EXPECT_EQ(removeNonPrintable(""), "");
}

TEST(qzStringUtilsPrintable, LengthEndsTheCheck)
{
    EXPECT_FALSE(qzStringUtils::ContainsAsciiNonPrintableChar("ab\x01", 2));
    std::string out;
    qzStringUtils::RemoveAsciiNonPrintableChar("ab\x01z", 3, out);
    EXPECT_EQ(out, "ab");
}

TEST(qzStringUtilsPrintable, RemovalAppends)
{
    EXPECT_EQ(removeNonPrintable("\x01x\x02\x03y\tz\n\x1f", "before "), "before xy\tz\n");
    EXPECT_EQ(removeNonPrintable("\0\0"s, "before"), "before");
}

TEST(qzStringUtilsPrintable, RemovalReservesMemoryForTheWholeInput)
{
    const std::string text(1000, '\x01');
    std::string out;
    qzStringUtils::RemoveAsciiNonPrintableChar(text.data(), text.size(), out);
    EXPECT_EQ(out, "");
    EXPECT_GE(out.capacity(), text.size());
}

// --- XML

struct XmlRow {
    const char* name;
    std::string text;
    std::string escaped;
};

class qzStringUtilsEscapeXml : public ::testing::TestWithParam<XmlRow> {};

TEST_P(qzStringUtilsEscapeXml, ReadsAsItsRow)
{
    std::string text = GetParam().text;
    qzStringUtils::EscapeXmlString(text);
    EXPECT_EQ(text, GetParam().escaped);
}

const XmlRow kXmlRows[] = {
    {"Empty", "", ""},
    {"Plain", "plain text", "plain text"},
    {"Quote", "\"", "&quot;"},
    {"Apostrophe", "'", "&apos;"},
    {"Ampersand", "&", "&amp;"},
    {"LessThan", "<", "&lt;"},
    {"GreaterThan", ">", "&gt;"},
    {"AllOfThem", "\"'&<>", "&quot;&apos;&amp;&lt;&gt;"},
    {"EntityAgain", "&amp;", "&amp;amp;"},
    {"Element", "<a href=\"x\">b</a>", "&lt;a href=&quot;x&quot;&gt;b&lt;/a&gt;"},
    {"ControlBytesStay", "\x01\0<\x1f"s, "\x01\0&lt;\x1f"s},
    {"HighBytesStay", "\xc3\xa9&\xff", "\xc3\xa9&amp;\xff"},
    {"NeighboursStay", "!#%$(=;?", "!#%$(=;?"},
};
INSTANTIATE_TEST_SUITE_P(Rows, qzStringUtilsEscapeXml, ::testing::ValuesIn(kXmlRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(qzStringUtilsEscapeXmlAll, EveryByteAtEveryPlaceOfABlock)
{
    for (int value = 0; value < 256; ++value) {
        for (const std::size_t before : {0U, 7U, 15U, 16U, 31U}) {
            std::string text = std::string(before, 'x') + static_cast<char>(value) + "yz";
            const std::string expected = plain::escapeXml(text);
            qzStringUtils::EscapeXmlString(text);
            ASSERT_EQ(text, expected) << value << " behind " << before;
        }
    }
}

TEST(qzStringUtilsEscapeXmlAll, GeneratedTexts)
{
    for (const unsigned seed : plain::kSeeds) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        for (int round = 0; round < 300; ++round) {
            std::string text =
                plain::makeText(random, "abcdefgh\"'&<>", plain::choose(random, 300));
            const std::string expected = plain::escapeXml(text);
            qzStringUtils::EscapeXmlString(text);
            ASSERT_EQ(text, expected);
        }
    }
}

}  // namespace qz
