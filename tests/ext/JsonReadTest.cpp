// SPDX-License-Identifier: MIT
// Reading JSON: what is accepted, what is refused and where, numbers and options.

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <pmmintrin.h>

#include "ext/JsonFixture.h"
#include "ext/PlainJson.h"
#include "support/Environment.h"

namespace qz::ext {

using namespace std::string_literals;
using namespace std::string_view_literals;

namespace {

// --- Accepted

struct Accepted {
    const char* name;
    std::string_view text;
    qzVariant value;
};

const Accepted kAccepted[] = {
    {"Null", "null", qzVariant()},
    {"True", "true", true},
    {"False", "false", false},
    {"Zero", "0", 0},
    {"OneDigit", "7", 7},
    {"Negative", "-1", -1},
    {"ManyDigits", "1234567890", 1234567890},
    {"SpaceAround", " \t\r\n1 \t\r\n", 1},
    {"Fraction", "1.5", 1.5},
    {"FractionOfZero", "0.25", 0.25},
    {"PointAndZero", "1.0", 1.0},
    {"Exponent", "1e3", 1000.0},
    {"ExponentUpperCase", "1E3", 1000.0},
    {"ExponentPlus", "1e+3", 1000.0},
    {"ExponentMinus", "25e-2", 0.25},
    {"ExponentWithZeros", "1e0003", 1000.0},
    {"ExponentOfZero", "0e5", 0.0},
    {"FractionAndExponent", "-1.25E+2", -125.0},
    {"EmptyString", R"("")", ""},
    {"Ascii", R"("abc")", "abc"},
    {"SlashAlone", R"("a/b")", "a/b"},
    {"Delete", "\"\x7f\"", "\x7f"},
    {"Escapes", R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
    {"EscapeBetween", R"("ab\ncd")", "ab\ncd"},
    {"EscapeOfZero", R"("a\u0000b")", "a\0b"sv},
    {"EscapeOfAscii", R"("\u0041")", "A"},
    {"EscapeOfTheLastOfAscii", R"("\u007f\u0080")", "\x7f\xc2\x80"},
    {"EscapeUpperCaseDigits", R"("\u00E9\u00e9")", "\xc3\xa9\xc3\xa9"},
    {"EscapeOfThreeBytes", R"("\u20ac")", "\xe2\x82\xac"},
    {"EscapeBelowSurrogates", R"("\ud7ff")", "\xed\x9f\xbf"},
    {"EscapeAboveSurrogates", R"("\ue000")", "\xee\x80\x80"},
    {"EscapeOfTheLastOfTwoBytes", R"("\u07ff\u0800")", "\xdf\xbf\xe0\xa0\x80"},
    {"EscapeOfNoncharacter", R"("\uffff")", "\xef\xbf\xbf"},
    {"Pair", R"("\ud83d\ude00")", "\xf0\x9f\x98\x80"},
    {"FirstPair", R"("\ud800\udc00")", "\xf0\x90\x80\x80"},
    {"LastPair", R"("\udbff\udfff")", "\xf4\x8f\xbf\xbf"},
    {"TwoBytes", "\"\xc3\xa9\"", "\xc3\xa9"},
    {"ThreeBytes", "\"\xe6\x9d\xb1\"", "\xe6\x9d\xb1"},
    {"FourBytes", "\"\xf0\x9f\x98\x80\"", "\xf0\x9f\x98\x80"},
    {"LastOfUnicode", "\"\xf4\x8f\xbf\xbf\"", "\xf4\x8f\xbf\xbf"},
    {"LineSeparator", "\"\xe2\x80\xa8\"", "\xe2\x80\xa8"},
    {"ByteOrderMarkInString", "\"\xef\xbb\xbf\"", "\xef\xbb\xbf"},
    {"SixteenBytesBeforeAnEscape", R"("0123456789abcdef\n")", "0123456789abcdef\n"},
    {"EmptyArray", "[]", List()},
    {"EmptyArrayWithSpace", "[ \n ]", List()},
    {"Array", "[1,\"a\",null]", List{1, "a", qzVariant()}},
    {"ArrayWithSpace", " [ 1 , 2 ] ", List{1, 2}},
    {"NestedArrays", "[[],[[1]],2]",
     List{qzVariant(List()), qzVariant(List{qzVariant(List{1})}), 2}},
    {"EmptyObject", "{}", Map()},
    {"EmptyObjectWithSpace", "{ }", Map()},
    {"Object", R"({"b":1,"a":[true]})", Map{{"a", List{true}}, {"b", 1}}},
    {"ObjectWithSpace", "{ \"a\" :\n1 , \"b\"\t: 2 }", Map{{"a", 1}, {"b", 2}}},
    {"NestedObjects", R"({"a":{"a":{}}})", Map{{"a", Map{{"a", Map()}}}}},
    {"ObjectsInArray", R"([{"a":1},{"a":[2,{}]},3])",
     List{Map{{"a", 1}}, Map{{"a", List{2, Map()}}}, 3}},
    {"EmptyKey", R"({"":1})", Map{{"", 1}}},
    {"EscapedKey", R"({"a\u0000\n":1})", Map{{"a\0\n"s, 1}}},
    {"KeysThatDifferByCase", R"({"a":1,"A":2})", Map{{"a", 1}, {"A", 2}}},
    {"SameKeyOnTwoLevels", R"({"a":{"a":1}})", Map{{"a", Map{{"a", 1}}}}},
    // Where the standard leaves the choice:
    {"ByteOrderMark", "\xef\xbb\xbf[1]", List{1}},
    {"LargestInteger", "9223372036854775807", std::numeric_limits<long>::max()},
    {"SmallestInteger", "-9223372036854775808", std::numeric_limits<long>::min()},
    {"IntegerBeyondAndExact", "9223372036854775808", 9223372036854775808.0},
    {"NegativeBeyondAndExact", "-18446744073709551616", -18446744073709551616.0},
    {"IntegerAboveTheExactReals", "9007199254740993", 9007199254740993},
    {"TenToThe22", "10000000000000000000000", 1e22},
    {"RealBelowTheRange", "1e-400", 0.0},
    {"RealFarBelowTheRange", "123e-99999999999999999999", 0.0},
    {"RealBelowTheRangeUpperCase", "1E-400", 0.0},
    {"RealBelowTheRangeOf64Bits", "1e-18446744073709551516", 0.0},
    {"SmallByItsDigits", "0.0000000001e-320", 0.0},
    {"LargestReal", "1.7976931348623157e308", 1.7976931348623157e308},
    {"SmallestNormal", "2.2250738585072014e-308", 2.2250738585072014e-308},
    {"LargestDenormal", "2.225073858507201e-308", 2.225073858507201e-308},
    {"SmallestDenormal", "5e-324", 5e-324},
    {"RealByManyDigits", "0.1000000000000000055511151231257827021181583404541015625", 0.1},
};

class JsonAccepted : public ::testing::TestWithParam<Accepted> {};

TEST_P(JsonAccepted, ReadsAsItsRow)
{
    const std::string text(GetParam().text);
    const JsonReadResult result = readJson(text);
    EXPECT_EQ(result.error.toString(), "");
    EXPECT_EQ(result.value, GetParam().value);
    EXPECT_EQ(result.endOffset, text.find_last_not_of(" \t\r\n") + 1);
    EXPECT_EQ(read(write(result.value)), result.value);
}

INSTANTIATE_TEST_SUITE_P(Rows, JsonAccepted, ::testing::ValuesIn(kAccepted), getRowName<Accepted>);

// --- Refused

struct Refused {
    const char* name;
    std::string_view text;
    Kind kind;
    const char* message;
    std::size_t line;
    std::size_t column;
};

constexpr const char* kNoValue = "A value is missing";
constexpr const char* kNoDigit = "A digit is missing";
constexpr const char* kNoHexDigit = "A hexadecimal digit is missing";
constexpr const char* kAfter = "There is text after the value";
constexpr const char* kNoComma = "A comma or ] is missing";
constexpr const char* kNoCommaInObject = "A comma or } is missing";
constexpr const char* kNoKey = "A key in quotes is missing";
constexpr const char* kNoColon = "A colon is missing";
constexpr const char* kControl = "A control character must be escaped";
constexpr const char* kUnknownEscape = "The escape sequence is unknown";
constexpr const char* kHalf = "The other half of the surrogate pair is missing";
constexpr const char* kNotUtf8 = "The string isn't UTF-8";
constexpr const char* kUselessZero = "The number begins with a useless 0";
constexpr const char* kTooLarge = "The number exceeds the range of a double";
constexpr const char* kInexact = "The integer has no exact value of 64 bits";

const Refused kRefused[] = {
    {"NoText", "", Kind::Syntax, kEndsTooEarly, 1, 1},
    {"SpaceOnly", " \n ", Kind::Syntax, kEndsTooEarly, 2, 2},
    {"ByteOrderMarkOnly", "\xef\xbb\xbf", Kind::Syntax, kEndsTooEarly, 1, 1},
    {"TwoByteOrderMarks",
     "\xef\xbb\xbf\xef\xbb\xbf"
     "1",
     Kind::Syntax, kNoValue, 1, 1},
    {"ByteOrderMarkLater",
     "[\xef\xbb\xbf"
     "1]",
     Kind::Syntax, kNoValue, 1, 2},
    {"PartOfAByteOrderMark",
     "\xef\xbb"
     "1",
     Kind::Syntax, kNoValue, 1, 1},
    {"Utf16", "\xff\xfe[\0]\0"sv, Kind::Syntax, kNoValue, 1, 1},
    {"ZeroByte", "\0"sv, Kind::Syntax, kNoValue, 1, 1},
    {"ZeroByteAfter", "1\0"sv, Kind::Syntax, kAfter, 1, 2},
    {"ZeroByteInArray", "[1\0]"sv, Kind::Syntax, kNoComma, 1, 3},
    {"OtherSpace",
     "\xc2\xa0"
     "1",
     Kind::Syntax, kNoValue, 1, 1},
    {"FormFeed", "\f1", Kind::Syntax, kNoValue, 1, 1},
    {"VerticalTab", "[\v1]", Kind::Syntax, kNoValue, 1, 2},
    {"TwoValues", "1 2", Kind::Syntax, kAfter, 1, 3},
    {"TwoArrays", "[][]", Kind::Syntax, kAfter, 1, 3},
    {"ClosingBracketAfter", "[]]", Kind::Syntax, kAfter, 1, 3},
    {"CommaAfter", "1,", Kind::Syntax, kAfter, 1, 2},
    {"LineComment", "[1, // one\n2]", Kind::Syntax, kNoValue, 1, 5},
    {"BlockComment", "/* */1", Kind::Syntax, kNoValue, 1, 1},
    {"HashComment", "1 # one", Kind::Syntax, kAfter, 1, 3},
    // words
    {"PartOfNull", "nul", Kind::Syntax, kNoValue, 1, 1},
    {"NullUpperCase", "NULL", Kind::Syntax, kNoValue, 1, 1},
    {"TrueCapital", "[True]", Kind::Syntax, kNoValue, 1, 2},
    {"WordTooLong", "[truee]", Kind::Syntax, kNoComma, 1, 6},
    {"Undefined", "undefined", Kind::Syntax, kNoValue, 1, 1},
    {"NanWord", "NaN", Kind::Syntax, kNoValue, 1, 1},
    {"InfinityWord", "Infinity", Kind::Syntax, kNoValue, 1, 1},
    {"MinusInfinity", "-Infinity", Kind::Syntax, kNoDigit, 1, 2},
    {"Unquoted", "[abc]", Kind::Syntax, kNoValue, 1, 2},
    // numbers
    {"MinusOnly", "-", Kind::Syntax, kEndsTooEarly, 1, 2},
    {"MinusInArray", "[-]", Kind::Syntax, kNoDigit, 1, 3},
    {"MinusTwice", "--1", Kind::Syntax, kNoDigit, 1, 2},
    {"MinusAndSpace", "- 1", Kind::Syntax, kNoDigit, 1, 2},
    {"Plus", "+1", Kind::Syntax, kNoValue, 1, 1},
    {"PointFirst", ".5", Kind::Syntax, kNoValue, 1, 1},
    {"MinusAndPoint", "-.5", Kind::Syntax, kNoDigit, 1, 2},
    {"PointLast", "5.", Kind::Syntax, kEndsTooEarly, 1, 3},
    {"PointAndExponent", "5.e1", Kind::Syntax, kNoDigit, 1, 3},
    {"TwoPoints", "1.2.3", Kind::Syntax, kAfter, 1, 4},
    {"ExponentOnly", "1e", Kind::Syntax, kEndsTooEarly, 1, 3},
    {"ExponentSignOnly", "[1e+]", Kind::Syntax, kNoDigit, 1, 5},
    {"ExponentWithTwoSigns", "1e+-1", Kind::Syntax, kNoDigit, 1, 4},
    {"ExponentWithPoint", "1e1.5", Kind::Syntax, kAfter, 1, 4},
    {"ZeroFirst", "01", Kind::Syntax, kUselessZero, 1, 1},
    {"ZeroFirstNegative", "[-01]", Kind::Syntax, kUselessZero, 1, 3},
    {"ZeroTwice", "00", Kind::Syntax, kUselessZero, 1, 1},
    {"ZeroFirstInReal", "01.5", Kind::Syntax, kUselessZero, 1, 1},
    {"Hexadecimal", "0x1F", Kind::Syntax, kAfter, 1, 2},
    {"LetterAfterDigits", "[12a]", Kind::Syntax, kNoComma, 1, 4},
    {"CommaAsPoint", "[1,5", Kind::Syntax, kEndsTooEarly, 1, 5},
    {"WideDigit", "\xef\xbc\x91", Kind::Syntax, kNoValue, 1, 1},
    {"UnsignedBeyondTheExact", "[18446744073709551615]", Kind::Number, kInexact, 1, 2},
    {"SmallestIntegerLessOne", "-9223372036854775809", Kind::Number, kInexact, 1, 1},
    {"TenToThe23", "100000000000000000000000", Kind::Number, kInexact, 1, 1},
    {"RealAboveTheRange", "[0, 1e309]", Kind::Number, kTooLarge, 1, 5},
    {"RealFarAbove", "-1e99999999999999999999", Kind::Number, kTooLarge, 1, 1},
    {"RealAboveTheRangeOf64Bits", "1e18446744073709551516", Kind::Number, kTooLarge, 1, 1},
    {"LargeByItsDigits", "1000000000000000000000e300", Kind::Number, kTooLarge, 1, 1},
    // strings
    {"QuoteOnly", "\"", Kind::Syntax, kEndsTooEarly, 1, 2},
    {"StringWithoutEnd", "\"abc", Kind::Syntax, kEndsTooEarly, 1, 5},
    {"SingleQuotes", "'a'", Kind::Syntax, kNoValue, 1, 1},
    {"LineFeedInString", "\"a\nb\"", Kind::Syntax, kControl, 1, 3},
    {"TabInString", "\"\t\"", Kind::Syntax, kControl, 1, 2},
    {"ZeroByteInString", "\"\0\""sv, Kind::Syntax, kControl, 1, 2},
    {"LastControlInString", "\"\x1f\"", Kind::Syntax, kControl, 1, 2},
    {"UnknownEscape", R"("ab\x41")", Kind::Syntax, kUnknownEscape, 1, 4},
    {"EscapedQuoteAtTheEnd", R"("\")", Kind::Syntax, kEndsTooEarly, 1, 4},
    {"BackslashAtTheEnd", "\"\\", Kind::Syntax, kEndsTooEarly, 1, 3},
    {"EscapeOfZeroByte", "\"\\\0\""sv, Kind::Syntax, kUnknownEscape, 1, 2},
    {"EscapeUpperCase", R"("\U0041")", Kind::Syntax, kUnknownEscape, 1, 2},
    {"ThreeHexDigits", R"("\u00g1")", Kind::Syntax, kNoHexDigit, 1, 6},
    {"HexDigitsEndEarly", "\"\\u12", Kind::Syntax, kEndsTooEarly, 1, 6},
    {"HexDigitsEndAtTheQuote", R"("\u123")", Kind::Syntax, kNoHexDigit, 1, 7},
    {"FirstHalfAlone", R"("\ud800")", Kind::Encoding, kHalf, 1, 2},
    {"FirstHalfAndText", R"("a\udbffbcdef")", Kind::Encoding, kHalf, 1, 3},
    {"FirstHalfAndOtherEscape", R"("\ud800\n")", Kind::Encoding, kHalf, 1, 2},
    {"FirstHalfTwice", R"("\ud800\ud800")", Kind::Encoding, kHalf, 1, 2},
    {"FirstHalfAndAscii", R"("\ud83d\u0041")", Kind::Encoding, kHalf, 1, 2},
    {"FirstHalfAndBadDigits", R"("\ud83d\udg00")", Kind::Syntax, kNoHexDigit, 1, 11},
    {"FirstHalfAndCharacterAboveHalves", R"("\ud83d\ue000")", Kind::Encoding, kHalf, 1, 2},
    {"SecondHalfAlone", R"("\udc00")", Kind::Encoding, kHalf, 1, 2},
    {"SecondHalfTwice", R"("\udc00\udc00")", Kind::Encoding, kHalf, 1, 2},
    {"HalvesExchanged", R"("\ude00\ud83d")", Kind::Encoding, kHalf, 1, 2},
    {"LoneContinuation", "\"a\x80\"", Kind::Encoding, kNotUtf8, 1, 3},
    {"OverlongOfTwo", "\"\xc0\x80\"", Kind::Encoding, kNotUtf8, 1, 2},
    {"OverlongOfTwoLast", "\"\xc1\xbf\"", Kind::Encoding, kNotUtf8, 1, 2},
    {"OverlongOfThree", "\"\xe0\x9f\xbf\"", Kind::Encoding, kNotUtf8, 1, 2},
    {"OverlongOfFour", "\"\xf0\x8f\xbf\xbf\"", Kind::Encoding, kNotUtf8, 1, 2},
    {"SurrogateAsBytes", "\"\xed\xa0\x80\"", Kind::Encoding, kNotUtf8, 1, 2},
    {"LastSurrogateAsBytes", "\"\xed\xbf\xbf\"", Kind::Encoding, kNotUtf8, 1, 2},
    {"BeyondUnicode", "\"\xf4\x90\x80\x80\"", Kind::Encoding, kNotUtf8, 1, 2},
    {"FiveBytes", "\"\xf8\x88\x80\x80\x80\"", Kind::Encoding, kNotUtf8, 1, 2},
    {"TwoBytesCut", "\"\xc3\"", Kind::Encoding, kNotUtf8, 1, 2},
    {"ThreeBytesCut", "\"\xe2\x82\"", Kind::Encoding, kNotUtf8, 1, 2},
    {"FourBytesCutByTheEnd", "\"\xf0\x9f\x98", Kind::Encoding, kNotUtf8, 1, 2},
    {"Latin1",
     "\"Stra\xdf"
     "e\"",
     Kind::Encoding, kNotUtf8, 1, 6},
    {"ByteFF", "\"\xff\"", Kind::Encoding, kNotUtf8, 1, 2},
    {"BadKey", "{\"\xff\":1}", Kind::Encoding, kNotUtf8, 1, 3},
    // arrays
    {"ArrayWithoutEnd", "[", Kind::Syntax, kEndsTooEarly, 1, 2},
    {"ArrayEndsAfterValue", "[1", Kind::Syntax, kEndsTooEarly, 1, 3},
    {"ArrayEndsAfterComma", "[1,", Kind::Syntax, kEndsTooEarly, 1, 4},
    {"CommaBeforeTheEnd", "[1,]", Kind::Syntax, kNoValue, 1, 4},
    {"CommaAlone", "[,]", Kind::Syntax, kNoValue, 1, 2},
    {"TwoCommas", "[1,,2]", Kind::Syntax, kNoValue, 1, 4},
    {"NoComma", "[1 2]", Kind::Syntax, kNoComma, 1, 4},
    {"ColonInArray", "[1:2]", Kind::Syntax, kNoComma, 1, 3},
    {"WrongEndOfArray", "[1}", Kind::Syntax, kNoComma, 1, 3},
    {"ClosingBracketOnly", "]", Kind::Syntax, kNoValue, 1, 1},
    {"InnerArrayWithoutEnd", "[[1]", Kind::Syntax, kEndsTooEarly, 1, 5},
    // objects
    {"ObjectWithoutEnd", "{", Kind::Syntax, kEndsTooEarly, 1, 2},
    {"ObjectEndsAfterKey", "{\"a\"", Kind::Syntax, kEndsTooEarly, 1, 5},
    {"ObjectEndsAfterColon", "{\"a\":", Kind::Syntax, kEndsTooEarly, 1, 6},
    {"ObjectEndsAfterValue", "{\"a\":1", Kind::Syntax, kEndsTooEarly, 1, 7},
    {"ObjectEndsAfterComma", "{\"a\":1,", Kind::Syntax, kEndsTooEarly, 1, 8},
    {"NoColon", R"({"a" 1})", Kind::Syntax, kNoColon, 1, 6},
    {"CommaForColon", R"({"a",1})", Kind::Syntax, kNoColon, 1, 5},
    {"TwoColons", R"({"a"::1})", Kind::Syntax, kNoValue, 1, 6},
    {"NoValue", R"({"a":})", Kind::Syntax, kNoValue, 1, 6},
    {"NoKey", "{:1}", Kind::Syntax, kNoKey, 1, 2},
    {"NumberAsKey", "{1:1}", Kind::Syntax, kNoKey, 1, 2},
    {"WordAsKey", "{a:1}", Kind::Syntax, kNoKey, 1, 2},
    {"CommaBeforeTheEndOfObject", R"({"a":1,})", Kind::Syntax, kNoKey, 1, 8},
    {"NoCommaInObject", R"({"a":1 "b":2})", Kind::Syntax, kNoCommaInObject, 1, 8},
    {"WrongEndOfObject", R"({"a":1])", Kind::Syntax, kNoCommaInObject, 1, 7},
    {"DuplicateKey", R"({"a":1, "a":2})", Kind::DuplicateKey, "The key \"a\" is there twice", 1, 9},
    {"DuplicateByEscape", R"({"a":1,"\u0061":2})", Kind::DuplicateKey,
     "The key \"a\" is there twice", 1, 8},
    {"DuplicateOfOtherType", R"({"a":{},"b":1,"a":[]})", Kind::DuplicateKey,
     "The key \"a\" is there twice", 1, 15},
    {"DuplicateWithQuotes", R"({"a\n\"":1,"a\n\"":1})", Kind::DuplicateKey,
     R"(The key "a\n\"" is there twice)", 1, 12},
    {"DuplicateThatMisleads", "{\"\u2028\u202e\\u009b\":1,\"\u2028\u202e\\u009b\":1}",
     Kind::DuplicateKey, R"(The key "\u2028\u202E\u009B" is there twice)", 1, 15},
    // places
    {"ThirdLine", "[1,\n2,\n  x]", Kind::Syntax, kNoValue, 3, 3},
    {"LinesWithCarriageReturn", "[1,\r\n2,\r\nx]", Kind::Syntax, kNoValue, 3, 1},
    {"AfterALineFeed", "[\n", Kind::Syntax, kEndsTooEarly, 2, 1},
    {"CharactersBeyondAscii", "[\"\xc3\xa9\xe6\x9d\xb1\xf0\x9f\x98\x80\" x]", Kind::Syntax,
     kNoComma, 1, 8},
    {"AfterAByteOrderMark", "\xef\xbb\xbf[x]", Kind::Syntax, kNoValue, 1, 2},
};

class JsonRefused : public ::testing::TestWithParam<Refused> {};

TEST_P(JsonRefused, SaysWhatIsWrongAndWhere)
{
    const JsonReadResult result = readJson(GetParam().text);
    EXPECT_FALSE(result.isSuccess());
    EXPECT_EQ(result.error.kind, GetParam().kind);
    EXPECT_EQ(result.error.message, GetParam().message);
    EXPECT_EQ(result.error.place.line, GetParam().line);
    EXPECT_EQ(result.error.place.column, GetParam().column);
    EXPECT_TRUE(result.value.isNull());
    EXPECT_EQ(result.endOffset, 0U);
}

INSTANTIATE_TEST_SUITE_P(Rows, JsonRefused, ::testing::ValuesIn(kRefused), getRowName<Refused>);

TEST(JsonRead, GivesTheOffsetInBytes)
{
    EXPECT_EQ(readJson("\xef\xbb\xbf[\"\xc3\xa9\",\nx]").error.place.offset, 10U);
    EXPECT_EQ(readJson("[1").error.place.offset, 2U);
}

TEST(JsonRead, DescribesAnError)
{
    EXPECT_EQ(readJson("[1,\n x]").error.toString(), "line 2, column 2: A value is missing");
    EXPECT_EQ(JsonError().toString(), "");
    EXPECT_FALSE(JsonError());
}

TEST(JsonRead, CutsALongKeyInTheError)
{
    const std::string key(1000000, 'k');
    const JsonError error = readJson("{\"" + key + "\":1,\"" + key + "\":2}").error;
    EXPECT_EQ(error.message, "The key \"" + std::string(64, 'k') + "...\" is there twice");
}

TEST(JsonRead, ReadsNothingBehindTheText)
{
    const std::string_view whole =
        "[{\"a\\ud83d\\ude00b\" : -12.5e+3 , \"\xc3\xa9\xf0\x9f\x98\x80\":\"\\n\"}, null , true, "
        "17 ]";
    for (std::size_t size = 0; size != whole.size(); ++size) {
        const std::string begin(whole.substr(0, size));
        const JsonError error = readJson(whole.substr(0, size)).error;
        EXPECT_TRUE(error) << begin;
        EXPECT_EQ(error.toString(), readJson(begin).error.toString());
    }
    EXPECT_TRUE(readJson(whole).isSuccess());
}

TEST(JsonRead, TakesAllHexadecimalDigitsAndNothingElse)
{
    for (int c = 0; c != 256; ++c) {
        const std::string digit(1, static_cast<char>(c));
        const JsonReadResult result = readJson("\"\\u004" + digit + '"');
        ASSERT_EQ(result.isSuccess(), std::isxdigit(c) != 0) << c;
        if (!result.isSuccess()) continue;
        const auto expected = static_cast<char>('@' + std::stoi(digit, nullptr, 16));
        EXPECT_EQ(result.value, qzVariant(std::string(1, expected))) << c;
    }
}

// --- Against the plain form

// Compares all texts of up to four tokens with the plain parser.
void compareAll(const std::vector<std::string>& tokens, const std::string& head,
                const std::string& tail)
{
    std::vector<std::string> texts = {""};
    std::size_t begin = 0;
    std::size_t acceptedCount = 0;
    for (int length = 0; length <= 4; ++length) {
        const std::size_t end = texts.size();
        for (std::size_t i = begin; i != end; ++i) {
            const std::string text = head + texts[i] + tail;
            const auto expected = plain::JsonParser(text).parse();
            const JsonReadResult result = readJson(text);
            ASSERT_EQ(result.isSuccess(), expected.has_value()) << text;
            ASSERT_EQ(result.value, expected.value_or(qzVariant())) << text;
            acceptedCount += expected.has_value() ? 1 : 0;
            if (length == 4) continue;
            for (const std::string& token : tokens)
                texts.push_back(texts[i] + token);
        }
        begin = end;
    }
    EXPECT_GT(acceptedCount, 10U);
}

TEST(JsonRead, IsThePlainParserForAllShortTexts)
{
    compareAll({"[", "]", "{", "}", ",", ":", "\"a\"", "\"b\":", "1", "-", "0", ".", "e", " ",
                "null", "[]"},
               "", "");
}

TEST(JsonRead, IsThePlainParserForAllShortStrings)
{
    compareAll({"\\ud83d", "\\ude00", "\\u00e9", "\\", "\"", "u0", "n", "\xc3", "\xa9", "\xed",
                "\x9f\xbf", "\xf0\x9f", "\x98\x80", "\n"},
               "[\"", "\"]");
}

TEST(JsonRead, IsThePlainParserForAllShortObjects)
{
    compareAll({"\"a\"", "\"b\"", ":", ",", "{", "}", "1", "[", "]"}, "{\"a\":", "}");
}

// --- Numbers

TEST(JsonNumbers, KeepTheSignOfZero)
{
    for (const char* text : {"-0", "-0.0", "-0e1", "-1e-400"}) {
        const qzVariant zero = read(text);
        EXPECT_EQ(zero, qzVariant(0.0)) << text;
        EXPECT_TRUE(std::signbit(zero.toReal())) << text;
    }
    EXPECT_FALSE(std::signbit(read("1e-400").toReal()));
    EXPECT_EQ(write(-0.0), "-0.0");
    EXPECT_EQ(write(0.0), "0.0");
    EXPECT_EQ(write(0), "0");
}

TEST(JsonNumbers, AreWrittenInTheShortestForm)
{
    EXPECT_EQ(write(0.1), "0.1");
    EXPECT_EQ(write(1.0), "1.0");
    EXPECT_EQ(write(-2.5), "-2.5");
    EXPECT_EQ(write(1e22), "1e+22");
    EXPECT_EQ(write(123456789012345680.0), "123456789012345680.0");
    EXPECT_EQ(write(5e-324), "5e-324");
    EXPECT_EQ(write(1.7976931348623157e308), "1.7976931348623157e+308");
    EXPECT_EQ(write(std::numeric_limits<long>::min()), "-9223372036854775808");
    EXPECT_EQ(write(9007199254740993), "9007199254740993");
}

// The plain form of a real.
std::string formatPlainly(double real)
{
    char text[32];
    std::string plain(text, std::to_chars(text, std::end(text), real).ptr);
    return plain.find_first_of(".e") == std::string::npos ? plain + ".0" : plain;
}

double fromBits(std::uint64_t bits)
{
    double real = 0;
    std::memcpy(&real, &bits, sizeof real);
    return real;
}

void expectShortest(double real)
{
    if (!std::isfinite(real)) return;
    ASSERT_EQ(write(real), formatPlainly(real)) << std::hexfloat << real;
}

TEST(JsonNumbers, AreThePlainForm)
{
    constexpr std::uint64_t infinity = 2047;
    constexpr unsigned seed = 20262;
    std::mt19937_64 random(seed);
    for (std::uint64_t exponent = 0; exponent != infinity; ++exponent) {
        const std::uint64_t power = exponent << 52U;
        for (const std::uint64_t fraction : {0UL, 1UL, 2UL, (1UL << 52U) - 1})
            expectShortest(fromBits(power | fraction));
        for (int i = 0; i != 20; ++i)
            expectShortest(fromBits(power | random() >> (12 + random() % 52)));
    }
    for (int i = 0; i != 20000; ++i) {
        expectShortest(static_cast<double>(random() >> (random() % 64)));
        expectShortest(static_cast<double>(random() % 1000000) / std::pow(10, random() % 9));
        expectShortest(static_cast<double>(random() % 100000) * std::pow(10, random() % 22));
    }
    for (int exponent = -323; exponent <= 308; ++exponent) {
        const double power = std::strtod(("1e" + std::to_string(exponent)).c_str(), nullptr);
        expectShortest(power);
        expectShortest(std::nextafter(power, 0));
        expectShortest(std::nextafter(power, 1e308));
        expectShortest(-power);
    }
}

// Whole numbers whose middle to a neighbour has few digits: the middle reads as one of the two.
TEST(JsonNumbers, AreThePlainFormBesideAShortMiddle)
{
    std::mt19937_64 random(20263);
    for (int exponent = 21; exponent != 61; ++exponent) {
        const auto zeros = static_cast<int>(exponent * std::log10(2)) + 1;
        const auto step = static_cast<std::uint64_t>(std::pow(5, zeros));
        const std::uint64_t least = (std::uint64_t{1} << 53U) / step + 1;
        for (int i = 0; i != 50; ++i) {
            const std::uint64_t twice = ((least + random() % (least - 1)) | 1U) * step;  // odd
            const auto below = static_cast<double>(twice / 2);
            expectShortest(std::ldexp(below, exponent));
            expectShortest(std::ldexp(below + 1, exponent));
        }
    }
}

// The middles to their neighbours are as near as can be to decimal numbers with few digits, but not
// equal to them.
TEST(JsonNumbers, AreThePlainFormBesideAnAlmostShortMiddle)
{
    for (const double mantissa : {5224462102115359.0, 5224462102115360.0}) {
        for (const int exponent : {-248, -245, -242}) {
            const double real = std::ldexp(mantissa, exponent);
            expectShortest(real);
            EXPECT_EQ(read(write(real)), qzVariant(real));
        }
    }
}

TEST(JsonNumbers, OfAllKindsOfBitsReadBackTheSame)
{
    std::mt19937_64 random(20261);
    for (int i = 0; i != 20000; ++i) {
        const std::uint64_t bits = random() >> (random() % 64);
        const double real = fromBits(bits);
        const qzVariant integer(static_cast<long>(bits));
        ASSERT_EQ(read(write(integer)), integer);
        if (!std::isfinite(real)) continue;
        ASSERT_EQ(read(write(real)), qzVariant(real)) << bits;
    }
}

TEST(JsonNumbers, OfManyDigitsAreExactOrRefused)
{
    const std::string zeros(400, '0');
    EXPECT_EQ(readJson('1' + zeros).error.message, kTooLarge);
    EXPECT_EQ(readJson('1' + zeros.substr(0, 308)).error.message, kInexact);
    EXPECT_EQ(read("0." + zeros + '1'), qzVariant(0.0));
    EXPECT_EQ(read('1' + zeros + "e-400"), qzVariant(1.0));
    EXPECT_EQ(read("0." + zeros + "1e401"), qzVariant(1.0));
    EXPECT_EQ(read("1." + zeros), qzVariant(1.0));
    EXPECT_EQ(readJson('1' + zeros + "e-1").error.message, kTooLarge);
    EXPECT_EQ(read("0." + zeros + "1e1"), qzVariant(0.0));
    EXPECT_EQ(readJson("0." + zeros + "1e1000").error.message, kTooLarge);
    EXPECT_EQ(read('1' + zeros + "e-1000"), qzVariant(0.0));
    char largest[400];
    std::snprintf(largest, sizeof largest, "%.0f", std::numeric_limits<double>::max());
    EXPECT_EQ(read(largest), qzVariant(std::numeric_limits<double>::max()));
    EXPECT_EQ(read('-' + std::string(largest)), qzVariant(std::numeric_limits<double>::lowest()));
}

TEST(JsonNumbers, AreRoundedIfAllowed)
{
    JsonReadOptions options;
    options.largeIntegers = JsonReadOptions::LargeIntegers::Nearest;
    EXPECT_EQ(read("18446744073709551615", options), qzVariant(18446744073709551616.0));
    EXPECT_EQ(read("-9223372036854775809", options), qzVariant(-9223372036854775808.0));
    EXPECT_EQ(read("9223372036854775807", options), qzVariant(9223372036854775807));
    EXPECT_EQ(readJson(std::string(400, '9'), options).error.message, kTooLarge);
}

TEST(JsonNumbers, IgnoreTheLocale)
{
    const support::LocaleGuard locale("de_DE.UTF-8");
    char text[8];
    std::snprintf(text, sizeof text, "%.1f", 1.5);
    ASSERT_STREQ(text, "1,5") << "the locale has no effect";
    EXPECT_EQ(write(List{1.5, 1234567}), "[1.5,1234567]");
    EXPECT_EQ(read("[1.5,1e-400,9223372036854775808]"), (List{1.5, 0.0, 9223372036854775808.0}));
    EXPECT_EQ(readJson("1,5").error.message, kAfter);
}

// Programs choose these for their own arithmetic; some compilers' options for speed do as well.
TEST(JsonNumbers, IgnoreTheModeOfTheProcessor)
{
    const char* const text = "[0.3,8.5e15,-86.502,4.9e-320,-1e-400,9223372036854777856]";
    const qzVariant value(List{0.3, 8.5e15, -86.502, 4.9e-320, -0.0, 9223372036854777856.0});
    constexpr unsigned int modes[] = {_MM_ROUND_UP, _MM_ROUND_DOWN, _MM_ROUND_TOWARD_ZERO,
                                      _MM_DENORMALS_ZERO_ON | _MM_FLUSH_ZERO_ON};
    const unsigned int usual = _mm_getcsr();
    for (const unsigned int mode : modes) {
        _mm_setcsr(usual | mode);
        const JsonReadResult result = readJson(text);
        std::string written;
        const JsonError error = writeJson(value, written);
        const unsigned int after = _mm_getcsr();
        _mm_setcsr(usual);
        EXPECT_EQ(write(result.value), write(value)) << mode;
        EXPECT_EQ(error.toString(), "");
        EXPECT_EQ(written, write(value)) << mode;
        EXPECT_EQ(after & mode, mode);
    }
}

// --- Options of reading

TEST(JsonRead, KeepsTheLastOfEqualKeysIfAllowed)
{
    JsonReadOptions options;
    options.duplicateKeys = JsonReadOptions::DuplicateKeys::LastWins;
    const JsonReadResult result =
        readJson("{\"a\":{\"x\":1},\"b\":[1,{\"c\":1,\n\"c\":2}],\"a\":[3],\"a\":4}", options);
    EXPECT_EQ(result.value, (Map{{"a", 4}, {"b", List{1, Map{{"c", 2}}}}}));
    ASSERT_EQ(result.duplicateKeys.size(), 3U);
    EXPECT_EQ(result.duplicateKeys[0].key, "c");
    EXPECT_EQ(result.duplicateKeys[0].place.line, 2U);
    EXPECT_EQ(result.duplicateKeys[0].place.column, 1U);
    EXPECT_EQ(result.duplicateKeys[1].key, "a");
    EXPECT_EQ(result.duplicateKeys[1].place.column, 9U);
    EXPECT_EQ(result.duplicateKeys[2].place.offset, 44U);
}

TEST(JsonRead, StopsAtTheEndOfTheValueIfAllowed)
{
    JsonReadOptions options;
    options.allowsTrailingText = true;
    const JsonReadResult result = readJson(" {\"a\":1} \n[2", options);
    EXPECT_EQ(result.value, (Map{{"a", 1}}));
    EXPECT_EQ(result.endOffset, 8U);
    EXPECT_EQ(readJson("", options).error.message, kEndsTooEarly);
    EXPECT_EQ(readJson("01", options).error.message, kUselessZero);
}

}  // namespace

}  // namespace qz::ext
