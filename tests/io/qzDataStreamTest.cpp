// SPDX-License-Identifier: MIT
#include <qz/qzDataStream.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/DeviceStub.h"
#include "support/Files.h"
#include "support/LibraryStart.h"

namespace qz {

using support::DeviceStub;
using support::toHex;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr auto kLittle = qzDataStream::LittleEndian;
constexpr auto kBig = qzDataStream::BigEndian;

template <typename T>
concept Writable = requires(qzDataStream& stream, const T& value)
{
    stream << value;
};
template <typename T>
concept Readable = requires(qzDataStream& stream, T& value)
{
    stream >> value;
};

// Each would be written as an integer of 4 bytes.
static_assert(!Writable<std::int8_t> && !Readable<std::int8_t>);
static_assert(!Writable<char8_t> && !Readable<char8_t>);
static_assert(!Writable<char16_t> && !Readable<char16_t>);
static_assert(!Writable<wchar_t> && !Readable<wchar_t>);
static_assert(Writable<std::uint8_t> && Readable<std::uint8_t>);
static_assert(Writable<char> && Readable<char>);
static_assert(!Writable<void*> && !Writable<qzIoDevice*>);

template <typename T>
std::string bitsOf(const T& value)
{
    std::string bits(sizeof value, '\0');
    std::memcpy(bits.data(), &value, sizeof value);
    return bits;
}

}  // namespace

// --- The bytes of each type

struct WireRow {
    std::string name;
    std::string little;
    std::string big;
    // Writes the row's value.
    std::function<void(qzDataStream&)> write;
    // Reads a value of the row's type and tells whether it is the row's, bit by bit.
    std::function<bool(qzDataStream&)> reads;
};

template <typename T>
WireRow makeNumber(const char* name, T value, const char* little, const char* big)
{
    return {name, little, big, [value](qzDataStream& stream) { stream << value; },
            [value](qzDataStream& stream) {
                T got{};
                stream >> got;
                return bitsOf(got) == bitsOf(value);
            }};
}

template <typename Bytes>
WireRow makeText(const char* name, const Bytes& bytes, const char* little, const char* big)
{
    return {name, little, big, [bytes](qzDataStream& stream) { stream << bytes; },
            [bytes](qzDataStream& stream) {
                Bytes got{'?'};
                stream >> got;
                return got == bytes;
            }};
}

std::vector<WireRow> makeWireRows()
{
    using namespace std::string_literals;
    // A quiet NaN with bits of its own, which no conversion on the way may change.
    float nanF = 0;
    double nanD = 0;
    const std::uint32_t nanBitsF = 0x7FA12345;
    const std::uint64_t nanBitsD = 0xFFF0123456789ABC;
    std::memcpy(&nanF, &nanBitsF, sizeof nanF);
    std::memcpy(&nanD, &nanBitsD, sizeof nanD);
    return {
        makeNumber("True", true, "ff", "ff"),
        makeNumber("False", false, "00", "00"),
        makeNumber("Char", 'A', "41", "41"),
        makeNumber("CharHigh", '\xFE', "fe", "fe"),
        makeNumber("UnsignedChar", static_cast<unsigned char>(200), "c8", "c8"),
        makeNumber("Short", static_cast<short>(0x0102), "02 01", "01 02"),
        makeNumber("ShortNegative", static_cast<short>(-2), "fe ff", "ff fe"),
        makeNumber("ShortSmallest", static_cast<short>(SHRT_MIN), "00 80", "80 00"),
        makeNumber("UnsignedShort", static_cast<unsigned short>(0xFEDC), "dc fe", "fe dc"),
        makeNumber("IntOne", 1, "01 00 00 00", "00 00 00 01"),
        makeNumber("Int", 0x01020304, "04 03 02 01", "01 02 03 04"),
        makeNumber("IntSmallest", INT_MIN, "00 00 00 80", "80 00 00 00"),
        makeNumber("UnsignedInt", 0xFEDCBA98U, "98 ba dc fe", "fe dc ba 98"),
        makeNumber("LongOne", 1L, "01 00 00 00 00 00 00 00", "00 00 00 00 00 00 00 01"),
        makeNumber("Long", 0x0102030405060708L, "08 07 06 05 04 03 02 01",
                   "01 02 03 04 05 06 07 08"),
        makeNumber("LongNegative", -2L, "fe ff ff ff ff ff ff ff", "ff ff ff ff ff ff ff fe"),
        makeNumber("UnsignedLong", 0xFEDCBA9876543210UL, "10 32 54 76 98 ba dc fe",
                   "fe dc ba 98 76 54 32 10"),
        makeNumber("Float", 1.5F, "00 00 c0 3f", "3f c0 00 00"),
        makeNumber("FloatMinusZero", -0.0F, "00 00 00 80", "80 00 00 00"),
        makeNumber("FloatInfinity", std::numeric_limits<float>::infinity(), "00 00 80 7f",
                   "7f 80 00 00"),
        makeNumber("FloatNan", nanF, "45 23 a1 7f", "7f a1 23 45"),
        makeNumber("Double", 1.5, "00 00 00 00 00 00 f8 3f", "3f f8 00 00 00 00 00 00"),
        makeNumber("DoubleSmallest", std::numeric_limits<double>::denorm_min(),
                   "01 00 00 00 00 00 00 00", "00 00 00 00 00 00 00 01"),
        makeNumber("DoubleNan", nanD, "bc 9a 78 56 34 12 f0 ff", "ff f0 12 34 56 78 9a bc"),
        makeText("String", "abc"s, "03 00 00 00 61 62 63", "00 00 00 03 61 62 63"),
        makeText("StringEmpty", ""s, "00 00 00 00", "00 00 00 00"),
        makeText("StringOfZeros", "a\0\0"s, "03 00 00 00 61 00 00", "00 00 00 03 61 00 00"),
        makeText("StringNotUtf8", "\xFF\xC3"s, "02 00 00 00 ff c3", "00 00 00 02 ff c3"),
        makeText("Bytes", std::vector<char>{'a', '\0', 'c'}, "03 00 00 00 61 00 63",
                 "00 00 00 03 61 00 63"),
        makeText("BytesEmpty", std::vector<char>{}, "00 00 00 00", "00 00 00 00"),
    };
}

