// SPDX-License-Identifier: MIT
#include <qz/qzDataStream.h>

#include <functional>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/DeviceStub.h"
#include "support/LibraryStart.h"

namespace qz {

using support::DeviceStub;
using ::testing::IsEmpty;

namespace {

constexpr auto kLittle = qzDataStream::LittleEndian;
constexpr auto kBig = qzDataStream::BigEndian;

// One operation on a stream, told by name.
struct Operation {
    const char* name;
    std::function<void(qzDataStream&)> run;
    unsigned long size;  // bytes on the wire
};

// Writes a value of type T.
template <typename T>
void writeOne(qzDataStream& stream)
{
    stream << T{};
}

template <typename T>
void readOne(qzDataStream& stream)
{
    T value{};
    stream >> value;
}

const Operation kNumberWrites[] = {
    {"Bool", writeOne<bool>, 1},
    {"Char", writeOne<char>, 1},
    {"UnsignedChar", writeOne<unsigned char>, 1},
    {"Short", writeOne<short>, 2},
    {"UnsignedShort", writeOne<unsigned short>, 2},
    {"Int", writeOne<int>, 4},
    {"UnsignedInt", writeOne<unsigned int>, 4},
    {"Long", writeOne<long>, 8},
    {"UnsignedLong", writeOne<unsigned long>, 8},
    {"Float", writeOne<float>, 4},
    {"Double", writeOne<double>, 8},
};

const Operation kNumberReads[] = {
    {"Bool", readOne<bool>, 1},
    {"Char", readOne<char>, 1},
    {"UnsignedChar", readOne<unsigned char>, 1},
    {"Short", readOne<short>, 2},
    {"UnsignedShort", readOne<unsigned short>, 2},
    {"Int", readOne<int>, 4},
    {"UnsignedInt", readOne<unsigned int>, 4},
    {"Long", readOne<long>, 8},
    {"UnsignedLong", readOne<unsigned long>, 8},
    {"Float", readOne<float>, 4},
    {"Double", readOne<double>, 8},
};

const Operation kTextWrites[] = {
    {"String", [](qzDataStream& stream) { stream << std::string("abc"); }, 7},
    {"StringView", [](qzDataStream& stream) { stream << std::string_view("abc"); }, 7},
    {"TerminatedText", [](qzDataStream& stream) { stream << "abc"; }, 7},
    {"Bytes", [](qzDataStream& stream) { stream << std::vector<char>(3, 'x'); }, 7},
    {"EmptyString", [](qzDataStream& stream) { stream << std::string(); }, 4},
    {"RawBytes", [](qzDataStream& stream) { stream.writeRawData("abc", 3); }, 3},
};

const Operation kTextReads[] = {
    {"String", readOne<std::string>, 7},
    {"Bytes", readOne<std::vector<char>>, 7},
    {"RawBytes",
     [](qzDataStream& stream) {
         char bytes[7];
         stream.readRawBytes(bytes, sizeof bytes);
     },
     7},
};

const std::string kText("\3\0\0\0abc", 7);
const std::string kBigText("\0\0\0\3abc", 7);

// Finds no memory after so many calls.
class Forgetful : public DeviceStub {
public:
    Forgetful(const std::string& content, int calls) : DeviceStub(content), mCallsLeft(calls) {}
    unsigned long readBytes(char* dst, unsigned long size) override
    {
        count();
        return DeviceStub::readBytes(dst, size);
    }
    unsigned long writeBytes(const char* src, unsigned long size) override
    {
        count();
        return DeviceStub::writeBytes(src, size);
    }

private:
    void count()
    {
        if (mCallsLeft-- == 0) throw std::bad_alloc();
    }
    int mCallsLeft;
};

std::string nameOf(const ::testing::TestParamInfo<Operation>& row)
{
    return row.param.name;
}

}  // namespace

class qzDataStreamOperation : public ::testing::TestWithParam<Operation> {
protected:
    // Runs the row's operation over a device that stops after each number of bytes below the row's
    // size, and after it gives an error or doesn't.
    void expectFailureAtEveryByte(const std::string& little, const std::string& big)
    {
        for (unsigned long bytes = 0; bytes < GetParam().size; ++bytes) {
            for (const char* error : {"", "broken"}) {
                for (const auto endianness : {kLittle, kBig}) {
                    DeviceStub device(endianness == kBig ? big : little);
                    device.stopAfter(bytes);
                    device.setErrorOfShortMoves(error);
                    qzDataStream stream(device, endianness);
                    GetParam().run(stream);
                    EXPECT_FALSE(stream.isOk()) << bytes << error;
                    EXPECT_EQ(stream.getErrorMsg(), error) << bytes;
                }
            }
        }
    }

    // Runs the row's operation over a device that finds no memory at its first, second ... call.
    void expectFailureAtEveryLackOfMemory()
    {
        for (const auto endianness : {kLittle, kBig}) {
            int calls = 0;
            for (bool hasThrown = true; hasThrown; ++calls) {
                Forgetful device((endianness == kBig ? kBigText : kText) + "more", calls);
                qzDataStream stream(device, endianness);
                hasThrown = false;
                try {
                    GetParam().run(stream);
                } catch (const std::bad_alloc&) {
                    hasThrown = true;
                }
                EXPECT_EQ(stream.isOk(), !hasThrown) << calls;
            }
            EXPECT_GE(calls, 2) << "no call of the device has failed";
        }
    }

