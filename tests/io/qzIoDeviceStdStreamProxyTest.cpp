// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceStdStreamProxy.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/CancelledThread.h"
#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz {

namespace {

constexpr auto kBegin = qzIoDeviceRandomAccess::SeekFromBegin;
constexpr auto kCurrent = qzIoDeviceRandomAccess::SeekFromCurrent;
constexpr auto kEnd = qzIoDeviceRandomAccess::SeekFromEnd;
constexpr auto kOutside = static_cast<qzIoDeviceRandomAccess::SeekStart>(3);
constexpr auto kNegative = static_cast<qzIoDeviceRandomAccess::SeekStart>(-1);

const char* const kReadError = "std sub stream is in error after a read : istream bad bit is set";
const char* const kWriteError =
    "std sub stream is in error after a write : ostream fail and/or bad bit is set";

}  // namespace

class qzIoDeviceStdStreamProxyTest : public ::testing::Test {
protected:
    std::string read(unsigned long size)
    {
        std::string bytes(size, '?');
        bytes.resize(mInput.readBytes(bytes.data(), size));
        return bytes;
    }
    unsigned long write(const std::string& bytes)
    {
        return mOutput.writeBytes(bytes.data(), bytes.size());
    }

    support::LibraryStart mLibrary;
    std::istringstream mSource{"abcdef"};
    std::ostringstream mSink;
    qzIoDeviceStdStreamProxy mInput{&mSource};
    qzIoDeviceStdStreamProxy mOutput{&mSink};
};

TEST_F(qzIoDeviceStdStreamProxyTest, ReadsFromTheStream)
{
    EXPECT_EQ(read(2), "ab");
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(read(3), "cde");
    EXPECT_TRUE(mInput.good());
    EXPECT_TRUE(mSource.good());
}

TEST_F(qzIoDeviceStdStreamProxyTest, ReadsFromWhereTheStreamIs)
{
    mSource.get();
    EXPECT_EQ(read(2), "bc");
    EXPECT_EQ(mSource.get(), 'd');
}

TEST_F(qzIoDeviceStdStreamProxyTest, GivesAShortCountAtTheEndWithoutAnError)
{
    EXPECT_EQ(read(10), "abcdef");
    EXPECT_TRUE(mInput.good());
    EXPECT_EQ(mSource.rdstate(), std::ios::eofbit) << "a short read at the end is no failure";
    EXPECT_TRUE(mInput.atEnd());
}

TEST_F(qzIoDeviceStdStreamProxyTest, GivesNothingAfterTheEndWithoutAnError)
{
    read(10);
    EXPECT_EQ(read(10), "");
    EXPECT_TRUE(mInput.good());
    EXPECT_EQ(mSource.rdstate(), std::ios::eofbit | std::ios::failbit);
}

TEST_F(qzIoDeviceStdStreamProxyTest, MarksTheEndInAStreamThatHadFailedBefore)
{
    mSource.setstate(std::ios::failbit);
    EXPECT_EQ(read(3), "");
    EXPECT_TRUE(mInput.good());
    EXPECT_EQ(mSource.rdstate(), std::ios::eofbit | std::ios::failbit);
}

TEST_F(qzIoDeviceStdStreamProxyTest, LeavesTheStateOfAFailedStreamToAReadOfNothing)
{
    mSource.setstate(std::ios::failbit);
    EXPECT_EQ(read(0), "");
    EXPECT_TRUE(mInput.good());
    EXPECT_EQ(mSource.rdstate(), std::ios::failbit) << "no end was met";
}

namespace {

// Does something when its bytes are moved.
class MeddlingBuffer : public std::stringbuf {
public:
    explicit MeddlingBuffer(std::function<void()> meddle)
        : std::stringbuf("abcdef"), mMeddle(std::move(meddle))
    {
    }

protected:
    std::streamsize xsgetn(char* dst, std::streamsize size) override
    {
        mMeddle();
        return std::stringbuf::xsgetn(dst, size);
    }
    std::streamsize xsputn(const char* src, std::streamsize size) override
    {
        mMeddle();
        return std::stringbuf::xsputn(src, size);
    }
    int_type underflow() override
    {
        mMeddle();
        return std::stringbuf::underflow();
    }
    pos_type seekoff(off_type offset, std::ios_base::seekdir start,
                     std::ios_base::openmode which) override
    {
        mMeddle();
        return std::stringbuf::seekoff(offset, start, which);
    }

private:
    std::function<void()> mMeddle;
};

}  // namespace

