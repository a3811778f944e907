// SPDX-License-Identifier: MIT
#include <qz/ext/PrintableText.h>

#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace qz::ext {

namespace {

struct EscapeRow {
    const char* name;
    std::string text;
    std::string result;
};

const EscapeRow kEscapes[] = {
    {"Empty", "", ""},
    {"Plain", "50% of \\n \"x\"", "50% of \\n \"x\""},
    {"Umlaut", "Z\xC3\xBCrich", "Z\xC3\xBCrich"},
    {"BeyondTheBasicPlane", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
    {"LineBreaks", "a\r\nb\tc", "a\\r\\nb\\tc"},
    {"ZeroByte", std::string("a\0b", 3), "a\\x00b"},
    {"EscapeSequence", "\x1B[2J\x7F", "\\x1B[2J\\x7F"},
    {"ControlBeyondAscii", "\xC2\x9B\x32J", "\\u009B2J"},
    {"NoBreakSpaceStays", "\xC2\xA0", "\xC2\xA0"},
    {"LineSeparator",
     "a\xE2\x80\xA8"
     "b",
     "a\\u2028b"},
    {"DirectionOfWriting",
     "\xE2\x80\xAE"
     "abc\xE2\x81\xA9",
     "\\u202Eabc\\u2069"},
    {"SoftHyphen", "a\xC2\xAD", "a\\u00AD"},
    {"ZeroWidthSpace", "a\xE2\x80\x8B", "a\\u200B"},
    {"WordJoiner", "a\xE2\x81\xA0", "a\\u2060"},
    {"ByteOrderMark", "\xEF\xBB\xBF", "\\uFEFF"},
    {"Tag", "\xF3\xA0\x81\x81", "\\U000E0041"},
    {"VariantStays", "\xE2\x9D\xA4\xEF\xB8\x8F", "\xE2\x9D\xA4\xEF\xB8\x8F"},
    {"CutSequence", "a\xE2\x82", "a\\xE2\\x82"},
    {"Latin1", "Z\xFCrich", "Z\\xFCrich"},
    {"Overlong", "\xC0\x8A", "\\xC0\\x8A"},
    {"Surrogate", "\xED\xA0\x80", "\\xED\\xA0\\x80"},
    {"BeyondUnicode", "\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},
};

class ExtEscapedTest : public ::testing::TestWithParam<EscapeRow> {};

TEST_P(ExtEscapedTest, ReadsAsItsRow)
{
    EXPECT_EQ(escaped(GetParam().text), GetParam().result);
    EXPECT_EQ(escaped(GetParam().result), GetParam().result) << "escaped twice";
}

INSTANTIATE_TEST_SUITE_P(Rows, ExtEscapedTest, ::testing::ValuesIn(kEscapes),
                         [](const auto& row) { return std::string(row.param.name); });

// Each character that is escaped is hidden as well, so that no text can lie in a table.
TEST(ExtMakePrintableTest, HidesWhatIsEscaped)
{
    EXPECT_EQ(makePrintable("user \xE2\x80\xAE"
                            "abc\xE2\x81\xA9\xE2\x80\x8F"),
              "user ?abc??");
    EXPECT_EQ(makePrintable("a\xE2\x80\xA8\xC2\xAD\xEF\xBB\xBF\xF3\xA0\x81\x81z"), "a????z");
    EXPECT_EQ(makePrintable("\xC2\xA0\xF0\x9F\x98\x80"), "\xC2\xA0\xF0\x9F\x98\x80");
    for (char32_t value = 1; value <= 0xFFFF; ++value) {
        if (value >= 0xD800 && value <= 0xDFFF) continue;
        std::string text;
        if (value < 0x80)
            text = {static_cast<char>(value)};
        else if (value < 0x800)
            text = {static_cast<char>(0xC0 | value >> 6), static_cast<char>(0x80 | (value & 0x3F))};
        else
            text = {static_cast<char>(0xE0 | value >> 12),
                    static_cast<char>(0x80 | (value >> 6 & 0x3F)),
                    static_cast<char>(0x80 | (value & 0x3F))};
        ASSERT_EQ(makePrintable(text), escaped(text) == text ? text : "?")
            << static_cast<unsigned int>(value);
    }
}

TEST(ExtEscapedTextTest, IsInsertedEscaped)
{
    std::ostringstream stream;
    stream << "user " << EscapedText("eve\nCRITICAL") << '.';
    EXPECT_EQ(stream.str(), "user eve\\nCRITICAL.");
}

}  // namespace

}  // namespace qz::ext
