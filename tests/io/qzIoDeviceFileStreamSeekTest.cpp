// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceFileStream.h>

#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "io/FileDeviceFixture.h"

namespace qz {

struct SeekRow {
    const char* name;
    qzIoDevice::DataWay way;
    long offset;
    int start;
    bool result;
    long position;      // afterwards; it was 2 of 6 before
    const char* error;  // empty for none
    const char* read;   // what a read gives then, where the way allows one
};

constexpr auto kReadWay = qzIoDevice::DataWayRead;
constexpr auto kBothWay = qzIoDevice::DataWayReadWrite;
const char* const kPutError = "std sub stream is in error after a seekp";

const SeekRow kSeekRows[] = {
    {"ReadFromBegin", kReadWay, 4, 0, true, 4, "", "ef"},
    {"ReadFromCurrent", kReadWay, 1, 1, true, 3, "", "def"},
    {"ReadBackFromCurrent", kReadWay, -2, 1, true, 0, "", "abcdef"},
    {"ReadNowhere", kReadWay, 0, 1, true, 2, "", "cdef"},
    {"ReadFromEnd", kReadWay, -1, 2, true, 5, "", "f"},
    {"ReadToTheEnd", kReadWay, 0, 2, true, 6, "", ""},
    {"ReadBeyondTheEnd", kReadWay, 10, 2, true, 16, "", ""},
    {"ReadAheadOfTheBegin", kReadWay, -1, 0, true, -1, "", ""},
    {"ReadOutsideTheEnum", kReadWay, 4, 3, true, -1, "", ""},
    {"BothFromBegin", kBothWay, 4, 0, true, 4, "", "ef"},
    {"BothFromCurrent", kBothWay, 1, 1, true, 3, "", "def"},
    {"BothBackFromCurrent", kBothWay, -2, 1, true, 0, "", "abcdef"},
    {"BothFromEnd", kBothWay, -1, 2, true, 5, "", "f"},
    {"BothToTheEnd", kBothWay, 0, 2, true, 6, "", ""},
    {"BothBeyondTheEnd", kBothWay, 10, 2, true, 16, "", ""},
    {"BothAheadOfTheBegin", kBothWay, -1, 0, false, -1, kPutError, ""},
    {"BothOutsideTheEnum", kBothWay, 4, 3, true, 2, "", "cdef"},
    {"BothNegativeEnum", kBothWay, 4, -1, true, 2, "", "cdef"},
};

class qzIoDeviceFileStreamSeek : public FileDeviceFixture,
                                 public ::testing::WithParamInterface<SeekRow> {};

TEST_P(qzIoDeviceFileStreamSeek, MovesAsItsRow)
{
    openOver("abcdef", GetParam().way);
    read(2);
    const auto start = static_cast<qzIoDeviceRandomAccess::SeekStart>(GetParam().start);
    EXPECT_EQ(mDevice.seek(GetParam().offset, start), GetParam().result);
    EXPECT_EQ(mDevice.getCurrentPos(), GetParam().position);
    EXPECT_EQ(error(), GetParam().error);
    EXPECT_EQ(read(100), GetParam().read);
}

TEST_P(qzIoDeviceFileStreamSeek, MovesFromTheEndStateToo)
{
    openOver("abcdef", GetParam().way);
    read(2);
    const auto start = static_cast<qzIoDeviceRandomAccess::SeekStart>(GetParam().start);
    if (start == kCurrent) mDevice.seek(-4, kEnd);
    if (start != kCurrent) read(100);
    EXPECT_EQ(mDevice.seek(GetParam().offset, start), GetParam().result);
    EXPECT_EQ(error(), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzIoDeviceFileStreamSeek, ::testing::ValuesIn(kSeekRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzIoDeviceFileStreamTest, RecoversFromAnImpossibleMoveByTheNextOne)
{
    openOver("abc", kRead);
    mDevice.seek(-1, kBegin);
    EXPECT_TRUE(mDevice.seek(1, kBegin));
    EXPECT_EQ(read(9), "bc");
}

TEST_F(qzIoDeviceFileStreamTest, RecoversFromAnImpossibleMoveOnceTheErrorIsCleared)
{
    openOver("abc", kBoth);
    EXPECT_FALSE(mDevice.seek(-1, kBegin));
    mDevice.clearDeviceError();
    EXPECT_TRUE(mDevice.seek(1, kBegin));
    EXPECT_EQ(read(9), "bc");
}

TEST_F(qzIoDeviceFileStreamTest, StaysBrokenByAnImpossibleMoveWhereItOnlyWrites)
{
    mDevice.open(mPath, kWrite, true);
    EXPECT_FALSE(mDevice.seek(-1, kBegin));
    EXPECT_EQ(error(), kPutError);
    mDevice.clearDeviceError();
    EXPECT_FALSE(mDevice.seek(0, kBegin)) << "only a way that reads too resets the stream's state";
}

TEST_F(qzIoDeviceFileStreamTest, MovesWhereItOnlyWrites)
{
    mDevice.open(mPath, kWrite, true);
    write("abcdef");
    EXPECT_TRUE(mDevice.seek(-4, kEnd));
    EXPECT_EQ(mDevice.getCurrentPos(), 2);
    write("X");
    EXPECT_TRUE(mDevice.seek(1, kCurrent));
    EXPECT_EQ(mDevice.getCurrentPos(), 4);
    write("Y");
    EXPECT_TRUE(mDevice.seek(7, kOutside));
    EXPECT_EQ(mDevice.getCurrentPos(), 5);
    mDevice.close();
    EXPECT_EQ(onDisk(), "abXdYf");
}

TEST_F(qzIoDeviceFileStreamTest, FillsTheGapOfASeekBeyondTheEndWithZeros)
{
    openOver("ab", kBoth);
    EXPECT_TRUE(mDevice.seek(4, kBegin));
    write("c");
    mDevice.close();
    EXPECT_EQ(onDisk(), std::string("ab\0\0c", 5));
}

TEST_F(qzIoDeviceFileStreamTest, MovesInErrorButReturnsFalse)
{
    openOver("abc", kRead);
    mDevice.setDeviceError("x");
    EXPECT_FALSE(mDevice.seek(2, kBegin));
    EXPECT_EQ(mDevice.getCurrentPos(), 2);
    EXPECT_EQ(error(), "x");
}

TEST_F(qzIoDeviceFileStreamTest, CannotMoveWhileClosed)
{
    EXPECT_FALSE(mDevice.seek(0, kBegin));
    EXPECT_EQ(error(), "File is not open");
    EXPECT_EQ(mDevice.getCurrentPos(), 0);
}

TEST_F(qzIoDeviceFileStreamTest, MovesNothingWithoutAWay)
{
    openOver("abc", kRead);
    read(1);
    mDevice.changeSupportedDataWay(kNone);
    EXPECT_TRUE(mDevice.seek(0, kBegin));
    EXPECT_EQ(mDevice.getCurrentPos(), 1);
    mDevice.setDeviceError("x");
    EXPECT_FALSE(mDevice.seek(0, kBegin));
    EXPECT_EQ(mDevice.getCurrentPos(), 1);
}

TEST_F(qzIoDeviceFileStreamTest, WritesAndReadsBeyond4GiB)
{
    constexpr long kFar = 5L * 1024 * 1024 * 1024 + 3;
    openOver("", kBoth);
    EXPECT_TRUE(mDevice.seek(kFar, kBegin));
    EXPECT_EQ(mDevice.getCurrentPos(), kFar);
    EXPECT_EQ(write("far"), 3U);
    EXPECT_EQ(mDevice.getCurrentPos(), kFar + 3);
    EXPECT_TRUE(mDevice.seek(-3, kCurrent));
    EXPECT_EQ(read(10), "far");
    EXPECT_TRUE(mDevice.seek(-4, kEnd));
    EXPECT_EQ(mDevice.getCurrentPos(), kFar - 1);
    EXPECT_EQ(read(10), std::string("\0far", 4));
    mDevice.close();
    struct stat status = {};
    ASSERT_EQ(::stat(mPath.c_str(), &status), 0);
    EXPECT_EQ(status.st_size, kFar + 3);
}

TEST_F(qzIoDeviceFileStreamTest, ReadsBeyond4GiBWhereItOnlyReads)
{
    constexpr long kFar = 5L * 1024 * 1024 * 1024;
    mFolder.write("file", "");
    ASSERT_EQ(::truncate(mPath.c_str(), kFar), 0);
    ASSERT_TRUE(mDevice.open(mPath, kRead, false));
    EXPECT_TRUE(mDevice.seek(-2, kEnd));
    EXPECT_EQ(mDevice.getCurrentPos(), kFar - 2);
    EXPECT_EQ(read(10), std::string(2, '\0'));
    EXPECT_EQ(mDevice.getCurrentPos(), kFar);
}

}  // namespace qz