TEST_F(qzIoDeviceStdStreamProxyTest, GivesNothingOfAReadThatLeavesTheStreamBad)
{
    MeddlingBuffer buffer([this] { mSource.setstate(std::ios::badbit); });
    mSource.std::ios::rdbuf(&buffer);
    EXPECT_EQ(read(3), "");
    EXPECT_EQ(mInput.getDeviceErrorMsg(), kReadError);
}

TEST_F(qzIoDeviceStdStreamProxyTest, GivesNothingOfAWriteThatBreaksTheDevice)
{
    MeddlingBuffer buffer([this] { mOutput.setDeviceError("x"); });
    mSink.std::ios::rdbuf(&buffer);
    EXPECT_EQ(write("ab"), 0U);
    EXPECT_TRUE(mSink.good());
    EXPECT_EQ(mOutput.getDeviceErrorMsg(), "x");
}

TEST_F(qzIoDeviceStdStreamProxyTest, FailsToReadFromABadStream)
{
    mSource.setstate(std::ios::badbit);
    EXPECT_EQ(read(3), "");
    EXPECT_EQ(mInput.getDeviceErrorMsg(), kReadError);
}

TEST_F(qzIoDeviceStdStreamProxyTest, ReadsNothingInError)
{
    mInput.setDeviceError("x");
    EXPECT_EQ(read(3), "");
    EXPECT_EQ(mSource.tellg(), 0);
}

TEST_F(qzIoDeviceStdStreamProxyTest, ReadsZeroBytesInTheContent)
{
    const std::string content("a\0b", 3);
    mSource.str(content);
    EXPECT_EQ(read(3), content);
}

TEST_F(qzIoDeviceStdStreamProxyTest, WritesToTheStream)
{
    EXPECT_EQ(write("ab"), 2U);
    EXPECT_EQ(write(""), 0U);
    EXPECT_EQ(write(std::string("\0c", 2)), 2U);
    EXPECT_EQ(mSink.str(), std::string("ab\0c", 4));
    EXPECT_TRUE(mOutput.good());
}

TEST_F(qzIoDeviceStdStreamProxyTest, FailsToWriteToAStreamThatFailed)
{
    mSink.setstate(std::ios::failbit);
    EXPECT_EQ(write("ab"), 0U);
    EXPECT_EQ(mOutput.getDeviceErrorMsg(), kWriteError);
}

TEST_F(qzIoDeviceStdStreamProxyTest, FailsToWriteToABadStream)
{
    mSink.setstate(std::ios::badbit);
    EXPECT_EQ(write("ab"), 0U);
    EXPECT_EQ(mOutput.getDeviceErrorMsg(), kWriteError);
}

TEST_F(qzIoDeviceStdStreamProxyTest, FailsToWriteToAFullDisk)
{
    std::ofstream full("/dev/full");
    qzIoDeviceStdStreamProxy device(&full);
    const std::string block(100000, 'x');
    EXPECT_EQ(device.writeBytes(block.data(), block.size()), 0U);
    EXPECT_EQ(device.getDeviceErrorMsg(), kWriteError);
}

TEST_F(qzIoDeviceStdStreamProxyTest, WritesNothingInError)
{
    mOutput.setDeviceError("x");
    EXPECT_EQ(write("ab"), 0U);
    EXPECT_EQ(mSink.str(), "");
}

