// SPDX-License-Identifier: MIT
#include "frame/base/FileStreamBuffer.h"

#include <cerrno>
#include <climits>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/Files.h"
#include "support/Limits.h"
#include "support/ScratchFolder.h"

namespace qz {

namespace {

constexpr auto kIn = std::ios_base::in;
constexpr auto kOut = std::ios_base::out;
constexpr auto kTruncate = std::ios_base::trunc;
constexpr auto kAppend = std::ios_base::app;
constexpr auto kAtEnd = std::ios_base::ate;
constexpr auto kSize = static_cast<std::streamsize>(FileStreamBuffer::kSize);

class FileStreamBufferTest : public ::testing::Test {
protected:
    void openOver(const std::string& content, std::ios_base::openmode mode)
    {
        mFolder.write("file", content);
        ASSERT_TRUE(mBuffer.open(mPath.c_str(), mode));
    }
    std::string onDisk() const { return mFolder.read("file"); }
    std::streamsize write(const std::string& bytes)
    {
        return mBuffer.sputn(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    std::string read(std::streamsize size)
    {
        std::string bytes(static_cast<std::size_t>(size), '?');
        bytes.resize(static_cast<std::size_t>(mBuffer.sgetn(bytes.data(), size)));
        return bytes;
    }

    support::ScratchFolder mFolder;
    const std::string mPath = mFolder.getPath("file");
    FileStreamBuffer mBuffer;
};

}  // namespace

TEST_F(FileStreamBufferTest, OpensNoMissingFileToRead)
{
    EXPECT_FALSE(mBuffer.open(mPath.c_str(), kIn));
    EXPECT_FALSE(mBuffer.isOpen());
    EXPECT_EQ(mBuffer.getError(), ENOENT);
    EXPECT_FALSE(mBuffer.close());
}

TEST_F(FileStreamBufferTest, EmptiesAFileThatItOnlyWrites)
{
    openOver("abc", kOut);
    EXPECT_EQ(onDisk(), "");
    EXPECT_EQ(read(1), "");
    EXPECT_EQ(mBuffer.getError(), 0);
}

TEST_F(FileStreamBufferTest, OpensNoPipeAtItsEnd)
{
    ASSERT_EQ(::mkfifo(mPath.c_str(), 0600), 0);
    const std::size_t descriptors = support::countOpenDescriptors();
    EXPECT_FALSE(mBuffer.open(mPath.c_str(), kIn | kOut | kAppend | kAtEnd));
    EXPECT_EQ(mBuffer.getError(), ESPIPE);
    EXPECT_EQ(support::countOpenDescriptors(), descriptors);
}

TEST_F(FileStreamBufferTest, WritesSingleBytesAndBlocks)
{
    openOver("", kOut);
    std::string expected;
    for (std::streamsize i = 0; i < kSize + 10; ++i) {
        mBuffer.sputc('a');
        expected += 'a';
    }
    EXPECT_EQ(onDisk().size(), FileStreamBuffer::kSize) << "a full buffer is written at once";
    for (const std::streamsize size : {kSize - 11, kSize - 1, kSize, kSize + 1}) {
        const std::string block(static_cast<std::size_t>(size), 'b');
        EXPECT_EQ(write(block), size);
        expected += block;
    }
    EXPECT_TRUE(mBuffer.close());
    EXPECT_EQ(onDisk(), expected);
}

TEST_F(FileStreamBufferTest, WritesASmallBlockWithNoCallWhileThereIsSpace)
{
    openOver("", kOut);
    EXPECT_FALSE(mBuffer.tryWrite("a", 1)) << "no byte was written yet";
    write("a");
    const std::string rest(FileStreamBuffer::kSize - 1, 'b');
    EXPECT_TRUE(mBuffer.tryWrite(rest.data(), rest.size()));
    EXPECT_FALSE(mBuffer.tryWrite("c", 1));
    EXPECT_EQ(onDisk(), "");
    EXPECT_EQ(mBuffer.pubsync(), 0);
    EXPECT_EQ(onDisk(), "a" + rest);
}

TEST_F(FileStreamBufferTest, ReadsOnlyWhatIsBufferedWithoutACall)
{
    openOver("abcdef", kIn);
    char bytes[6];
    EXPECT_FALSE(mBuffer.tryRead(bytes, 1));
    EXPECT_EQ(mBuffer.sbumpc(), 'a');
    EXPECT_FALSE(mBuffer.tryRead(bytes, 6));
    EXPECT_TRUE(mBuffer.tryRead(bytes, 5));
    EXPECT_EQ(std::string(bytes, 5), "bcdef");
}

TEST_F(FileStreamBufferTest, ReadsAndWritesInTurnWithoutASeek)
{
    openOver("abcdefgh", kIn | kOut);
    EXPECT_EQ(read(2), "ab");
    EXPECT_EQ(write("CD"), 2);
    EXPECT_EQ(read(2), "ef");
    EXPECT_EQ(write("GH"), 2);
    EXPECT_EQ(mBuffer.pubseekoff(0, std::ios_base::cur), 8);
    EXPECT_TRUE(mBuffer.close());
    EXPECT_EQ(onDisk(), "abCDefGH");
}

TEST_F(FileStreamBufferTest, RefusesAMoveBeyondAllNumbers)
{
    openOver("abc", kIn);
    EXPECT_EQ(mBuffer.sbumpc(), 'a');
    EXPECT_EQ(mBuffer.pubseekoff(LONG_MIN, std::ios_base::cur), -1);
    EXPECT_EQ(mBuffer.getError(), EOVERFLOW);
    EXPECT_EQ(mBuffer.sbumpc(), 'b');
}

TEST_F(FileStreamBufferTest, HasNoEndToSeekFromInAFolder)
{
    ASSERT_TRUE(mBuffer.open(mFolder.getPath().c_str(), kIn));
    EXPECT_EQ(mBuffer.pubseekoff(0, std::ios_base::end), -1);
    EXPECT_EQ(mBuffer.getError(), EISDIR);
}

TEST_F(FileStreamBufferTest, ThrowsAReadError)
{
    ASSERT_TRUE(mBuffer.open(mFolder.getPath().c_str(), kIn));
    EXPECT_THROW(mBuffer.sgetc(), std::ios_base::failure);
    EXPECT_THROW(read(100000), std::ios_base::failure);
    EXPECT_EQ(mBuffer.getError(), EISDIR);
}

TEST_F(FileStreamBufferTest, ThrowsFromAReadThatCannotWriteWhatIsBuffered)
{
    openOver("", kIn | kOut);
    const support::FileSizeLimit limit(0);
    write("abc");
    EXPECT_THROW(mBuffer.sgetc(), std::ios_base::failure);
    EXPECT_EQ(mBuffer.getError(), EFBIG);
}

TEST_F(FileStreamBufferTest, KeepsTheFirstErrorUntilTheNextOpen)
{
    ASSERT_TRUE(mBuffer.open("/dev/full", kOut | kIn));
    write("abc");
    EXPECT_EQ(mBuffer.pubsync(), -1);
    EXPECT_EQ(mBuffer.getError(), ENOSPC);
    EXPECT_FALSE(mBuffer.close());
    EXPECT_EQ(mBuffer.getError(), ENOSPC);
    openOver("", kIn);
    EXPECT_EQ(mBuffer.getError(), 0);
}

TEST_F(FileStreamBufferTest, WritesOnlyTheRestAfterAShortFlush)
{
    openOver("", kOut | kTruncate);
    write("abcdef");
    {
        const support::FileSizeLimit limit(2);
        EXPECT_EQ(mBuffer.pubsync(), -1);
    }
    EXPECT_EQ(onDisk(), "ab");
    EXPECT_EQ(mBuffer.pubsync(), 0);
    EXPECT_EQ(onDisk(), "abcdef");
}

TEST_F(FileStreamBufferTest, WritesNothingOfALargeBlockWhileWhatIsBufferedCannotBeWritten)
{
    openOver("", kOut);
    write("abc");
    {
        const support::FileSizeLimit limit(1);
        EXPECT_EQ(write(std::string(FileStreamBuffer::kSize, 'x')), 0);
    }
    EXPECT_TRUE(mBuffer.close());
    EXPECT_EQ(onDisk(), "abc");
}

TEST_F(FileStreamBufferTest, FailsTheStreamWhoseFileCannotBeOpenedOrClosed)
{
    FileStream stream;
    EXPECT_TRUE(stream.good());
    EXPECT_FALSE(stream.open(mPath.c_str(), kIn));
    EXPECT_TRUE(stream.fail());
    EXPECT_FALSE(stream.bad());
    stream.clear();
    EXPECT_FALSE(stream.close());
    EXPECT_TRUE(stream.fail());
}

}  // namespace qz
