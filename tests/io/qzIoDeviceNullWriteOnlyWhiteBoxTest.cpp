// SPDX-License-Identifier: MIT
#include "io/qzIoDeviceNullWriteOnly.h"

#include <climits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzDataStream.h>

#include "io/DeviceTestPeers.h"
#include "support/LibraryStart.h"

namespace qz {

/// Looks into the measuring device.
class qzIoDeviceNullWriteOnlyTestPeer {
public:
    static Offsets getOffsets(const qzIoDeviceNullWriteOnly& device)
    {
        return {findOffset(device, device.mPosition), findOffset(device, device.mHighWater)};
    }
    static long getHighWater(const qzIoDeviceNullWriteOnly& device) { return device.mHighWater; }
};

using ::testing::ElementsAre;

namespace {

constexpr auto kBegin = qzIoDeviceRandomAccess::SeekFromBegin;
constexpr auto kCurrent = qzIoDeviceRandomAccess::SeekFromCurrent;
constexpr auto kEnd = qzIoDeviceRandomAccess::SeekFromEnd;
constexpr auto kOutside = static_cast<qzIoDeviceRandomAccess::SeekStart>(3);

static_assert(sizeof(qzIoDeviceNullWriteOnly) == sizeof(qzIoDevice) + 16);

}  // namespace

class qzIoDeviceNullWriteOnlyTest : public ::testing::Test {
protected:
    // The bytes are never looked at.
    unsigned long write(unsigned long size) { return mDevice.writeBytes(nullptr, size); }
    long highWater() const { return qzIoDeviceNullWriteOnlyTestPeer::getHighWater(mDevice); }

    support::LibraryStart mLibrary;
    qzIoDeviceNullWriteOnly mDevice;
};

TEST_F(qzIoDeviceNullWriteOnlyTest, BeginsEmptyToWrite)
{
    EXPECT_EQ(mDevice.getSupportedDataWay(), qzIoDevice::DataWayWrite);
    EXPECT_EQ(mDevice.getCurrentPos(), 0);
    EXPECT_EQ(highWater(), 0);
    EXPECT_TRUE(mDevice.good());
}

TEST_F(qzIoDeviceNullWriteOnlyTest, KeepsPositionAndHighWaterInThisOrder)
{
    EXPECT_THAT(qzIoDeviceNullWriteOnlyTestPeer::getOffsets(mDevice), ElementsAre(48, 56));
}

TEST_F(qzIoDeviceNullWriteOnlyTest, CountsWhatIsWritten)
{
    EXPECT_EQ(write(5), 5U);
    EXPECT_EQ(write(0), 0U);
    EXPECT_EQ(write(5000000000), 5000000000U);
    EXPECT_EQ(mDevice.getCurrentPos(), 5000000005);
    EXPECT_EQ(highWater(), 5000000005);
}

TEST_F(qzIoDeviceNullWriteOnlyTest, KeepsTheHighWaterWhenWrittenOverAgain)
{
    write(10);
    mDevice.seek(2, kBegin);
    write(3);
    EXPECT_EQ(mDevice.getCurrentPos(), 5);
    EXPECT_EQ(highWater(), 10);
    write(6);
    EXPECT_EQ(highWater(), 11);
}

TEST_F(qzIoDeviceNullWriteOnlyTest, CountsInErrorToo)
{
    mDevice.setDeviceError("x");
    EXPECT_EQ(write(5), 5U);
    EXPECT_EQ(mDevice.getCurrentPos(), 5);
}

TEST_F(qzIoDeviceNullWriteOnlyTest, CannotBeReadFrom)
{
    char byte = 'x';
    EXPECT_EQ(mDevice.readBytes(&byte, 1), 0U);
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), "readBytes is not supported");
}

TEST_F(qzIoDeviceNullWriteOnlyTest, IsAlwaysAtTheEnd)
{
    EXPECT_TRUE(mDevice.atEnd());
    write(5);
    mDevice.seek(0, kBegin);
    EXPECT_TRUE(mDevice.atEnd());
}

TEST_F(qzIoDeviceNullWriteOnlyTest, MeasuresAStream)
{
    qzDataStream stream(mDevice, qzDataStream::LittleEndian);
    stream << 1 << std::string("abc") << 2.0;
    EXPECT_TRUE(stream.isOk());
    EXPECT_EQ(mDevice.getCurrentPos(), 19);
}

struct NullSeekRow {
    const char* name;
    long offset;
    qzIoDeviceRandomAccess::SeekStart start;
    long position;   // afterwards; it was 4 before
    long highWater;  // afterwards; it was 10 before
    const char* error;
};

const NullSeekRow kNullSeekRows[] = {
    {"FromBegin", 7, kBegin, 7, 10, ""},
    {"BeyondTheHighWater", 100, kBegin, 100, 100, ""},
    {"Negative", -1, kBegin, -1, 10, ""},
    {"Farthest", LONG_MAX, kBegin, LONG_MAX, LONG_MAX, ""},
    {"FromCurrent", 3, kCurrent, 7, 10, ""},
    {"BackFromCurrent", -3, kCurrent, 1, 10, ""},
    {"FromCurrentBeyond", 8, kCurrent, 12, 12, ""},
    {"FromEnd", -3, kEnd, 7, 10, ""},
    {"ToTheEnd", 0, kEnd, 10, 10, ""},
    {"FromEndBeyond", 5, kEnd, 15, 15, ""},
    {"OutsideTheEnum", 5, kOutside, 4, 10, "Unhandled seekp enum"},
};

class qzIoDeviceNullWriteOnlySeek : public qzIoDeviceNullWriteOnlyTest,
                                    public ::testing::WithParamInterface<NullSeekRow> {};

TEST_P(qzIoDeviceNullWriteOnlySeek, MovesAsItsRow)
{
    const NullSeekRow& row = GetParam();
    write(10);
    mDevice.seek(4, kBegin);
    EXPECT_EQ(mDevice.seek(row.offset, row.start), std::string(row.error).empty());
    EXPECT_EQ(mDevice.getCurrentPos(), row.position);
    EXPECT_EQ(highWater(), row.highWater);
    EXPECT_EQ(mDevice.getDeviceErrorMsg(), row.error);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzIoDeviceNullWriteOnlySeek, ::testing::ValuesIn(kNullSeekRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzIoDeviceNullWriteOnlyTest, MovesInErrorButReturnsFalse)
{
    mDevice.seek(1, kOutside);
    EXPECT_FALSE(mDevice.seek(3, kBegin));
    EXPECT_EQ(mDevice.getCurrentPos(), 3);
}

}  // namespace qz
