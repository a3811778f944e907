// SPDX-License-Identifier: MIT
#include "io/qzIoDeviceByteContainerReadOnly.h"

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzDataStream.h>

#include "support/DeviceStub.h"
#include "support/LibraryStart.h"

namespace qz {

namespace {

constexpr auto kBegin = qzIoDeviceRandomAccess::SeekFromBegin;
constexpr auto kCurrent = qzIoDeviceRandomAccess::SeekFromCurrent;
constexpr auto kEnd = qzIoDeviceRandomAccess::SeekFromEnd;
constexpr auto kOutside = static_cast<qzIoDeviceRandomAccess::SeekStart>(3);

static_assert(sizeof(qzIoDeviceByteContainerReadOnly) == sizeof(qzIoDevice) + 24);

}  // namespace

class qzIoDeviceByteContainerReadOnlyTest : public ::testing::Test {
protected:
    std::string read(unsigned long size)
    {
        std::string bytes(size, '?');
        bytes.resize(mDevice.readBytes(bytes.data(), size));
        return bytes;
    }

    support::LibraryStart mLibrary;
    std::string mBytes = std::string("ab\0def", 6);
    qzIoDeviceByteContainerReadOnly mDevice{mBytes.data(), mBytes.size()};
};

TEST_F(qzIoDeviceByteContainerReadOnlyTest, BeginsAtTheFirstByteToRead)
{
    EXPECT_EQ(mDevice.getSupportedDataWay(), qzIoDevice::DataWayRead);
    EXPECT_EQ(mDevice.getCurrentPos(), 0);
    EXPECT_FALSE(mDevice.atEnd());
    EXPECT_TRUE(mDevice.good());
}

TEST_F(qzIoDeviceByteContainerReadOnlyTest, KeepsDataSizeAndPositionInThisOrder)
{
    read(2);
    unsigned long fields[3];
    std::memcpy(fields, reinterpret_cast<const char*>(&mDevice) + sizeof(qzIoDevice),
                sizeof fields);
    EXPECT_EQ(fields[0], reinterpret_cast<unsigned long>(mBytes.data()));
    EXPECT_EQ(fields[1], 6U);
    EXPECT_EQ(fields[2], 2U);
}

TEST_F(qzIoDeviceByteContainerReadOnlyTest, ReadsInPieces)
{
    EXPECT_EQ(read(3), std::string("ab\0", 3));
    EXPECT_EQ(mDevice.getCurrentPos(), 3);
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(read(100), "def");
    EXPECT_EQ(mDevice.getCurrentPos(), 6);
    EXPECT_TRUE(mDevice.atEnd());
    EXPECT_EQ(read(100), "");
    EXPECT_TRUE(mDevice.good());
}

TEST_F(qzIoDeviceByteContainerReadOnlyTest, ReadsTheBytesAsTheyAreNow)
{
    mBytes[0] = 'X';
    EXPECT_EQ(read(1), "X");
}

TEST_F(qzIoDeviceByteContainerReadOnlyTest, ReadsOnInError)
{
    mDevice.setDeviceError("x");
    EXPECT_EQ(read(2), "ab");
}

TEST_F(qzIoDeviceByteContainerReadOnlyTest, IsAtTheEndWithoutBytes)
{
    qzIoDeviceByteContainerReadOnly device(nullptr, 0);
    char byte = 'x';
    EXPECT_TRUE(device.atEnd());
    EXPECT_EQ(device.readBytes(&byte, 1), 0U);
    EXPECT_EQ(device.readBytes(nullptr, 0), 0U);
    EXPECT_TRUE(device.seek(0, kEnd));
    std::vector<char> content(3);
    EXPECT_TRUE(device.loadFullFileContent(content));
    EXPECT_TRUE(content.empty());
}

TEST_F(qzIoDeviceByteContainerReadOnlyTest, CannotBeWrittenTo)
{
    EXPECT_EQ(mDevice.writeBytes("x", 1), 0U);
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), "Write is not supported");
    EXPECT_EQ(mBytes[0], 'a');
}

