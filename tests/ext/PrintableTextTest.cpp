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

TEST(ExtEscapedTextTest, IsInsertedEscaped)
{
    std::ostringstream stream;
    stream << "user " << EscapedText("eve\nCRITICAL") << '.';
    EXPECT_EQ(stream.str(), "user eve\\nCRITICAL.");
}

}  // namespace

}  // namespace qz::ext