TEST_F(qzIoDeviceStdStreamProxyTest, MovesByAnOverriddenErrorState)
{
    class OwnErrorState : public qzIoDeviceStdStreamProxy {
    public:
        using qzIoDeviceStdStreamProxy::qzIoDeviceStdStreamProxy;
        bool hasDeviceError() const override { return isInError; }
        bool isInError = true;
    };
    OwnErrorState input(static_cast<std::istream*>(&mSource));
    OwnErrorState output(static_cast<std::ostream*>(&mSink));
    char byte = 'x';
    EXPECT_EQ(input.readBytes(&byte, 1), 0U);
    EXPECT_EQ(mSource.tellg(), 0);
    EXPECT_EQ(output.writeBytes("a", 1), 0U);
    EXPECT_EQ(mSink.str(), "");
    input.isInError = false;
    input.setDeviceError("x");
    EXPECT_EQ(input.readBytes(&byte, 1), 1U);
    output.isInError = false;
    output.setDeviceError("x");
    EXPECT_EQ(output.writeBytes("a", 1), 1U);
}

TEST_F(qzIoDeviceStdStreamProxyTest, MovesOnlyTheOtherWayRound)
{
    char byte = 'x';
    EXPECT_EQ(mOutput.readBytes(&byte, 1), 0U);
    EXPECT_EQ(mInput.writeBytes(&byte, 1), 0U);
    EXPECT_TRUE(mOutput.good());
    EXPECT_TRUE(mInput.good());
    EXPECT_EQ(byte, 'x');
}

TEST_F(qzIoDeviceStdStreamProxyTest, ReadsByItsStreamWhateverWayIsDeclared)
{
    mInput.changeSupportedDataWay(qzIoDevice::DataWayNone);
    EXPECT_EQ(read(2), "ab");
    mOutput.changeSupportedDataWay(qzIoDevice::DataWayNone);
    EXPECT_EQ(write("ab"), 2U);
}

TEST_F(qzIoDeviceStdStreamProxyTest, FindsTheEndBeforeARead)
{
    EXPECT_FALSE(mInput.atEnd());
    read(6);
    EXPECT_TRUE(mInput.atEnd());
    EXPECT_EQ(mSource.rdstate(), std::ios::eofbit);
}

TEST_F(qzIoDeviceStdStreamProxyTest, IsNeverAtTheEndOfAnOutput)
{
    EXPECT_FALSE(mOutput.atEnd());
    mSink.setstate(std::ios::eofbit);
    EXPECT_FALSE(mOutput.atEnd());
}

struct ProxySeekRow {
    const char* name;
    long offset;
    qzIoDeviceRandomAccess::SeekStart start;
    long position;  // afterwards; it was 2 of 6 before
};

constexpr ProxySeekRow kProxySeekRows[] = {
    {"FromBegin", 4, kBegin, 4},
    {"FromCurrent", 1, kCurrent, 3},
    {"BackFromCurrent", -2, kCurrent, 0},
    {"FromEnd", -1, kEnd, 5},
    {"ToTheEnd", 0, kEnd, 6},
    {"OutsideTheEnumFromEnd", -2, kOutside, 4},
    {"NegativeEnumFromEnd", -3, kNegative, 3},
};

class qzIoDeviceStdStreamProxySeek : public qzIoDeviceStdStreamProxyTest,
                                     public ::testing::WithParamInterface<ProxySeekRow> {};

TEST_P(qzIoDeviceStdStreamProxySeek, MovesTheInput)
{
    read(2);
    EXPECT_TRUE(mInput.seek(GetParam().offset, GetParam().start));
    EXPECT_EQ(mInput.getCurrentPos(), GetParam().position);
    EXPECT_EQ(mSource.tellg(), GetParam().position);
    EXPECT_EQ(read(100),
              std::string("abcdef").substr(static_cast<unsigned long>(GetParam().position)));
}

TEST_P(qzIoDeviceStdStreamProxySeek, MovesTheOutput)
{
    write("abcdef");
    mOutput.seek(2, kBegin);
    EXPECT_TRUE(mOutput.seek(GetParam().offset, GetParam().start));
    EXPECT_EQ(mOutput.getCurrentPos(), GetParam().position);
    EXPECT_EQ(mSink.tellp(), GetParam().position);
}