class qzDataStreamWire : public ::testing::TestWithParam<WireRow> {
protected:
    void expectBytes(qzDataStream::Endianness endianness, const std::string& bytes)
    {
        qzDataStream writer(mDevice, endianness);
        GetParam().write(writer);
        EXPECT_TRUE(writer.isOk());
        EXPECT_EQ(toHex(mDevice.getContent()), bytes);
        mDevice.seek(0, DeviceStub::SeekFromBegin);
        qzDataStream reader(mDevice, endianness);
        EXPECT_TRUE(GetParam().reads(reader));
        EXPECT_TRUE(reader.isOk());
        EXPECT_TRUE(mDevice.atEnd());
    }

    support::LibraryStart mLibrary;
    DeviceStub mDevice;
};

TEST_P(qzDataStreamWire, IsThatOfItsRowInLittleEndian)
{
    expectBytes(kLittle, GetParam().little);
}

TEST_P(qzDataStreamWire, IsThatOfItsRowInBigEndian)
{
    expectBytes(kBig, GetParam().big);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzDataStreamWire, ::testing::ValuesIn(makeWireRows()),
                         [](const auto& row) { return row.param.name; });

// --- A stream that goes well

class qzDataStreamTest : public ::testing::Test {
protected:
    // A stream over a device with these bytes.
    qzDataStream& readFrom(const std::string& bytes)
    {
        mSource = std::make_unique<DeviceStub>(bytes);
        mStream.setIoDevice(mSource.get(), kLittle);
        return mStream;
    }

    support::LibraryStart mLibrary;
    DeviceStub mDevice;
    std::unique_ptr<DeviceStub> mSource;
    qzDataStream mStream{mDevice, kLittle};
};

TEST_F(qzDataStreamTest, ReadsAnyByteButZeroAsTrue)
{
    bool value = false;
    for (int byte = 1; byte < 256; ++byte) {
        readFrom(std::string(1, static_cast<char>(byte))) >> value;
        EXPECT_TRUE(value) << byte;
    }
    readFrom(std::string(1, '\0')) >> value;
    EXPECT_FALSE(value);
}

TEST_F(qzDataStreamTest, GivesEveryCallOfANumberToTheDeviceInItsWidth)
{
    mStream << true << 'c' << static_cast<short>(1) << 2 << 3L << 4.F << 5.;
    EXPECT_THAT(mDevice.getCalls(),
                ElementsAre("write 1 -> 1", "write 1 -> 1", "write 2 -> 2", "write 4 -> 4",
                            "write 8 -> 8", "write 4 -> 4", "write 8 -> 8"));
}