TEST_F(qzIoDeviceByteContainerReadOnlyTest, GivesItsBytesToTheBaseClassAndToStreams)
{
    std::vector<char> content;
    read(2);
    EXPECT_TRUE(mDevice.loadFullFileContent(content));
    EXPECT_EQ(std::string(content.begin(), content.end()), mBytes);
    EXPECT_EQ(mDevice.getCurrentPos(), 2);
    support::DeviceStub destination;
    EXPECT_TRUE(mDevice.writeBackToDevice(destination, nullptr, nullptr));
    EXPECT_EQ(destination.getContent(), mBytes.substr(2));
    int value = 0;
    mDevice.seek(2, kBegin);
    qzDataStream(mDevice, qzDataStream::BigEndian) >> value;
    EXPECT_EQ(value, 0x00646566);
}

struct ContainerSeekRow {
    const char* name;
    long offset;
    qzIoDeviceRandomAccess::SeekStart start;
    long position;  // afterwards; it was 2 of 6 before
    const char* error;
};

const char* const kNegative = "seek offset is negative";
const char* const kBeyond = "seek offset is bigger than buffer";

const ContainerSeekRow kContainerSeekRows[] = {
    {"FromBegin", 4, kBegin, 4, ""},
    {"ToTheBegin", 0, kBegin, 0, ""},
    {"ToTheSize", 6, kBegin, 6, ""},
    {"BeyondTheSize", 7, kBegin, 6, kBeyond},
    {"FarBeyond", LONG_MAX, kBegin, 6, kBeyond},
    {"Negative", -1, kBegin, 0, kNegative},
    {"FarNegative", LONG_MIN, kBegin, 0, kNegative},
    {"FromCurrent", 3, kCurrent, 5, ""},
    {"BackFromCurrent", -2, kCurrent, 0, ""},
    {"TooFarBackFromCurrent", -3, kCurrent, 0, kNegative},
    {"TooFarFromCurrent", 5, kCurrent, 6, kBeyond},
    {"FarBeyondFromCurrent", LONG_MAX, kCurrent, 6, kBeyond},
    {"FarNegativeFromCurrent", LONG_MIN, kCurrent, 0, kNegative},
    {"FromEnd", -1, kEnd, 5, ""},
    {"ToTheEnd", 0, kEnd, 6, ""},
    {"TooFarFromEnd", 1, kEnd, 6, kBeyond},
    {"FarBeyondFromEnd", LONG_MAX, kEnd, 6, kBeyond},
    {"TooFarBackFromEnd", -7, kEnd, 0, kNegative},
    {"OutsideTheEnum", 4, kOutside, 2, "seek unhandled enum"},
    {"NegativeEnum", 4, static_cast<qzIoDeviceRandomAccess::SeekStart>(-1), 2,
     "seek unhandled enum"},
};

class qzIoDeviceByteContainerReadOnlySeek : public qzIoDeviceByteContainerReadOnlyTest,
                                            public ::testing::WithParamInterface<ContainerSeekRow> {
};

TEST_P(qzIoDeviceByteContainerReadOnlySeek, MovesAsItsRow)
{
    const ContainerSeekRow& row = GetParam();
    read(2);
    EXPECT_EQ(mDevice.seek(row.offset, row.start), std::string(row.error).empty());
    EXPECT_EQ(mDevice.getCurrentPos(), row.position);
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), row.error);
    EXPECT_EQ(mDevice.atEnd(), row.position == 6);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzIoDeviceByteContainerReadOnlySeek,
                         ::testing::ValuesIn(kContainerSeekRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzIoDeviceByteContainerReadOnlyTest, MovesInErrorButReturnsFalse)
{
    mDevice.seek(-1, kBegin);
    EXPECT_FALSE(mDevice.seek(3, kBegin));
    EXPECT_EQ(mDevice.getCurrentPos(), 3);
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), kNegative);
}

}  // namespace qz