INSTANTIATE_TEST_SUITE_P(Rows, qzIoDeviceStdStreamProxySeek, ::testing::ValuesIn(kProxySeekRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(qzIoDeviceStdStreamProxyTest, ReturnsTrueForAMoveThatTheStreamRefuses)
{
    EXPECT_TRUE(mInput.seek(-1, kBegin));
    EXPECT_TRUE(mInput.good());
    EXPECT_TRUE(mSource.fail());
    EXPECT_EQ(mInput.getCurrentPos(), -1);
    EXPECT_TRUE(mOutput.seek(-1, kBegin));
    EXPECT_TRUE(mOutput.good());
    EXPECT_EQ(mOutput.getCurrentPos(), -1);
}

TEST_F(qzIoDeviceStdStreamProxyTest, MovesInErrorToo)
{
    mInput.setDeviceError("x");
    EXPECT_TRUE(mInput.seek(3, kBegin));
    EXPECT_EQ(mInput.getCurrentPos(), 3);
}

TEST_F(qzIoDeviceStdStreamProxyTest, MovesBackFromTheEnd)
{
    read(10);
    read(10);
    mSource.clear(std::ios::eofbit);
    EXPECT_TRUE(mInput.seek(1, kBegin));
    EXPECT_EQ(read(10), "bcdef");
}

TEST_F(qzIoDeviceStdStreamProxyTest, DoesNothingWithoutAStream)
{
    char byte = 'x';
    qzIoDeviceStdStreamProxy input(static_cast<std::istream*>(nullptr));
    qzIoDeviceStdStreamProxy output(static_cast<std::ostream*>(nullptr));
    for (qzIoDeviceStdStreamProxy* device : {&input, &output}) {
        EXPECT_EQ(device->readBytes(&byte, 1), 0U);
        EXPECT_EQ(device->writeBytes(&byte, 1), 0U);
        EXPECT_FALSE(device->atEnd());
        EXPECT_FALSE(device->seek(0, kBegin));
        EXPECT_EQ(device->getCurrentPos(), 0);
        EXPECT_TRUE(device->good());
    }
}

TEST_F(qzIoDeviceStdStreamProxyTest, LoadsAWholeStream)
{
    read(2);
    std::vector<char> content;
    EXPECT_TRUE(mInput.loadFullFileContent(content));
    EXPECT_EQ(std::string(content.begin(), content.end()), "abcdef");
    EXPECT_EQ(mSource.tellg(), 2);
}

TEST_F(qzIoDeviceStdStreamProxyTest, LoadsNothingFromAStreamThatCannotMove)
{
    mSource.setstate(std::ios::failbit);
    std::vector<char> content;
    EXPECT_FALSE(mInput.loadFullFileContent(content));
}

TEST_F(qzIoDeviceStdStreamProxyTest, LeavesTheStreamToItsOwner)
{
    const support::ScratchFolder folder;
    std::ofstream file(folder.getPath("file"));
    {
        qzIoDeviceStdStreamProxy device(&file);
        device << "abc";
    }
    EXPECT_TRUE(file.is_open());
    file << "def" << std::flush;
    EXPECT_EQ(folder.read("file"), "abcdef");
}

// --- Streams whose owner asked them to throw

class qzIoDeviceStdStreamProxyThrowing : public qzIoDeviceStdStreamProxyTest {
protected:
    void SetUp() override
    {
        mSource.exceptions(std::ios::badbit | std::ios::failbit | std::ios::eofbit);
        mSink.exceptions(std::ios::badbit | std::ios::failbit | std::ios::eofbit);
    }
};

TEST_F(qzIoDeviceStdStreamProxyThrowing, ReadsToTheEnd)
{
    EXPECT_EQ(read(10), "abcdef");
    EXPECT_EQ(read(10), "");
    EXPECT_TRUE(mInput.good());
    EXPECT_TRUE(mInput.atEnd());
}

TEST_F(qzIoDeviceStdStreamProxyThrowing, FindsTheEndBeforeARead)
{
    EXPECT_FALSE(mInput.atEnd());
    read(6);
    EXPECT_TRUE(mInput.atEnd());
}

TEST_F(qzIoDeviceStdStreamProxyThrowing, FailsToReadFromABadStream)
{
    EXPECT_THROW(mSource.setstate(std::ios::badbit), std::ios::failure);
    EXPECT_EQ(read(1), "");
    EXPECT_EQ(mInput.getDeviceErrorMsg(), kReadError);
}

TEST_F(qzIoDeviceStdStreamProxyThrowing, FailsToWriteToABadStream)
{
    EXPECT_THROW(mSink.setstate(std::ios::badbit), std::ios::failure);
    EXPECT_EQ(write("a"), 0U);
    EXPECT_EQ(mOutput.getDeviceErrorMsg(), kWriteError);
}

TEST_F(qzIoDeviceStdStreamProxyThrowing, ReturnsTrueForAMoveThatTheStreamRefuses)
{
    EXPECT_TRUE(mInput.seek(-1, kBegin));
    EXPECT_EQ(mInput.getCurrentPos(), -1);
    EXPECT_TRUE(mOutput.seek(-1, kBegin));
    EXPECT_EQ(mOutput.getCurrentPos(), -1);
}

// --- Streams whose buffer throws: some functions of a stream let that through in any case, others
// only where the owner asked for it.

class qzIoDeviceStdStreamProxyBuffer : public qzIoDeviceStdStreamProxyTest,
                                       public ::testing::WithParamInterface<std::ios::iostate> {
protected:
    void SetUp() override
    {
        mSource.std::ios::rdbuf(&mBuffer);
        mSink.std::ios::rdbuf(&mBuffer);
        mSource.exceptions(GetParam());
        mSink.exceptions(GetParam());
    }

    MeddlingBuffer mBuffer{[] { throw std::runtime_error("broken"); }};
};

TEST_P(qzIoDeviceStdStreamProxyBuffer, FailsARead)
{
    EXPECT_EQ(read(3), "");
    EXPECT_EQ(mInput.getDeviceErrorMsg(), kReadError);
}

TEST_P(qzIoDeviceStdStreamProxyBuffer, FailsAWrite)
{
    EXPECT_EQ(write("ab"), 0U);
    EXPECT_EQ(mOutput.getDeviceErrorMsg(), kWriteError);
}

TEST_P(qzIoDeviceStdStreamProxyBuffer, IsNoEndOfTheInput)
{
    mBuffer.str("");
    EXPECT_FALSE(mInput.atEnd());
    EXPECT_FALSE(mInput.atEnd()) << "nor the second time";
    EXPECT_TRUE(mInput.good());
}

TEST_P(qzIoDeviceStdStreamProxyBuffer, MovesTheInputNowhere)
{
    EXPECT_EQ(mInput.getCurrentPos(), -1);
    mSource.clear();
    EXPECT_TRUE(mInput.seek(0, kBegin));
    EXPECT_TRUE(mInput.good());
}

TEST_P(qzIoDeviceStdStreamProxyBuffer, MovesTheOutputNowhere)
{
    EXPECT_EQ(mOutput.getCurrentPos(), -1);
    EXPECT_TRUE(mOutput.seek(0, kBegin));
    EXPECT_TRUE(mOutput.good());
}

INSTANTIATE_TEST_SUITE_P(OfAStreamThat, qzIoDeviceStdStreamProxyBuffer,
                         ::testing::Values(std::ios::goodbit,
                                           std::ios::badbit | std::ios::failbit | std::ios::eofbit),
                         [](const auto& row) {
                             return row.param == std::ios::goodbit ? "IsQuiet" : "Throws";
                         });

TEST_F(qzIoDeviceStdStreamProxyTest, LetsACancelledThreadEndInTheMiddleOfARead)
{
    const support::ScratchFolder folder;
    std::ifstream stream(folder.write("a.txt", "abc"));
    qzIoDeviceStdStreamProxy device(&stream);
    const auto child = support::runInChild([&] {
        char byte = 0;
        return support::endsByCancellation([&] { device.readBytes(&byte, 1); }) ? 0 : 1;
    });
    EXPECT_EQ(child.getEnd(), "exit 0") << child.err;
}

}  // namespace qz