TEST_F(qzDataStreamTest, ReadsEveryNumberInItsWidth)
{
    bool truth = false;
    char letter = 0;
    unsigned short two = 0;
    unsigned int four = 0;
    unsigned long eight = 0;
    readFrom(std::string(16, '\1')) >> truth >> letter >> two >> four >> eight;
    EXPECT_THAT(mSource->getCalls(), ElementsAre("read 1 -> 1", "read 1 -> 1", "read 2 -> 2",
                                                 "read 4 -> 4", "read 8 -> 8"));
}

TEST_F(qzDataStreamTest, MovesATextInTwoCalls)
{
    mStream << std::string("abc") << std::string();
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 4 -> 4", "write 3 -> 3", "write 4 -> 4"));
    std::string text;
    readFrom(mDevice.getContent()) >> text >> text;
    EXPECT_THAT(mSource->getCalls(), ElementsAre("read 4 -> 4", "read 3 -> 3", "read 4 -> 4"));
}

TEST_F(qzDataStreamTest, WritesAllKindsOfTextAlike)
{
    const std::string text("a\0b", 3);
    mStream << text << std::string_view(text) << std::vector<char>(text.begin(), text.end());
    const std::string once = std::string("\3\0\0\0a\0b", 7);
    EXPECT_EQ(mDevice.getContent(), once + once + once);
}

TEST_F(qzDataStreamTest, WritesATerminatedTextAsATextNotAsABool)
{
    mStream << "abc"
            << "";
    EXPECT_EQ(toHex(mDevice.getContent()), "03 00 00 00 61 62 63 00 00 00 00");
}

TEST_F(qzDataStreamTest, ReadsABytesVectorAsAStringAndTheReverse)
{
    const std::string text("a\0b\xFF", 4);
    const std::vector<char> bytes(text.begin(), text.end());
    mStream << bytes << text;
    std::string asText;
    std::vector<char> asBytes;
    readFrom(mDevice.getContent()) >> asText >> asBytes;
    EXPECT_EQ(asText, text);
    EXPECT_EQ(asBytes, bytes);
    EXPECT_TRUE(mStream.isOk());
}

TEST_F(qzDataStreamTest, ReplacesTheOldContentOfADestination)
{
    std::string text(1000, 'x');
    std::vector<char> bytes(1000, 'x');
    readFrom(std::string("\1\0\0\0a\1\0\0\0b", 10)) >> text >> bytes;
    EXPECT_EQ(text, "a");
    EXPECT_THAT(bytes, ElementsAre('b'));
    readFrom(std::string(8, '\0')) >> text >> bytes;
    EXPECT_EQ(text, "");
    EXPECT_THAT(bytes, IsEmpty());
    EXPECT_TRUE(mStream.isOk());
}

TEST_F(qzDataStreamTest, ReplacesAnOldContentOfTheSameSize)
{
    std::string text = "old";
    std::vector<char> bytes(3, 'x');
    readFrom(std::string("\3\0\0\0new\3\0\0\0two", 14)) >> text >> bytes;
    EXPECT_EQ(text, "new");
    EXPECT_THAT(bytes, ElementsAre('t', 'w', 'o'));
}

TEST_F(qzDataStreamTest, MovesALargeText)
{
    const std::string text(10000000, 'x');
    mStream << text;
    std::string got;
    readFrom(mDevice.getContent()) >> got;
    EXPECT_EQ(got, text);
}

TEST_F(qzDataStreamTest, ReadsInTheOrderOfTheWrites)
{
    mStream << 1 << std::string("two") << 3.0 << '4';
    int one = 0;
    std::string two;
    double three = 0;
    char four = 0;
    readFrom(mDevice.getContent()) >> one >> two >> three >> four;
    EXPECT_EQ(one, 1);
    EXPECT_EQ(two, "two");
    EXPECT_EQ(three, 3.0);
    EXPECT_EQ(four, '4');
    EXPECT_TRUE(mStream.isOk());
}

// --- The byte order

TEST_F(qzDataStreamTest, ChangesTheByteOrderInTheMiddle)
{
    mStream << static_cast<short>(1);
    mStream.setEndianness(kBig);
    EXPECT_EQ(mStream.getEndianness(), kBig);
    mStream << static_cast<short>(1);
    mStream.setEndianness(kLittle);
    mStream << static_cast<short>(1);
    EXPECT_EQ(toHex(mDevice.getContent()), "01 00 00 01 01 00");
}

