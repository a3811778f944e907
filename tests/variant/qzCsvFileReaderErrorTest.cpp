// SPDX-License-Identifier: MIT
#include <qz/qzCsvFileReader.h>

#include <iostream>
#include <streambuf>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CancelledThread.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz {

namespace {

const std::string kHeaderTooLong =
    "Header cell size during parsing exceed max size of 65535 characters";

}  // namespace

/// Looks into a reader.
class qzCsvFileReaderTestPeer {
public:
    /// Puts a buffer of the test in the place of the open file, whose exceptions pass through.
    static void replaceBuffer(qzCsvFileReader& reader, std::streambuf* buffer)
    {
        // The stream's class is private; its standard base is its first part.
        auto& stream = *reinterpret_cast<std::iostream*>(reader.mInput.get());
        stream.std::ios::rdbuf(buffer);
        stream.exceptions(std::ios::badbit);
    }
    static std::size_t getCellCapacity(const qzCsvFileReader& reader)
    {
        return reader.mCell.capacity();
    }
    static std::size_t getRowCapacity(const qzCsvFileReader& reader)
    {
        return reader.mRowBytes.capacity();
    }
    static std::size_t getSizesCapacity(const qzCsvFileReader& reader)
    {
        return reader.mCellSizes.capacity();
    }
};

class qzCsvFileReaderErrorTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary;
    support::ScratchFolder mFolder;
    qzCsvFileReader mReader{false};
    bool mIsFinished = false;
};

TEST_F(qzCsvFileReaderErrorTest, LetsACancelledThreadEndInTheMiddleOfARead)
{
    mReader.setFileName(mFolder.write("a.csv", "1,2\n"));
    const auto child = support::runInChild([&] {
        return support::endsByCancellation([&] { mReader.parseFirst(mIsFinished, 10); }) ? 0 : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 0") << child.err;
}

TEST_F(qzCsvFileReaderErrorTest, StaysUnderANameThatOpensUntilParsingStarts)
{
    mReader.setFileName(mFolder.getPath("missing.csv"));
    mReader.setFileName(mFolder.write("a.csv", "x\n"));
    EXPECT_EQ(mReader.getLastError(), "Failed to open the file");
    EXPECT_TRUE(mReader.startParsing());
    EXPECT_EQ(mReader.getLastError(), "");
}

TEST_F(qzCsvFileReaderErrorTest, StaysWhenALaterReadSucceeds)
{
    ASSERT_FALSE(mReader.parseNext(mIsFinished, /*clearTable=*/true, 1));
    EXPECT_EQ(mReader.getLastError(), kHeaderTooLong) << "without a file";
    mReader.setFileName(mFolder.write("a.csv", "x\n"));
    EXPECT_TRUE(mReader.parseNext(mIsFinished, /*clearTable=*/true, 1));
    EXPECT_TRUE(mIsFinished) << "as parsing has not started";
    EXPECT_EQ(mReader.getLastError(), kHeaderTooLong);
}

TEST_F(qzCsvFileReaderErrorTest, IsUnknownForWhatIsNoStandardException)
{
    class Thrower : public std::streambuf {
        std::streamsize xsgetn(char* /*dst*/, std::streamsize /*size*/) override { throw 1; }
    };
    Thrower buffer;
    mReader.setFileName(mFolder.write("a.csv", "x\n"));
    ASSERT_TRUE(mReader.startParsing());
    qzCsvFileReaderTestPeer::replaceBuffer(mReader, &buffer);
    EXPECT_FALSE(mReader.parseNext(mIsFinished, /*clearTable=*/true, 1));
    EXPECT_EQ(mReader.getLastError(), "Unknown error");
}

TEST_F(qzCsvFileReaderErrorTest, OfMemoryIsPreventedByWhatIsReservedAtConstruction)
{
    using Peer = qzCsvFileReaderTestPeer;
    EXPECT_GE(Peer::getCellCapacity(mReader), 1024U);
    EXPECT_GE(Peer::getRowCapacity(mReader), 131072U);
    EXPECT_GE(Peer::getSizesCapacity(mReader), 128U);
}

}  // namespace qz
