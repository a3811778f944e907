// SPDX-License-Identifier: MIT
#include <qz/ext/CheckedStream.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Allocations.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"

namespace qz::ext {

using support::DeviceStub;
using ::testing::ElementsAre;

namespace {

constexpr auto kLittle = qzDataStream::LittleEndian;
constexpr auto kBig = qzDataStream::BigEndian;
constexpr unsigned long kLargestStep = 64UL << 10U;

template <typename T>
concept Readable = requires(CheckedStream& stream, T& value)
{
    stream >> value;
};
static_assert(Readable<std::uint8_t> && Readable<std::string> && Readable<std::vector<char>>);
static_assert(!Readable<std::int8_t> && !Readable<wchar_t> && !Readable<char16_t>);
static_assert(!Readable<long long> && !Readable<const int>);

// --- Values of every type

using Values = std::tuple<bool, char, unsigned char, short, unsigned short, int, unsigned int, long,
                          unsigned long, float, double, std::string, std::vector<char>>;
const std::vector<std::string> kNames = {"bool",           "char",  "unsigned char", "short",
                                         "unsigned short", "int",   "unsigned int",  "long",
                                         "unsigned long",  "float", "double",        "text",
                                         "byte vector"};

class Generator {
public:
    explicit Generator(unsigned int seed) : mRandom(seed) {}

    void make(bool& value) { value = mRandom() % 2 == 0; }
    template <typename Number>
    void make(Number& value)  // any bits, those of NaN included
    {
        const std::uint64_t bits = mRandom();
        std::memcpy(&value, &bits, sizeof value);
    }
    void make(std::string& text) { makeBytes(text); }
    void make(std::vector<char>& bytes) { makeBytes(bytes); }

private:
    template <typename Bytes>
    void makeBytes(Bytes& bytes)  // often empty or short, at times longer than a step
    {
        const unsigned long limits[] = {1, 20, 600, 3 * kLargestStep};
        const unsigned long limit = limits[mRandom() % 4];
        bytes.resize(mRandom() % limit);
        for (char& byte : bytes)
            byte = static_cast<char>(mRandom() % 3 == 0 ? 0 : mRandom());
    }