TEST_F(qzDataStreamTest, TakesAnyOtherByteOrderForLittleEndianAndKeepsIt)
{
    for (const int value : {2, -1, INT_MAX}) {
        DeviceStub device;
        const auto endianness = static_cast<qzDataStream::Endianness>(value);
        qzDataStream stream(device, endianness);
        stream << 1;
        EXPECT_EQ(toHex(device.getContent()), "01 00 00 00");
        EXPECT_EQ(stream.getEndianness(), endianness);
    }
}

TEST_F(qzDataStreamTest, ChangesTheByteOrderWithoutTouchingItsState)
{
    mStream.setError("x");
    mStream.setEndianness(kBig);
    EXPECT_FALSE(mStream.isOk());
}

// --- The functions of a fixed width

struct MoveRow {
    const char* name;
    bool (qzDataStream::*write)(char*);
    bool (qzDataStream::*read)(char*);
    unsigned long width;
    bool reverses;
};

constexpr MoveRow kMoveRows[] = {
    {"TwoLittle", &qzDataStream::write2BytesLittleEndian, &qzDataStream::read2BytesLittleEndian, 2,
     false},
    {"FourLittle", &qzDataStream::write4BytesLittleEndian, &qzDataStream::read4BytesLittleEndian, 4,
     false},
    {"EightLittle", &qzDataStream::write8BytesLittleEndian, &qzDataStream::read8BytesLittleEndian,
     8, false},
    {"TwoBig", &qzDataStream::write2BytesBigEndian, &qzDataStream::read2BytesBigEndian, 2, true},
    {"FourBig", &qzDataStream::write4BytesBigEndian, &qzDataStream::read4BytesBigEndian, 4, true},
    {"EightBig", &qzDataStream::write8BytesBigEndian, &qzDataStream::read8BytesBigEndian, 8, true},
};

class qzDataStreamMove : public ::testing::TestWithParam<MoveRow> {
protected:
    std::string ordered(std::string bytes) const
    {
        return GetParam().reverses ? std::string(bytes.rbegin(), bytes.rend()) : bytes;
    }
    bool write(qzDataStream& stream) { return (stream.*GetParam().write)(mBytes.data()); }
    bool read(qzDataStream& stream) { return (stream.*GetParam().read)(mBytes.data()); }

    support::LibraryStart mLibrary;
    const std::string mCounting = std::string("12345678").substr(0, GetParam().width);
    std::string mBytes = mCounting;
};

TEST_P(qzDataStreamMove, WritesItsWidthAndLeavesTheSource)
{
    DeviceStub device;
    // The byte order of the stream is no matter of these functions.
    for (const auto endianness : {kLittle, kBig}) {
        device.seek(0, DeviceStub::SeekFromBegin);
        qzDataStream stream(device, endianness);
        EXPECT_TRUE(write(stream));
        EXPECT_EQ(device.getContent(), ordered(mCounting));
        EXPECT_EQ(mBytes, mCounting);
    }
}

TEST_P(qzDataStreamMove, ReadsItsWidth)
{
    DeviceStub device("abcdefgh more");
    qzDataStream stream(device, kLittle);
    EXPECT_TRUE(read(stream));
    EXPECT_EQ(mBytes, ordered(std::string("abcdefgh").substr(0, GetParam().width)));
    EXPECT_EQ(device.getCurrentPos(), static_cast<long>(GetParam().width));
}

TEST_P(qzDataStreamMove, RefusesAShortWriteAndLeavesTheState)
{
    DeviceStub device;
    device.stopAfter(1);
    qzDataStream stream(device, kLittle);
    EXPECT_FALSE(write(stream));
    EXPECT_TRUE(stream.isOk()) << "only the operators end the ok state";
    EXPECT_EQ(mBytes, mCounting);
}

TEST_P(qzDataStreamMove, LeavesAShortReadInTheDestinationInItsOrder)
{
    DeviceStub device("a");
    qzDataStream stream(device, kLittle);
    EXPECT_FALSE(read(stream));
    EXPECT_TRUE(stream.isOk());
    EXPECT_EQ(mBytes, ordered("a" + mCounting.substr(1)));
}

TEST_P(qzDataStreamMove, FailsWithoutADevice)
{
    qzDataStream stream;
    EXPECT_FALSE(write(stream));
    EXPECT_FALSE(read(stream));
    qzDataStream nullStream(nullptr, kBig);
    EXPECT_FALSE(write(nullStream));
    EXPECT_FALSE(read(nullStream));
    EXPECT_TRUE(nullStream.isOk());
}

TEST_P(qzDataStreamMove, TriesTheDeviceOnAStreamThatIsNotOk)
{
    DeviceStub device;
    qzDataStream stream(device, kLittle);
    stream.setError("x");
    EXPECT_TRUE(write(stream));
}

