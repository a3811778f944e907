// SPDX-License-Identifier: MIT
// Writing JSON: texts, refused values, and random trees that are read back.

#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "ext/JsonFixture.h"
#include "ext/PlainJson.h"
#include "support/DeviceStub.h"

namespace qz::ext {

using namespace std::string_literals;
using namespace std::string_view_literals;

namespace {

TEST(JsonWrite, HasNoSpaceUnlessToldOtherwise)
{
    const qzVariant value(Map{{"b", List{1, List(), Map()}}, {"a", Map{{"c", qzVariant()}}}});
    EXPECT_EQ(write(value), R"({"a":{"c":null},"b":[1,[],{}]})");
}

TEST(JsonWrite, IndentsIfToldSo)
{
    JsonWriteOptions options;
    options.indentation = 2;
    const qzVariant value(Map{{"a", List{1, List(), Map()}}, {"b", Map{{"c", true}}}});
    EXPECT_EQ(write(value, options),
              "{\n  \"a\": [\n    1,\n    [],\n    {}\n  ],\n  \"b\": {\n    \"c\": true\n  }\n}");
    EXPECT_EQ(read(write(value, options)), value);
    EXPECT_EQ(write(1, options), "1");
}

TEST(JsonWrite, EscapesWhatMustBeEscaped)
{
    EXPECT_EQ(write("\"\\/\b\f\n\r\t"), R"("\"\\/\b\f\n\r\t")");
    EXPECT_EQ(write("\0\x1f\x7f"sv), "\"\\u0000\\u001f\x7f\"");
    EXPECT_EQ(write(Map{{"a\n", "\xc3\xa9"}}), "{\"a\\n\":\"\xc3\xa9\"}");
}

TEST(JsonWrite, EscapesAllButAsciiIfToldSo)
{
    JsonWriteOptions options;
    options.asciiOnly = true;
    EXPECT_EQ(write("a\xc3\xa9z\xe2\x82\xac", options), R"("a\u00e9z\u20ac")");
    EXPECT_EQ(write("\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf\x7f", options),
              "\"\\ud83d\\ude00\\udbff\\udfff\x7f\"");
    EXPECT_EQ(write(Map{{"\xee\x80\x80", "\n"}}, options), R"({"\ue000":"\n"})");
    EXPECT_EQ(write("\xef\xbf\xbf\xf0\x90\x80\x80", options), R"("\uffff\ud800\udc00")");
}

// Several bytes are examined at a time.
TEST(JsonWrite, EscapesAByteWhereverItStands)
{
    for (char c = 0; c >= 0 && c != '\x7f'; ++c) {
        const bool isPlain = c >= ' ' && c != '"' && c != '\\';
        const std::string alone = write(std::string(1, c));
        EXPECT_EQ(alone.size() == 3, isPlain);
        for (const std::size_t size : {1U, 3U, 4U, 5U, 7U, 8U, 9U, 15U, 16U, 17U, 33U}) {
            for (std::size_t at = 0; at != size; ++at) {
                const std::string before(at, 'x');
                const std::string after(size - at - 1, 'y');
                const std::string text = write(before + c + after);
                ASSERT_EQ(text, '"' + before + alone.substr(1, alone.size() - 2) + after + '"');
                ASSERT_EQ(readJson('"' + before + c + after + '"').isSuccess(), isPlain);
            }
        }
    }
}

TEST(JsonWrite, PassesTextsOfAnyLength)
{
    for (const std::size_t size : {16380U, 16383U, 16384U, 16385U, 50000U}) {
        const std::string text(size, 'x');
        EXPECT_TRUE(write(List{text, 1, text + '\n'}) ==
                    "[\"" + text + "\",1,\"" + text + "\\n\"]");
    }
    for (std::size_t size = 16100; size != 16384; ++size) {
        const std::string text(size, 'x');
        const std::string key(256, 'k');
        EXPECT_TRUE(write(List{text, Map{{"a", 1}, {key, key}}}) ==
                    "[\"" + text + "\",{\"a\":1,\"" + key + "\":\"" + key + "\"}]");
    }
    List numbers;
    std::string expected;
    for (long i = 0; i != 10000; ++i) {
        numbers.push_back(i);
        expected += (i == 0 ? '[' : ',') + std::to_string(i);
    }
    EXPECT_TRUE(write(numbers) == expected + ']');
}

class UserObject : public qzVariant::UserDataInterface {
public:
    UserDataInterface* clone() const override { return new UserObject(*this); }
    bool isEqual(const UserDataInterface* /*other*/) const override { return true; }
};

struct Unwritable {
    const char* name;
    qzVariant value;
    Kind kind;
    const char* error;
};

const double kBroken[] = {1.0, std::numeric_limits<double>::quiet_NaN()};

const Unwritable kUnwritable[] = {
    {"Nan", List{1, std::nan("")}, Kind::Value, "[1]: A NaN has no form in JSON"},
    {"Infinity", Map{{"a", HUGE_VAL}}, Kind::Value, "a: An infinity has no form in JSON"},
    {"NegativeInfinity", -HUGE_VAL, Kind::Value, "An infinity has no form in JSON"},
    {"Date", Map{{"a", Map{{"b", List{1, 2, 3, qzVariant::DateTime(4)}}}}}, Kind::Value,
     "a.b[3]: A date has no form in JSON"},
    {"Vector", List{List{qzVariant(qzVariant::VEC3D, kThree)}}, Kind::Value,
     "[0][0]: A vector or matrix has no form in JSON"},
    {"Object", qzVariant(new UserObject), Kind::Value, "An object has no form in JSON"},
    {"NullObject", qzVariant(static_cast<UserObject*>(nullptr)), Kind::Value,
     "An object has no form in JSON"},
    {"BadString", Map{{"a-b_1", Map{{"", "\xff"}}}}, Kind::Encoding,
     "a-b_1[\"\"]: The string isn't UTF-8"},
    {"BadKey", Map{{"a b", Map{{"\xff\"\\\n\xc3\xa9", 1}}}}, Kind::Encoding,
     "[\"a b\"][\"\\xFF\\\"\\\\\\n\xc3\xa9\"]: The key isn't UTF-8"},
    {"CutString", "abc\xe2\x82", Kind::Encoding, "The string isn't UTF-8"},
    {"Surrogate", "\xed\xa0\x80", Kind::Encoding, "The string isn't UTF-8"},
    {"Overlong", "\xc0\xaf", Kind::Encoding, "The string isn't UTF-8"},
    {"KeyWithDigitFirst", Map{{"1a", HUGE_VAL}}, Kind::Value,
     "[\"1a\"]: An infinity has no form in JSON"},
};

class JsonUnwritable : public ::testing::TestWithParam<Unwritable> {};

TEST_P(JsonUnwritable, IsRefusedWithItsPath)
{
    std::string text = "old";
    const JsonError error = writeJson(GetParam().value, text);
    EXPECT_EQ(error.kind, GetParam().kind);
    EXPECT_EQ(error.toString(), GetParam().error);
    EXPECT_EQ(error.place.line, 0U);
    EXPECT_EQ(text, "old");

    support::DeviceStub device;
    EXPECT_EQ(writeJson(GetParam().value, device).toString(), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(Rows, JsonUnwritable, ::testing::ValuesIn(kUnwritable),
                         getRowName<Unwritable>);

TEST(JsonWrite, RefusesADestroyedValue)
{
    qzVariant value(1);
    value.destroy();
    std::string text;
    EXPECT_EQ(writeJson(value, text).toString(), "A destroyed value has no form in JSON");
}

TEST(JsonWrite, CutsALongKeyInThePath)
{
    std::string text;
    const JsonError error = writeJson(Map{{std::string(100000, 'k'), HUGE_VAL}}, text);
    EXPECT_EQ(error.path, "[\"" + std::string(64, 'k') + "...\"]");
    EXPECT_EQ(writeJson(Map{{std::string(65, 'k'), HUGE_VAL}}, text).path, error.path);
    EXPECT_EQ(writeJson(Map{{std::string(64, 'k'), HUGE_VAL}}, text).path, std::string(64, 'k'));
}

TEST(JsonWrite, QuotesAKeyInThePathUnlessItIsAWord)
{
    for (int c = 0; c != 128; ++c) {
        const std::string key = {'a', static_cast<char>(c)};
        std::string text;
        const std::string path = writeJson(Map{{key, HUGE_VAL}}, text).path;
        EXPECT_EQ(path == key, std::isalnum(c) != 0 || c == '-' || c == '_') << c;
    }
}

TEST(JsonWrite, MakesOtherTypesPlainIfToldSo)
{
    JsonWriteOptions options;
    options.otherTypes = JsonWriteOptions::OtherTypes::Plain;
    EXPECT_EQ(write(qzVariant(qzVariant::VEC3D, kThree), options), "[1.0,2.0,3.0]");
    EXPECT_EQ(write(List{qzVariant::DateTime(-7), 1}, options), "[-7,1]");
    std::string text;
    EXPECT_EQ(writeJson(qzVariant(new UserObject), text, options).kind, Kind::Value);
    EXPECT_EQ(writeJson(Map{{"v", qzVariant(qzVariant::VEC2D, kBroken)}}, text, options).toString(),
              "v: A NaN has no form in JSON");
}

// --- Random trees

class RandomTrees {
public:
    explicit RandomTrees(unsigned int seed) : mRandom(seed) {}

    qzVariant make(int depth)
    {
        switch (mRandom() % (depth == 0 ? 5 : 8)) {
            case 0:
                return static_cast<long>(mRandom() >> (mRandom() % 64));
            case 1:
                return makeReal();
            case 2:
                return makeText();
            case 3:
                return mRandom() % 2 == 0;
            case 4:
                return {};
            case 5:
                return makeList(depth - 1);
            default:
                return makeMap(depth - 1);
        }
    }

private:
    double makeReal()
    {
        const std::uint64_t bits = mRandom();
        double real = 0;
        std::memcpy(&real, &bits, sizeof real);
        return std::isfinite(real) ? real : 0.5;
    }
    std::string makeText()
    {
        static const char* const parts[] = {"a",
                                            "\"",
                                            "\\",
                                            "\n",
                                            "\x7f",
                                            "/",
                                            "\xc3\xa9",
                                            "\xe6\x9d\xb1",
                                            "xyz",
                                            " ",
                                            "\xf0\x9f\x98\x80",
                                            "0123456789abcdef"};
        std::string text;
        for (std::size_t size = mRandom() % 6; size != 0; --size)
            text += parts[mRandom() % std::size(parts)];
        if (mRandom() % 8 == 0) text += '\0';
        return text;
    }
    qzVariant makeList(int depth)
    {
        List list;
        for (std::size_t size = mRandom() % 6; size != 0; --size)
            list.push_back(make(depth));
        return list;
    }
    qzVariant makeMap(int depth)
    {
        Map map;
        for (std::size_t size = mRandom() % 6; size != 0; --size)
            map[makeText()] = make(depth);
        return map;
    }

    std::mt19937_64 mRandom;
};

TEST(JsonRoundTrip, OfRandomTreesGivesTheSameTree)
{
    for (unsigned int seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const qzVariant tree = RandomTrees(seed).make(6);
        JsonWriteOptions options;
        ASSERT_EQ(read(write(tree)), tree);
        ASSERT_EQ(plain::JsonParser(write(tree)).parse(), tree);
        options.indentation = seed % 3 + 1;
        options.asciiOnly = true;
        const std::string text = write(tree, options);
        ASSERT_EQ(read(text), tree);
        ASSERT_EQ(text.find_first_of("\x80\xc3\xe6\xf0"), std::string::npos);
    }
}

}  // namespace

}  // namespace qz::ext