    std::mt19937_64 mRandom;
};

Values makeValues(unsigned int seed)
{
    Generator generator(seed);
    Values values;
    std::apply([&](auto&... value) { (generator.make(value), ...); }, values);
    return values;
}

// What a value is in memory, for comparison bit by bit.
template <typename T>
std::string toImage(const T& value)
{
    if constexpr (std::is_arithmetic_v<T>)
        return {reinterpret_cast<const char*>(&value), sizeof value};
    else
        return {value.begin(), value.end()};
}

std::vector<std::string> toImages(const Values& values)
{
    return std::apply(
        [](const auto&... value) { return std::vector<std::string>{toImage(value)...}; }, values);
}

// The bytes of the values, and at which of them each one begins; the last entry is the end.
std::string write(const Values& values, qzDataStream::Endianness endianness,
                  std::vector<unsigned long>* offsets = nullptr)
{
    DeviceStub device;
    qzDataStream stream(device, endianness);
    const auto writeOne = [&](const auto& value) {
        if (offsets != nullptr) offsets->push_back(device.getContent().size());
        stream << value;
    };
    std::apply([&](const auto&... value) { (writeOne(value), ...); }, values);
    if (offsets != nullptr) offsets->push_back(device.getContent().size());
    return device.getContent();
}

// Reads all values, and returns how many were read.
unsigned long readAll(CheckedStream& stream, Values& values)
{
    unsigned long count = 0;
    std::apply([&](auto&... value) { ((count += stream.read(value) ? 1 : 0), ...); }, values);
    return count;
}

std::string toBytes(std::uint32_t number)
{
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

std::string makeText(unsigned long size)
{
    return toBytes(static_cast<std::uint32_t>(size)) + std::string(size, 'x');
}

class CheckedStreamTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary;
};

}  // namespace

TEST_F(CheckedStreamTest, ReadsWhatADataStreamWrote)
{
    for (unsigned int seed = 0; seed < 60; ++seed) {
        const auto endianness = seed % 2 == 0 ? kLittle : kBig;
        const Values written = makeValues(seed);
        const std::string bytes = write(written, endianness);
        Values fromMemory = makeValues(seed + 1000);
        CheckedStream memoryStream(bytes, endianness);
        EXPECT_EQ(readAll(memoryStream, fromMemory), kNames.size()) << seed;
        EXPECT_EQ(toImages(fromMemory), toImages(written)) << seed;
        EXPECT_TRUE(memoryStream.readEnd());

        DeviceStub device(bytes);
        device.shortenTo(seed + 1);
        Values fromDevice;
        CheckedStream deviceStream(device, endianness);
        EXPECT_EQ(readAll(deviceStream, fromDevice), kNames.size()) << seed;
        EXPECT_EQ(toImages(fromDevice), toImages(written)) << seed;
        EXPECT_EQ(deviceStream.getOffset(), bytes.size());
        EXPECT_EQ(deviceStream.getFailure().reason, StreamFailure::None);
        EXPECT_EQ(deviceStream.getFailure().text, "");
    }
}

TEST_F(CheckedStreamTest, TakesAnyByteButZeroForTrue)
{
    bool isSet = false;
    EXPECT_TRUE(CheckedStream("\1", kLittle).read(isSet));
    EXPECT_TRUE(isSet);
}

TEST_F(CheckedStreamTest, ChangesTheByteOrderBetweenValues)
{
    CheckedStream stream(std::string_view("\1\2\1\2", 4), kLittle);
    short little = 0;
    short big = 0;
    stream >> little;
    stream.setEndianness(kBig);
    stream >> big;
    EXPECT_EQ(little, 0x0201);
    EXPECT_EQ(big, 0x0102);
    EXPECT_TRUE(static_cast<bool>(stream));
}

// --- Inputs that end, and devices that fail

// Reads what is left of the values at each cut, and checks what became of each of them.
class CheckedStreamCut : public CheckedStreamTest {
protected:
    void expectFailures(const char* deviceError)
    {
        Values written = makeValues(8);
        std::get<std::string>(written).resize(300, 't');
        std::get<std::vector<char>>(written).resize(5, 'b');
        const Values old = makeValues(9);
        std::vector<unsigned long> offsets;
        const std::string bytes = write(written, kBig, &offsets);
        const std::vector<std::string> writtenImages = toImages(written);
        const std::vector<std::string> oldImages = toImages(old);
        for (unsigned long cut = 0; cut < bytes.size(); ++cut) {
            DeviceStub device(bytes);
            device.stopAfter(cut);
            device.setErrorOfShortMoves(deviceError);
            Values values = old;
            CheckedStream stream(device, kBig);
            const unsigned long count = readAll(stream, values);
            ASSERT_LT(count, kNames.size()) << cut;
            std::vector<std::string> expected(oldImages);
            std::copy_n(writtenImages.begin(), count, expected.begin());
            EXPECT_EQ(toImages(values), expected) << cut;
            EXPECT_GE(cut, offsets[count]);
            EXPECT_LT(cut, offsets[count + 1]);
            expectFailure(stream, count, offsets, cut, deviceError);
        }
    }

private:
    static void expectFailure(CheckedStream& stream, unsigned long value,
                              const std::vector<unsigned long>& offsets, unsigned long cut,
                              const std::string& deviceError)
    {
        const unsigned long start = offsets[value];
        const bool isCounted = value >= kNames.size() - 2;
        const bool isInLength = isCounted && cut - start < 4;
        const unsigned long begin = isCounted && !isInLength ? start + 4 : start;
        const unsigned long size = isInLength ? 4 : offsets[value + 1] - begin;
        const StreamFailure failure = stream.getFailure();
        EXPECT_EQ(failure.offset, start);
        const std::string text = deviceError.empty()
                                     ? "the input ends after " + std::to_string(cut - begin) +
                                           " of " + std::to_string(size) + " bytes"
                                     : "the device has failed: " + deviceError;
        EXPECT_EQ(failure.text, (isInLength ? "length" : kNames[value]) + " at offset " +
                                    std::to_string(start) + ": " + text);
        EXPECT_EQ(failure.reason,
                  deviceError.empty() ? StreamFailure::Ended : StreamFailure::DeviceError);
        EXPECT_EQ(stream.getOffset(), cut);
    }
};

TEST_F(CheckedStreamCut, LeavesWhatCouldNotBeReadAtAnyEndOfTheInput)
{
    expectFailures("");
}

TEST_F(CheckedStreamCut, LeavesWhatCouldNotBeReadAtAnyErrorOfTheDevice)
{
    expectFailures("broken");
}

TEST_F(CheckedStreamTest, DoesNotCallTheDeviceAfterAFailure)
{
    DeviceStub device("\1\2");
    CheckedStream stream(device, kLittle);
    int number = 7;
    EXPECT_FALSE(stream.read(number));
    EXPECT_EQ(number, 7);
    const std::size_t calls = device.getCalls().size();
    char raw[2] = {'a', 'b'};
    std::string text = "old";
    std::vector<int> list = {3};
    EXPECT_FALSE(stream.read(raw[0]) || stream.read(text) || stream.readList(list) ||
                 stream.readRaw(raw, 2) || stream.readRaw(raw, 0) || stream.readEnd() ||
                 stream.reject("later"));
    EXPECT_EQ(raw[0], 'a');
    EXPECT_EQ(text, "old");
    EXPECT_THAT(list, ElementsAre(3));
    EXPECT_EQ(device.getCalls().size(), calls);
    EXPECT_EQ(stream.getFailure().text, "int at offset 0: the input ends after 2 of 4 bytes");
    EXPECT_FALSE(stream.isOk());
}

TEST_F(CheckedStreamTest, ReadsNoByteThatIsNotPartOfAValue)
{
    DeviceStub device(makeText(3) + "rest");
    CheckedStream stream(device, kLittle);
    std::string text;
    EXPECT_TRUE(stream.read(text));
    EXPECT_EQ(device.getCurrentPos(), 7);
    EXPECT_FALSE(stream.readEnd());
    EXPECT_EQ(stream.getFailure().reason, StreamFailure::TrailingData);
    EXPECT_EQ(stream.getFailure().text, "end at offset 7: more bytes follow");
    EXPECT_EQ(stream.getOffset(), 8U);
}

TEST_F(CheckedStreamTest, DoesNotCallTheDeviceForNoBytes)
{
    DeviceStub device(makeText(0));
    CheckedStream stream(device, kLittle);
    std::string text = "old";
    EXPECT_TRUE(stream.read(text));
    EXPECT_EQ(text, "");
    EXPECT_TRUE(stream.readRaw(nullptr, 0));
    EXPECT_THAT(device.getCalls(), ElementsAre("read 4 -> 4"));
}

TEST_F(CheckedStreamTest, DoesNotTakeAFailureOfTheDeviceForTheEnd)
{
    DeviceStub device;
    device.setErrorOfShortMoves("broken");
    CheckedStream stream(device, kLittle);
    EXPECT_FALSE(stream.readEnd());
    EXPECT_EQ(stream.getFailure().text, "end at offset 0: the device has failed: broken");
}

TEST_F(CheckedStreamTest, ReadsRawBytes)
{
    CheckedStream stream("abc", kLittle);
    char raw[4] = {};
    EXPECT_TRUE(stream.readRaw(raw, 0));
    EXPECT_TRUE(stream.readRaw(raw, 2));
    EXPECT_EQ(std::string(raw), "ab");
    EXPECT_FALSE(stream.readRaw(raw, 2));
    EXPECT_EQ(stream.getFailure().text, "raw bytes at offset 2: the input ends after 1 of 2 bytes");
}

TEST_F(CheckedStreamTest, KeepsTheFirstReason)
{
    CheckedStream stream("abc", kLittle);
    EXPECT_FALSE(stream.reject("first"));
    EXPECT_FALSE(stream.reject("second"));
    EXPECT_EQ(stream.getFailure().text, "value at offset 0: first");
}

TEST_F(CheckedStreamTest, TakesNoMoreThanItRequestedFromADeviceThatClaimsMore)
{
    class Boaster : public DeviceStub {
    public:
        unsigned long readBytes(char* dst, unsigned long size) override
        {
            std::memset(dst, 'x', size);
            return size + 1000;
        }
    };
    Boaster device;
    StreamLimits limits;
    limits.totalBytes = 12;
    CheckedStream stream(device, kLittle, limits);
    long value = 0;
    EXPECT_TRUE(stream.read(value));
    EXPECT_EQ(stream.getOffset(), 8U);
    EXPECT_FALSE(stream.read(value));
    EXPECT_EQ(stream.getFailure().reason, StreamFailure::TotalLimit);
}

TEST_F(CheckedStreamTest, FailsWithAnExceptionOfTheDevice)
{
    class Thrower : public DeviceStub {
    public:
        using DeviceStub::DeviceStub;
        unsigned long readBytes(char* dst, unsigned long size) override
        {
            if (getCurrentPos() >= 5) throw std::bad_alloc();
            return DeviceStub::readBytes(dst, std::min(size, 5UL));
        }
    };
    Thrower forText(makeText(9));
    CheckedStream stream(forText, kLittle);
    std::string text = "old";
    EXPECT_THROW(stream.read(text), std::bad_alloc);
    EXPECT_EQ(text, "old");
    EXPECT_EQ(stream.getFailure().text, "text at offset 0: an exception has ended the read");
    EXPECT_EQ(stream.getFailure().reason, StreamFailure::Exception);
    EXPECT_EQ(stream.getOffset(), 9U);
    EXPECT_FALSE(stream.read(text));

    Thrower forNumber("12345678");
    CheckedStream numbers(forNumber, kLittle);
    long number = 7;
    EXPECT_THROW(numbers.read(number), std::bad_alloc);
    EXPECT_EQ(number, 7);
    EXPECT_FALSE(numbers.isOk());

    Thrower forEnd("12345");
    CheckedStream ends(forEnd, kLittle);
    char raw[5];
    EXPECT_TRUE(ends.readRaw(raw, 5));
    EXPECT_THROW(ends.readEnd(), std::bad_alloc);
    EXPECT_EQ(ends.getFailure().text, "end at offset 5: an exception has ended the read");
}

// --- Limits

TEST_F(CheckedStreamTest, AcceptsATextUpToItsLimit)
{
    StreamLimits limits;
    for (const unsigned long limit : {0UL, 1UL, 255UL, 256UL, 257UL, kLargestStep}) {
        limits.textBytes = limit;
        for (const unsigned long size : {limit - 1, limit, limit + 1}) {
            if (size > limit + 1) continue;
            const std::string bytes = makeText(size);
            std::string text = "old";
            std::vector<char> vector = {'o'};
            CheckedStream texts(bytes, kLittle, limits);
            CheckedStream vectors(bytes, kLittle, limits);
            EXPECT_EQ(texts.read(text), size <= limit);
            EXPECT_EQ(vectors.read(vector), size <= limit);
            EXPECT_EQ(text, size <= limit ? std::string(size, 'x') : "old");
            EXPECT_EQ(vector.size(), size <= limit ? size : 1);
            if (size <= limit) continue;
            EXPECT_EQ(texts.getFailure().reason, StreamFailure::TextLimit);
            EXPECT_EQ(texts.getFailure().text, "text at offset 0: " + std::to_string(size) +
                                                   " bytes exceed the limit of " +
                                                   std::to_string(limit));
        }
    }
}

TEST_F(CheckedStreamTest, AcceptsAListUpToItsLimit)
{
    StreamLimits limits;
    limits.listItems = 3;
    for (std::uint32_t count = 2; count <= 4; ++count) {
        const std::string bytes = toBytes(count) + std::string(count, 'i');
        std::vector<char> items = {'o', 'l', 'd'};
        CheckedStream stream(bytes, kLittle, limits);
        EXPECT_EQ(stream.readList(items), count <= 3);
        EXPECT_EQ(std::string(items.begin(), items.end()),
                  count <= 3 ? std::string(count, 'i') : "old");
        if (count <= 3) continue;
        EXPECT_EQ(stream.getFailure().reason, StreamFailure::ListLimit);
        EXPECT_EQ(stream.getFailure().text, "list at offset 0: 4 items exceed the limit of 3");
    }
}

TEST_F(CheckedStreamTest, AcceptsAWholeUpToItsLimit)
{
    const std::string bytes = toBytes(5) + makeText(6);
    for (unsigned long limit = 0; limit <= bytes.size(); ++limit) {
        StreamLimits limits;
        limits.totalBytes = limit;
        int number = 0;
        std::string text = "old";
        CheckedStream stream(bytes, kLittle, limits);
        EXPECT_EQ(stream.read(number), limit >= 4) << limit;
        EXPECT_EQ(stream.read(text), limit >= 14) << limit;
        EXPECT_EQ(text, limit >= 14 ? "xxxxxx" : "old");
        EXPECT_EQ(stream.readEnd(), limit >= 14) << limit;
        if (limit >= 14) continue;
        EXPECT_EQ(stream.getFailure().reason, StreamFailure::TotalLimit);
        const std::string expected =
            limit < 4   ? "int at offset 0: 4 bytes exceed the " + std::to_string(limit)
            : limit < 8 ? "length at offset 4: 4 bytes exceed the " + std::to_string(limit - 4)
                        : "text at offset 4: 6 bytes exceed the " + std::to_string(limit - 8);
        EXPECT_EQ(stream.getFailure().text, expected + " that are left of the whole");
    }
}

TEST_F(CheckedStreamTest, FindsTrailingDataAfterTheLastByteOfTheLimit)
{
    StreamLimits limits;
    limits.totalBytes = 2;
    CheckedStream stream("abc", kLittle, limits);
    char raw[2];
    EXPECT_TRUE(stream.readRaw(raw, 2));
    EXPECT_FALSE(stream.readEnd());
    EXPECT_EQ(stream.getFailure().reason, StreamFailure::TrailingData);
}

// Each empty text takes 4 bytes of the input, and 32 of memory.
TEST_F(CheckedStreamTest, CountsTheMemoryOfTheItemsOfAList)
{
    const std::string bytes = toBytes(1000) + std::string(4000, '\0');
    std::vector<std::string> texts;
    StreamLimits limits;
    limits.totalBytes = 4004 + 1000 * sizeof(std::string);
    EXPECT_TRUE(CheckedStream(bytes, kLittle, limits).readList(texts));
    EXPECT_EQ(texts.size(), 1000U);
    --limits.totalBytes;
    CheckedStream stream(bytes, kLittle, limits);
    EXPECT_FALSE(stream.readList(texts));
    EXPECT_EQ(stream.getFailure().reason, StreamFailure::TotalLimit);
}

TEST_F(CheckedStreamTest, AcceptsAnItemWhoseMemoryIsExactlyWhatIsLeft)
{
    const std::string bytes = toBytes(1) + 'a';
    StreamLimits limits;
    limits.totalBytes = 1004;
    for (const unsigned long size : {1000UL, 1001UL}) {
        CheckedStream stream(bytes, kLittle, limits);
        CheckedStream::List list(stream);
        EXPECT_EQ(list.next(size), size == 1000);
        char letter = 'o';
        EXPECT_FALSE(stream.read(letter));
        EXPECT_EQ(stream.getFailure().text,
                  size == 1000
                      ? "char at offset 4: 1 bytes exceed the 0 that are left of the whole"
                      : "item at offset 4: 1001 bytes exceed the 1000 that are left of the whole");
    }
}

// --- Lists

// A tree as lists of lists.
struct Node {
    std::vector<Node> children;
};

bool readNode(CheckedStream& stream, Node& node)
{
    return stream.readList(node.children, [&](Node& child) { return readNode(stream, child); });
}

// Each node has one child; the last one has none.
std::string makeChain(unsigned int depth)
{
    std::string bytes;
    for (unsigned int i = 1; i < depth; ++i)
        bytes += toBytes(1);
    return bytes + toBytes(0);
}

TEST_F(CheckedStreamTest, ReadsListsInLists)
{
    Node root;
    const std::string bytes = toBytes(2) + toBytes(1) + toBytes(0) + toBytes(0);
    CheckedStream stream(bytes, kLittle);
    EXPECT_TRUE(readNode(stream, root) && stream.readEnd());
    ASSERT_EQ(root.children.size(), 2U);
    EXPECT_EQ(root.children[0].children.size(), 1U);
    EXPECT_TRUE(root.children[1].children.empty());
}

TEST_F(CheckedStreamTest, ReadsAnyNumberOfListsAfterOneAnother)
{
    constexpr int kCount = 200;
    std::string bytes;
    for (int i = 0; i < kCount; ++i)
        bytes += toBytes(1) + "x";
    StreamLimits limits;
    limits.depth = 1;
    CheckedStream stream(bytes, kLittle, limits);
    std::vector<char> list;
    for (int i = 0; i < kCount; ++i)
        ASSERT_TRUE(stream.readList(list)) << i << stream.getFailure().text;
    EXPECT_TRUE(stream.readEnd());
}

TEST_F(CheckedStreamTest, AcceptsListsUpToTheLimitOfTheirDepth)
{
    StreamLimits limits;
    limits.depth = 3;
    for (unsigned int depth = 2; depth <= 4; ++depth) {
        const std::string bytes = makeChain(depth);
        Node root;
        CheckedStream stream(bytes, kLittle, limits);
        EXPECT_EQ(readNode(stream, root), depth <= 3);
        if (depth <= 3) continue;
        EXPECT_EQ(stream.getFailure().reason, StreamFailure::DepthLimit);
        EXPECT_EQ(stream.getFailure().text, "list at offset 12: nested deeper than 3 lists");
        EXPECT_TRUE(root.children.empty());
    }
}

TEST_F(CheckedStreamTest, SurvivesListsThatAreNestedWithoutEnd)
{
    const std::string bytes = makeChain(1'000'000);
    CheckedStream stream(bytes, kLittle);
    Node root;
    EXPECT_FALSE(readNode(stream, root));
    EXPECT_EQ(stream.getFailure().reason, StreamFailure::DepthLimit);
    EXPECT_EQ(stream.getOffset(), 4U * StreamLimits().depth);
}

TEST_F(CheckedStreamTest, RefusesItemsThatTakeNoByte)
{
    StreamLimits limits;
    limits.listItems = 0xFFFFFFFF;
    CheckedStream stream("\xFF\xFF\xFF\xFF", kLittle, limits);
    std::vector<int> items = {3};
    int calls = 0;
    EXPECT_FALSE(stream.readList(items, [&](int& /*item*/) { return ++calls < 100; }));
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(items, ElementsAre(3));
    EXPECT_EQ(stream.getFailure().reason, StreamFailure::EmptyItem);
    EXPECT_EQ(stream.getFailure().text, "item at offset 4: an item takes no byte");
}

TEST_F(CheckedStreamTest, FailsWithAnItemThatTheProgramRejects)
{
    const std::string bytes = toBytes(2) + toBytes(1) + toBytes(0);
    std::vector<int> items = {3};
    const auto readPositive = [](CheckedStream& stream, int& item) {
        return stream.read(item) && (item > 0 || stream.reject("not positive"));
    };
    CheckedStream stream(bytes, kLittle);
    EXPECT_FALSE(stream.readList(items, [&](int& item) { return readPositive(stream, item); }));
    EXPECT_THAT(items, ElementsAre(3));
    EXPECT_EQ(stream.getFailure().reason, StreamFailure::Rejected);
    EXPECT_EQ(stream.getFailure().text, "value at offset 12: not positive");

    CheckedStream silent(bytes, kLittle);
    EXPECT_FALSE(silent.readList(items, [](int& /*item*/) { return false; }));
    EXPECT_EQ(silent.getFailure().text, "list at offset 0: not accepted");
}

TEST_F(CheckedStreamTest, ReadsAListItemByItem)
{
    const std::string bytes = toBytes(2) + "ab";
    CheckedStream stream(bytes, kLittle);
    std::string letters;
    char letter = 0;
    {
        CheckedStream::List list(stream);
        while (list.next(1) && stream.read(letter))
            letters += letter;
        EXPECT_TRUE(list.isComplete());
        EXPECT_FALSE(list.next(1)) << "after the end";
    }
    EXPECT_EQ(letters, "ab");
    EXPECT_TRUE(stream.readEnd());

    CheckedStream abandoned(bytes, kLittle);
    {
        CheckedStream::List list(abandoned);
        EXPECT_TRUE(list.next(1));
        EXPECT_FALSE(list.isComplete());
    }
    EXPECT_EQ(abandoned.getFailure().reason, StreamFailure::Rejected);
}

TEST_F(CheckedStreamTest, FailsAListWithAnExceptionOfItsReader)
{
    CheckedStream stream(std::string_view("\1\0\0\0abcd", 8), kLittle);
    std::vector<int> items = {3};
    EXPECT_THROW(stream.readList(items, [](int& /*item*/) -> bool { throw std::bad_alloc(); }),
                 std::bad_alloc);
    EXPECT_THAT(items, ElementsAre(3));
    EXPECT_FALSE(stream.isOk());
    EXPECT_EQ(stream.getFailure().reason, StreamFailure::Exception);
    EXPECT_EQ(stream.getFailure().text, "list at offset 0: an exception has ended the read");
}

TEST_F(CheckedStreamTest, FailsAListWhoseReaderMissesTheFailure)
{
    CheckedStream stream(std::string_view("\1\0\0\0ab", 6), kLittle);
    std::vector<int> items = {3};
    EXPECT_FALSE(stream.readList(items, [&](int& item) { return stream.read(item) || true; }));
    EXPECT_THAT(items, ElementsAre(3));
    EXPECT_EQ(stream.getFailure().reason, StreamFailure::Ended);
}

// --- Memory

// Reads `bytes` with the most generous limits.
struct GenerousLimits : StreamLimits {
    GenerousLimits()
    {
        textBytes = std::numeric_limits<unsigned long>::max();
        listItems = std::numeric_limits<unsigned long>::max();
        totalBytes = std::numeric_limits<unsigned long>::max();
    }
};

TEST_F(CheckedStreamTest, TakesMemoryForTheBytesThatComeAndNotForThoseThatALengthClaims)
{
    for (const unsigned long size : {0UL, 1UL, 1000UL, kLargestStep, 5 * kLargestStep + 1}) {
        for (const std::uint32_t claim : {400'000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
            const std::string bytes = toBytes(claim) + std::string(size, 'x');
            std::string text = "old";
            std::vector<char> vector = {'o'};
            std::vector<char> list = {'o'};
            CheckedStream texts(bytes, kLittle, GenerousLimits());
            CheckedStream vectors(bytes, kLittle, GenerousLimits());
            CheckedStream lists(bytes, kLittle, GenerousLimits());
            const support::AllocationCounter counter;
            EXPECT_FALSE(texts.read(text));
            EXPECT_FALSE(vectors.read(vector));
            EXPECT_FALSE(lists.readList(list));
            EXPECT_LE(counter.getBytes(), 3 * 4 * (size + kLargestStep)) << size;
            EXPECT_EQ(text + vector[0] + list[0], "oldoo");
        }
    }
}

TEST_F(CheckedStreamTest, TakesTwiceTheMemoryOfWhatHasComeAndNoMoreThanTheText)
{
    const std::string text(5 * kLargestStep, 'x');
    struct Row {
        unsigned long claim;
        unsigned long steps;  // of all blocks together
    };
    for (const Row row : {Row{5 * kLargestStep, 1 + 2 + 4 + 5}, Row{0xFFFFFFFF, 1 + 2 + 4 + 8}}) {
        const std::string bytes = toBytes(static_cast<std::uint32_t>(row.claim)) + text;
        std::vector<char> vector;
        CheckedStream stream(bytes, kLittle, GenerousLimits());
        const support::AllocationCounter counter;
        EXPECT_EQ(stream.read(vector), row.claim == text.size());
        EXPECT_EQ(counter.getBytes(), row.steps * kLargestStep);
    }
}

TEST_F(CheckedStreamTest, AllocatesNothingForShortTextsInADestinationOfTheirSize)
{
    const std::string bytes = makeText(200) + makeText(200) + toBytes(7);
    CheckedStream stream(bytes, kLittle);
    std::string text(200, 'o');
    std::vector<char> vector(200, 'o');
    int number = 0;
    const support::AllocationCounter counter;
    stream >> text >> vector >> number;
    EXPECT_EQ(counter.getCount(), 0U);
    EXPECT_EQ(text, std::string(200, 'x'));
    EXPECT_EQ(number, 7);
}

TEST_F(CheckedStreamTest, LeavesTheDestinationWhenThereIsNoMemory)
{
    const std::string old(20, 'o');
    const std::string bytes =
        makeText(100) + makeText(3 * kLargestStep) + toBytes(2) + makeText(100) + makeText(3);
    std::string first;
    std::string second;
    std::vector<std::string> list;
    std::unique_ptr<CheckedStream> stream;
    const std::size_t failures = support::failEachAllocation(
        [&] {
            {
                const support::AllocationPause ownWork;
                first = old;
                second = old;
                list = {old};
                stream = std::make_unique<CheckedStream>(bytes, kLittle);
            }
            *stream >> first >> second;
            stream->readList(list);
        },
        [&](const support::AllocationFailure& failure) {
            EXPECT_TRUE(failure.threwBadAlloc) << failure.number;
            EXPECT_FALSE(stream->isOk());
            EXPECT_TRUE(first == old || first.size() == 100);
            EXPECT_EQ(second == old, second.size() != 3 * kLargestStep);
            EXPECT_THAT(list, ElementsAre(old));
            int number = 7;
            EXPECT_FALSE(stream->read(number));
            EXPECT_EQ(number, 7);
        });
    EXPECT_GE(failures, 5U);
    EXPECT_TRUE(stream->readEnd());
    EXPECT_THAT(list, ElementsAre(std::string(100, 'x'), "xxx"));
}

// The device's words take memory as well.
TEST_F(CheckedStreamTest, IsNotOkAlsoWhenTheWordsOfTheDeviceFindNoMemory)
{
    class Broken : public DeviceStub {
    public:
        unsigned long readBytes(char* /*dst*/, unsigned long /*size*/) override { return 0; }
    };
    Broken device;
    device.setDeviceError(std::string(1000, 'e'));
    std::unique_ptr<CheckedStream> stream;
    const std::size_t failures = support::failEachAllocation(
        [&] {
            {
                const support::AllocationPause ownWork;
                stream = std::make_unique<CheckedStream>(device, kLittle);
            }
            char byte = 0;
            EXPECT_FALSE(stream->read(byte));
        },
        [&](const support::AllocationFailure& /*failure*/) {
            EXPECT_EQ(stream->getFailure().reason, StreamFailure::DeviceError);
        });
    EXPECT_GE(failures, 1U);
    EXPECT_EQ(stream->getFailure().text,
              "char at offset 0: the device has failed: " + std::string(1000, 'e'));
}

}  // namespace qz::ext