INSTANTIATE_TEST_SUITE_P(Rows, qzDataStreamMove, ::testing::ValuesIn(kMoveRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzDataStreamTest, MovesOneByte)
{
    EXPECT_TRUE(mStream.write1Byte("x"));
    EXPECT_EQ(mDevice.getContent(), "x");
    char byte = 0;
    EXPECT_TRUE(readFrom("y").read1Byte(&byte));
    EXPECT_EQ(byte, 'y');
    EXPECT_FALSE(mStream.read1Byte(&byte));
    EXPECT_EQ(byte, 'y');
    EXPECT_TRUE(mStream.isOk());
    mDevice.stopAfter(0);
    EXPECT_FALSE(qzDataStream(mDevice, kLittle).write1Byte("x"));
    EXPECT_FALSE(qzDataStream().write1Byte("x"));
    EXPECT_FALSE(qzDataStream().read1Byte(&byte));
}

// --- Raw bytes

TEST_F(qzDataStreamTest, MovesRawBytesWithoutACount)
{
    const std::string bytes("a\0b", 3);
    EXPECT_TRUE(mStream.writeRawData(bytes.data(), 3));
    EXPECT_EQ(mDevice.getContent(), bytes);
    char got[3] = {};
    EXPECT_EQ(readFrom(bytes).readRawBytes(got, 3), 3U);
    EXPECT_EQ(std::string(got, 3), bytes);
    EXPECT_TRUE(mStream.isOk());
}

TEST_F(qzDataStreamTest, WritesNoRawBytesAsAWriteOfNothing)
{
    EXPECT_TRUE(mStream.writeRawData("", 0));
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 0 -> 0"));
    EXPECT_TRUE(mStream.isOk());
}

TEST_F(qzDataStreamTest, ReadsNoRawBytesWithoutACall)
{
    char byte = 'x';
    EXPECT_EQ(readFrom("a").readRawBytes(&byte, 0), 0U);
    EXPECT_EQ(mStream.readRawBytes(nullptr, 1), 0U);
    EXPECT_TRUE(mStream.isOk());
    EXPECT_EQ(byte, 'x');
    EXPECT_THAT(mSource->getCalls(), IsEmpty());
}

TEST_F(qzDataStreamTest, GivesTheCountOfAShortRawRead)
{
    char bytes[5] = {};
    EXPECT_EQ(readFrom("abc").readRawBytes(bytes, 5), 3U);
    EXPECT_FALSE(mStream.isOk());
    EXPECT_STREQ(bytes, "abc");
}

// --- Starting and ending

TEST_F(qzDataStreamTest, BeginsAnewWithEachDevice)
{
    mStream.setError("x");
    DeviceStub other;
    mStream.setIoDevice(&other, kBig);
    EXPECT_TRUE(mStream.isOk());
    EXPECT_EQ(mStream.getEndianness(), kBig);
    mStream << 1;
    EXPECT_EQ(toHex(other.getContent()), "00 00 00 01");
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
}

TEST_F(qzDataStreamTest, BeginsAnewWithTheSameDevice)
{
    mStream.setError("x");
    mStream.setIoDevice(&mDevice, kLittle);
    EXPECT_TRUE(mStream.isOk());
}

TEST_F(qzDataStreamTest, LeavesADevicesErrorWhenItBeginsAnew)
{
    mDevice.setDeviceError("broken");
    mStream.setIoDevice(&mDevice, kLittle);
    EXPECT_FALSE(mStream.isOk());
    EXPECT_EQ(mStream.getErrorMsg(), "broken");
}

TEST_F(qzDataStreamTest, TakesADeviceByPointerAndByReference)
{
    qzDataStream byPointer(&mDevice, kBig);
    EXPECT_TRUE(byPointer.isOk());
    EXPECT_EQ(byPointer.getEndianness(), kBig);
    byPointer << static_cast<short>(1);
    qzDataStream byReference(mDevice, kBig);
    byReference << static_cast<short>(2);
    EXPECT_EQ(toHex(mDevice.getContent()), "00 01 00 02");
}

TEST_F(qzDataStreamTest, LeavesTheDeviceAliveAtItsEnd)
{
    {
        qzDataStream stream(mDevice, kLittle);
        stream << 'a';
    }
    EXPECT_EQ(mDevice.writeBytes("b", 1), 1U);
    EXPECT_EQ(mDevice.getContent(), "ab");
}

}  // namespace qz
