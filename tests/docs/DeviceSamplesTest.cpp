// SPDX-License-Identifier: MIT
// The samples in the headers for devices, files and tables, and those of the guides that are parts
// of functions.

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/SystemError.h>
#include <qz/qzCsvFileReader.h>
#include <qz/qzCsvStream.h>
#include <qz/qzDataStream.h>
#include <qz/qzDirUtils.h>
#include <qz/qzIniFile.h>
#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceByteSniffer.h>
#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzIoDeviceKeepLastBytes.h>
#include <qz/qzIoDeviceWriteStreamModifier.h>
#include <qz/qzLogObject.h>

#include "docs/SampleTest.h"
#include "support/DeviceStub.h"
#include "support/Environment.h"
#include "support/LogCapture.h"

namespace qz::docs {

namespace {

using ::testing::ElementsAre;
using DeviceSampleTest = SampleTest;

TEST_F(DeviceSampleTest, FileStreamWritesALine)
{
#include "samples/qzIoDeviceFileStream.1.inc"
    EXPECT_EQ(mFolder.read("notes.txt"), "first line\n");
}

TEST_F(DeviceSampleTest, CounterCounts)
{
    support::DeviceStub file;
#include "samples/qzIoDeviceByteCounter.1.inc"
    EXPECT_EQ(size, 9U);
    EXPECT_EQ(file.getContent(), "some text");
}

TEST_F(DeviceSampleTest, FiltersCountAndCopy)
{
    support::DeviceStub file;
    support::DeviceStub secondFile;
    const char* data = "text";
    const unsigned long size = 4;
#include "samples/count-and-copy.inc"
    EXPECT_EQ(counter.getWrittenBytes(), 4U);
    EXPECT_EQ(file.getContent(), "text");
    EXPECT_EQ(secondFile.getContent(), "text");
}

std::string checksumOf(const support::DeviceStub& device)
{
    return device.getContent().substr(0, 4);
}

TEST_F(DeviceSampleTest, LastBytesAreAChecksum)
{
    support::DeviceStub file("a text and its suma te");
    file.seek(0, qzIoDeviceRandomAccess::SeekFromBegin);
    support::DeviceStub copy;
#include "samples/qzIoDeviceKeepLastBytes.1.inc"
    EXPECT_EQ(copy.getContent(), "a text and its sum");
    EXPECT_TRUE(isIntact);
}

// Delivers the bytes with a star before each.
class Decoder : public qzIoDeviceDelegable {
public:
    Decoder() : qzIoDeviceDelegable(DataWayRead, 0x320) {}
    unsigned long readBytes(char* dst, unsigned long size) override
    {
        unsigned long count = 0;
        while (count + 2 <= size && getDelegate()->readBytes(dst + count + 1, 1) == 1) {
            dst[count] = '*';
            count += 2;
        }
        return count;
    }
    unsigned long writeBytes(const char*, unsigned long) override { return refuseWrite(); }

protected:
    bool beginDelegationImpl() override { return true; }
    bool endDelegationImpl() override { return true; }
    void clearDelegationImpl() override {}
};

TEST_F(DeviceSampleTest, ModifierWritesThroughADecoder)
{
    support::DeviceStub file;
    const char* data = "ab";
    const unsigned long size = 2;
#include "samples/qzIoDeviceWriteStreamModifier.1.inc"
    EXPECT_EQ(file.getContent(), "*a*b");
}

TEST_F(DeviceSampleTest, DataStreamWritesThreeValues)
{
    {
#include "samples/qzDataStream.1.inc"
    } EXPECT_EQ(std::filesystem::file_size("score.bin"), 4U + 6 + 4 + 8);
}

TEST_F(DeviceSampleTest, TableQuotesAComma)
{
    support::DeviceStub file;
#include "samples/qzCsvStream.1.inc"
    EXPECT_EQ(file.getContent(), "name,\"a, b\"");
}

TEST_F(DeviceSampleTest, CheckedTableIsOnTheDisk)
{
    const std::string path = mFolder.getPath("table.csv");
#include "samples/checked-table.inc"
    EXPECT_TRUE(isWritten);
}

// What the reader's sample does: the number of rows, and the errors.
struct Measurements {
    std::size_t rows = 0;
    std::string errors;

    void report(const std::string& error) { errors += error; }
    void process(const std::vector<qzCsvFileReader::Row>& table) { rows += table.size(); }
    void read()
    {
#include "samples/qzCsvFileReader.1.inc"
    }
};

TEST_F(DeviceSampleTest, ReaderProcessesAllRows)
{
    Measurements missing;
    missing.read();
    EXPECT_NE(missing.errors, "");
    std::string text;
    for (int i = 0; i < 2500; ++i)
        text += std::to_string(i) + ",x\n";
    mFolder.write("measurements.csv", text);
    Measurements measurements;
    measurements.read();
    EXPECT_EQ(measurements.rows, 2500U);
    EXPECT_EQ(measurements.errors, "");
}

TEST_F(DeviceSampleTest, IniFileIsChangedAndSaved)
{
    mFolder.write("app.ini", "name=north\n");
#include "samples/qzIniFile.1.inc"
    EXPECT_EQ(mFolder.read("app.ini"), "[General]\nname=north\nwindow=1\n");
}

TEST_F(DeviceSampleTest, TableIsCopiedToTheTemporaryFolder)
{
    const support::EnvironmentVariable temporary("TMPDIR", mFolder.getPath());
    mFolder.write("table.csv", "1,2\n");
#include "samples/qzDirUtils.1.inc"
    EXPECT_EQ(mFolder.read("report/table.csv"), "1,2\n");
}

TEST_F(DeviceSampleTest, ErrorOfTheSystemIsReported)
{
    const support::LogCapture log;
    const char* const path = "none";
#include "samples/SystemError.1.inc"
    EXPECT_THAT(log.getMessages(),
                ElementsAre("Not removed: System error : '(2) ENOENT No such file or directory'"));
}

}  // namespace

}  // namespace qz::docs