    support::LibraryStart mLibrary;
    DeviceStub mDevice;
    qzDataStream mStream{mDevice, kLittle};
};

class qzDataStreamWriteOfANumber : public qzDataStreamOperation {};
class qzDataStreamReadOfANumber : public qzDataStreamOperation {};
class qzDataStreamWriteOfAText : public qzDataStreamOperation {};
class qzDataStreamReadOfAText : public qzDataStreamOperation {};

TEST_P(qzDataStreamWriteOfANumber, FailsAtEveryLackOfMemory)
{
    expectFailureAtEveryLackOfMemory();
}

TEST_P(qzDataStreamWriteOfANumber, FailsAtEveryByte)
{
    expectFailureAtEveryByte({}, {});
}

TEST_P(qzDataStreamWriteOfANumber, StillTriesTheDeviceAfterAnError)
{
    mStream.setError("x");
    GetParam().run(mStream);
    EXPECT_EQ(mDevice.getContent().size(), GetParam().size);
    EXPECT_FALSE(mStream.isOk()) << "a write that went well repairs nothing";
}

TEST_P(qzDataStreamWriteOfANumber, FailsWithoutADevice)
{
    qzDataStream stream;
    GetParam().run(stream);
    EXPECT_FALSE(stream.isOk());
    stream.setIoDevice(nullptr, kBig);
    EXPECT_TRUE(stream.isOk());
    GetParam().run(stream);
    EXPECT_FALSE(stream.isOk());
    EXPECT_EQ(stream.getErrorMsg(), "");
}

TEST_P(qzDataStreamReadOfANumber, FailsAtEveryLackOfMemory)
{
    expectFailureAtEveryLackOfMemory();
}

TEST_P(qzDataStreamReadOfANumber, FailsAtEveryByte)
{
    expectFailureAtEveryByte("12345678", "12345678");
}

TEST_P(qzDataStreamReadOfANumber, StillTriesTheDeviceAfterAnError)
{
    DeviceStub device("12345678");
    mStream.setIoDevice(&device, kBig);
    mStream.setError("x");
    GetParam().run(mStream);
    EXPECT_EQ(device.getCurrentPos(), static_cast<long>(GetParam().size));
    EXPECT_FALSE(mStream.isOk());
}

TEST_P(qzDataStreamReadOfANumber, FailsWithoutADevice)
{
    qzDataStream stream;
    GetParam().run(stream);
    EXPECT_FALSE(stream.isOk());
    stream.setIoDevice(nullptr, kLittle);
    GetParam().run(stream);
    EXPECT_FALSE(stream.isOk());
}

TEST_P(qzDataStreamWriteOfAText, FailsAtEveryLackOfMemory)
{
    expectFailureAtEveryLackOfMemory();
}

TEST_P(qzDataStreamWriteOfAText, FailsAtEveryByte)
{
    expectFailureAtEveryByte({}, {});
}

TEST_P(qzDataStreamWriteOfAText, DoesNothingAfterAnError)
{
    mStream.setError("x");
    GetParam().run(mStream);
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
    EXPECT_FALSE(mStream.isOk());
}

TEST_P(qzDataStreamWriteOfAText, DoesNothingWithoutADevice)
{
    qzDataStream stream;
    GetParam().run(stream);
    EXPECT_FALSE(stream.isOk());
}

TEST_P(qzDataStreamWriteOfAText, FailsOverANullDevice)
{
    qzDataStream stream(nullptr, kLittle);
    GetParam().run(stream);
    EXPECT_FALSE(stream.isOk());
}

TEST_P(qzDataStreamReadOfAText, FailsAtEveryLackOfMemory)
{
    expectFailureAtEveryLackOfMemory();
}

TEST_P(qzDataStreamReadOfAText, FailsAtEveryByte)
{
    expectFailureAtEveryByte(kText, kBigText);
}

TEST_P(qzDataStreamReadOfAText, DoesNothingAfterAnError)
{
    DeviceStub device(kText);
    mStream.setIoDevice(&device, kLittle);
    mStream.setError("x");
    GetParam().run(mStream);
    EXPECT_THAT(device.getCalls(), IsEmpty());
}

TEST_P(qzDataStreamReadOfAText, FailsOverANullDevice)
{
    qzDataStream stream(nullptr, kLittle);
    GetParam().run(stream);
    EXPECT_FALSE(stream.isOk());
}

INSTANTIATE_TEST_SUITE_P(Rows, qzDataStreamWriteOfANumber, ::testing::ValuesIn(kNumberWrites),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Rows, qzDataStreamReadOfANumber, ::testing::ValuesIn(kNumberReads),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Rows, qzDataStreamWriteOfAText, ::testing::ValuesIn(kTextWrites), nameOf);
INSTANTIATE_TEST_SUITE_P(Rows, qzDataStreamReadOfAText, ::testing::ValuesIn(kTextReads), nameOf);

}  // namespace qz
