// SPDX-License-Identifier: MIT
// JSON with its limits, with devices that fail, and with memory that runs out.

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ext/JsonFixture.h"
#include "support/Allocations.h"
#include "support/DeviceStub.h"

namespace qz::ext {

using namespace std::string_literals;
using namespace std::string_view_literals;
using ::testing::HasSubstr;

namespace {

struct Brackets {
    const char* name;
    const char* open;
    const char* close;
};

constexpr Brackets kBrackets[] = {
    {"Arrays", "[", "]"}, {"Objects", "{\"a\":", "}"}, {"Both", "[{\"a\":", "}]"}};

class JsonDepth : public ::testing::TestWithParam<Brackets> {
protected:
    // `count` pairs of brackets around a number.
    static std::string makeText(std::size_t count)
    {
        return repeat(GetParam().open, count) + '1' + repeat(GetParam().close, count);
    }
    static std::size_t getLevels() { return GetParam().close == "}]"sv ? 2 : 1; }
};

TEST_P(JsonDepth, IsReadAndWrittenUpToTheLimit)
{
    const std::string deepest = makeText(100 / getLevels());
    EXPECT_EQ(write(read(deepest)), deepest);
}

TEST_P(JsonDepth, IsRefusedAboveTheLimit)
{
    const std::string text = makeText(100 / getLevels() + 1);
    const JsonError error = readJson(text).error;
    EXPECT_EQ(error.kind, Kind::Limit);
    EXPECT_EQ(error.message, "There are more than 100 levels");
    EXPECT_EQ(error.place.offset, std::string_view(GetParam().open).size() * (100 / getLevels()));

    JsonReadOptions options;
    options.maxDepth = 102;
    std::string written = "old";
    const JsonError writeError = writeJson(read(text, options), written);
    EXPECT_EQ(writeError.kind, Kind::Limit);
    EXPECT_THAT(writeError.toString(), HasSubstr(": There are more than 100 levels"));
    EXPECT_EQ(written, "old");
}

TEST_P(JsonDepth, NeedsNoStack)
{
    JsonReadOptions options;
    options.maxDepth = SIZE_MAX;
    JsonWriteOptions writeOptions;
    writeOptions.maxDepth = SIZE_MAX;
    const std::string text = makeText(300000);
    EXPECT_TRUE(write(read(text, options), writeOptions) == text);
    EXPECT_EQ(readJson(text.substr(0, text.size() / 2), options).error.message, kEndsTooEarly);
}

INSTANTIATE_TEST_SUITE_P(Rows, JsonDepth, ::testing::ValuesIn(kBrackets), getRowName<Brackets>);

TEST(JsonLimits, OfDepthZeroAllowsScalarsOnly)
{
    JsonReadOptions options;
    options.maxDepth = 0;
    EXPECT_EQ(read("1", options), qzVariant(1));
    EXPECT_EQ(readJson("[]", options).error.message, "There are more than 0 levels");
    JsonWriteOptions writeOptions;
    writeOptions.maxDepth = 0;
    std::string text;
    EXPECT_EQ(writeJson(List(), text, writeOptions).kind, Kind::Limit);
    writeOptions.otherTypes = JsonWriteOptions::OtherTypes::Plain;
    EXPECT_EQ(writeJson(qzVariant(qzVariant::VEC3D, kThree), text, writeOptions).kind, Kind::Limit);
}

TEST(JsonLimits, OfTheText)
{
    JsonReadOptions options;
    options.maxTextBytes = 3;
    EXPECT_EQ(read("[1]", options), qzVariant(List{1}));
    const JsonError error = readJson("[1] ", options).error;
    EXPECT_EQ(error.kind, Kind::Limit);
    EXPECT_EQ(error.toString(), "The text has more than 3 bytes");
}

TEST(JsonLimits, OfAString)
{
    JsonReadOptions options;
    options.maxStringBytes = 3;
    EXPECT_EQ(read(R"({"abc":"\u0041\u0042\u0043"})", options), (Map{{"abc", "ABC"}}));
    EXPECT_EQ(readJson("[\"abcd\"]", options).error.toString(),
              "line 1, column 2: The string has more than 3 bytes");
    EXPECT_EQ(readJson(R"({"\u20ac\u0041":1})", options).error.kind, Kind::Limit);
}

TEST(JsonLimits, OfTheNumberOfValues)
{
    JsonReadOptions options;
    options.maxValues = 4;
    EXPECT_EQ(read("[1,{\"a\":2}]", options), (List{1, Map{{"a", 2}}}));
    const JsonError error = readJson("[1,{\"a\":[]},5]", options).error;
    EXPECT_EQ(error.kind, Kind::Limit);
    EXPECT_EQ(error.toString(), "line 1, column 13: There are more than 4 values");
}

// What a tree takes is known from the text, whatever is in it.
TEST(JsonLimits, MemoryIsInProportionToTheText)
{
    for (const char* element : {"[]", "{}", "[0]", "{\"\":0}", "\"\"", "0", "[[]]"}) {
        const std::size_t count = 20000;
        const std::string text =
            '[' + repeat(std::string(element) + ',', count - 1) + element + ']';
        const support::AllocationCounter counter;
        const JsonReadResult result = readJson(text);
        ASSERT_TRUE(result.isSuccess());
        EXPECT_LT(counter.getBytes() / count, 600U) << element;
    }
}

TEST(JsonLimits, AFewBytesNeverTakeMuchMemory)
{
    const support::AllocationCounter counter;
    for (const char* text : {"[", "{\"a\":", "1e999999999", "\"\\u", "[[[[[[[[[["})
        EXPECT_FALSE(readJson(text).isSuccess());
    EXPECT_LT(counter.getBytes(), 10000U);
}

// --- Devices

TEST(JsonDevice, IsReadInPiecesOfAnySize)
{
    const std::string text = write(List{std::string(70000, 'x'), 1.5, Map{{"a", "b"}}});
    for (const unsigned long size : {1UL, 7UL, 4096UL, 1UL << 20U}) {
        support::DeviceStub device(text);
        device.shortenTo(size);
        const JsonReadResult result = readJson(device);
        EXPECT_EQ(result.error.toString(), "");
        EXPECT_TRUE(result.value == read(text));
        EXPECT_EQ(result.endOffset, text.size());
    }
}

TEST(JsonDevice, ThatFailsInBetweenGivesNoValue)
{
    const std::string text = "[12345]";
    for (std::size_t size = 0; size != text.size(); ++size) {
        support::DeviceStub device(text);
        device.stopAfter(size);
        device.setErrorOfShortMoves("broken");
        const JsonReadResult result = readJson(device);
        EXPECT_EQ(result.error.kind, Kind::Device) << size;
        EXPECT_EQ(result.error.toString(), "broken") << size;
        EXPECT_TRUE(result.value.isNull()) << size;
    }
}

TEST(JsonDevice, ThatReturnsNothingBeforeItsEndGivesNoValue)
{
    support::DeviceStub device("123");
    device.stopAfter(2);
    const JsonReadResult result = readJson(device);
    EXPECT_EQ(result.error.toString(), "The device returned no bytes before its end");
    EXPECT_TRUE(result.value.isNull());
}

class Boaster : public support::DeviceStub {
public:
    explicit Boaster(unsigned long excess) : mExcess(excess) {}
    unsigned long readBytes(char* /*dst*/, unsigned long size) override { return size + mExcess; }
    unsigned long writeBytes(const char* /*src*/, unsigned long size) override
    {
        return size + mExcess;
    }

private:
    unsigned long mExcess;
};

TEST(JsonDevice, ThatClaimsMoreThanRequestedIsAnError)
{
    for (const unsigned long excess : {1UL, SIZE_MAX / 2}) {
        Boaster device(excess);
        const JsonReadResult result = readJson(device);
        EXPECT_EQ(result.error.kind, Kind::Device);
        EXPECT_EQ(result.error.toString(), "The device claims more bytes than requested");
        EXPECT_EQ(writeJson(1, device).kind, Kind::Device);
    }
}

TEST(JsonDevice, BeyondTheLimitIsNotReadToItsEnd)
{
    support::DeviceStub device('[' + repeat("1,", 500000) + "1]");
    JsonReadOptions options;
    options.maxTextBytes = 100000;
    EXPECT_EQ(readJson(device, options).error.toString(), "The text has more than 100000 bytes");
    EXPECT_LE(device.getCurrentPos(), 100000 + 65536);

    support::DeviceStub slow("[1] ");
    slow.shortenTo(1);
    options.maxTextBytes = 3;
    EXPECT_EQ(readJson(slow, options).error.kind, Kind::Limit);
}

TEST(JsonDevice, ReceivesTheWholeText)
{
    const qzVariant value(List{std::string(40000, 'x'), Map{{"a", List{1, 2.5}}}, "y\n"});
    support::DeviceStub device;
    EXPECT_EQ(writeJson(value, device).toString(), "");
    EXPECT_TRUE(device.getContent() == write(value));
}

TEST(JsonDevice, ThatRefusesBytesIsAnError)
{
    const qzVariant value(List{std::string(40000, 'x'), std::string(20000, 'y'), 1});
    const std::size_t size = write(value).size();
    for (const std::size_t moved : {std::size_t{0}, std::size_t{1}, std::size_t{30000}, size - 1}) {
        for (const char* message : {"", "disk full"}) {
            support::DeviceStub device;
            device.stopAfter(moved);
            device.setErrorOfShortMoves(message);
            const JsonError error = writeJson(value, device);
            EXPECT_EQ(error.kind, Kind::Device);
            EXPECT_EQ(error.toString(), *message != '\0'
                                            ? message
                                            : "The device accepted fewer bytes than it was given");
            EXPECT_EQ(device.getContent().size(), moved);
        }
    }
}

TEST(JsonDevice, ThatFailsOnceReceivesNothingMore)
{
    class Failing : public support::DeviceStub {
    public:
        unsigned long writeBytes(const char* src, unsigned long size) override
        {
            return mCalls++ == 0 ? 0 : support::DeviceStub::writeBytes(src, size);
        }

    private:
        int mCalls = 0;
    };
    Failing device;
    EXPECT_EQ(writeJson(std::string(50000, 'x'), device).kind, Kind::Device);
    EXPECT_EQ(device.getContent(), "");
}

TEST(JsonDevice, ThatFailsBeforeAValueThatCannotBeWrittenIsTheError)
{
    List numbers;
    for (long i = 0; i != 10000; ++i)
        numbers.push_back(i);
    numbers.push_back(std::nan(""));
    for (const qzVariant& value :
         {qzVariant(numbers), qzVariant(std::string(50000, 'x') + "\n\xff"),
          qzVariant(Map{{"a", numbers}})}) {
        support::DeviceStub device;
        device.stopAfter(100);
        device.setErrorOfShortMoves("disk full");
        EXPECT_EQ(writeJson(value, device).toString(), "disk full");
    }
}

TEST(JsonDevice, ReceivesNothingOfASmallTreeThatCannotBeWritten)
{
    support::DeviceStub device;
    EXPECT_EQ(writeJson(List{1, std::nan("")}, device).kind, Kind::Value);
    EXPECT_EQ(device.getContent(), "");
}

// --- Memory runs out

TEST(JsonAllocation, EachOneMayFail)
{
    const std::string longText(100, 'x');
    const std::string text =
        R"({"a":[1,[2,"\n)" + longText + R"("],{"b )" + longText + R"(":{}}],"c":"d","a":0})";
    JsonReadOptions options;
    options.duplicateKeys = JsonReadOptions::DuplicateKeys::LastWins;
    const std::size_t failures = support::failEachAllocation(
        [&] { readJson(text, options); },
        [](const support::AllocationFailure& failure) { EXPECT_TRUE(failure.threwBadAlloc); });
    EXPECT_GT(failures, 8U);
}

TEST(JsonAllocation, FailureKeepsTheOldText)
{
    const qzVariant value(
        List{std::string(100, 'x'), Map{{"a", List{1}}}, std::string(20000, 'y')});
    std::string text = "old";
    const std::size_t failures = support::failEachAllocation(
        [&] {
            if (writeJson(value, text)) std::abort();
        },
        [&](const support::AllocationFailure& failure) {
            EXPECT_TRUE(failure.threwBadAlloc);
            EXPECT_EQ(text, "old");
        });
    EXPECT_GT(failures, 1U);
    EXPECT_EQ(text, write(value));
}

TEST(JsonAllocation, OfAnErrorMayFailToo)
{
    const std::size_t failures = support::failEachAllocation([] {
        std::string text;
        const JsonReadResult result = readJson(R"({"a":1,"a":2})");
        const JsonError error = writeJson(List{Map{{"a b", std::nan("")}}}, text);
        if (result.isSuccess() || !error) std::abort();
    });
    EXPECT_GT(failures, 4U);
}

}  // namespace

}  // namespace qz::ext
