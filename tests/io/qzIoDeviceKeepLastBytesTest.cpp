// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceKeepLastBytes.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzIoDeviceDummy.h>

#include "io/PlainFilters.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"

namespace qz {

using support::DeviceStub;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Bytes that all differ from their neighbours.
std::string makeContent(std::size_t size)
{
    std::string content;
    for (std::size_t i = 0; i < size; ++i)
        content += static_cast<char>('A' + i);
    return content;
}

std::string read(qzIoDevice& device, unsigned long size)
{
    std::string bytes(size, '?');
    bytes.resize(device.readBytes(bytes.data(), size));
    return bytes;
}

// A device that only reads, and records nothing.
class StringSource : public qzIoDevice {
public:
    explicit StringSource(const std::string& content) : qzIoDevice(DataWayRead), mRest(content) {}
    unsigned long readBytes(char* dst, unsigned long size) override
    {
        const std::string_view piece = mRest.substr(0, size);
        piece.copy(dst, piece.size());
        mRest.remove_prefix(piece.size());
        return piece.size();
    }
    unsigned long writeBytes(const char* /*src*/, unsigned long /*size*/) override { return 0; }
    bool atEnd() const override { return mRest.empty(); }

private:
    std::string_view mRest;
};

std::string getTail(const qzIoDeviceKeepLastBytes& device)
{
    return {device.getTerminalBytes(), device.getTerminalByteCount()};
}

}  // namespace

class qzIoDeviceKeepLastBytesTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary;
};

TEST_F(qzIoDeviceKeepLastBytesTest, GivesAllButTheTail)
{
    const std::string content = makeContent(100);
    DeviceStub source(content);
    qzIoDeviceKeepLastBytes keeper(source, 4);
    EXPECT_EQ(keeper.getTerminalByteCount(), 4U) << "before a byte was seen";
    EXPECT_EQ(read(keeper, 200), content.substr(0, 96));
    EXPECT_EQ(getTail(keeper), content.substr(96));
    EXPECT_TRUE(keeper.atEnd());
    EXPECT_TRUE(keeper.good());
    EXPECT_EQ(read(keeper, 200), "") << "and no more";
    EXPECT_EQ(getTail(keeper), content.substr(96));
}

TEST_F(qzIoDeviceKeepLastBytesTest, GivesAllButTheTailToACopy)
{
    const std::string content = makeContent(100);
    DeviceStub source(content);
    DeviceStub destination;
    qzIoDeviceKeepLastBytes keeper(source, 4);
    unsigned long written = 0;
    EXPECT_TRUE(keeper.writeBackToDevice(destination, &written, nullptr));
    EXPECT_EQ(written, 96U);
    EXPECT_EQ(destination.getContent(), content.substr(0, 96));
}

// Every tail up to 20 of every content up to 24, in reads of every size up to 20.
TEST_F(qzIoDeviceKeepLastBytesTest, GivesAllButTheTailInReadsOfEverySize)
{
    for (unsigned long length = 0; length <= 24; ++length) {
        const std::string content = makeContent(length);
        for (unsigned long count = 0; count <= std::min(length, 20UL); ++count) {
            for (unsigned long size = 1; size <= 20; ++size) {
                DeviceStub source(content);
                qzIoDeviceKeepLastBytes keeper(source, count);
                std::string got;
                std::string piece;
                do {
                    piece = read(keeper, size);
                    got += piece;
                } while (!piece.empty());
                ASSERT_EQ(got, content.substr(0, length - count)) << count << ' ' << size;
                ASSERT_EQ(getTail(keeper), content.substr(length - count)) << count << ' ' << size;
                ASSERT_TRUE(keeper.good() && keeper.atEnd()) << count << ' ' << size;
            }
        }
    }
}

TEST_F(qzIoDeviceKeepLastBytesTest, FailsAtOnceOverASourceThatIsTooShort)
{
    for (unsigned long length = 0; length < 20; ++length) {
        for (unsigned long count = length + 1; count <= 20; ++count) {
            for (unsigned long size = 0; size <= 20; ++size) {
                DeviceStub source(makeContent(length));
                qzIoDeviceKeepLastBytes keeper(source, count);
                ASSERT_EQ(read(keeper, size), "") << length << ' ' << count << ' ' << size;
                ASSERT_EQ(keeper.getDeviceErrorMsg(), "Could not keep enough terminal bytes");
                ASSERT_TRUE(keeper.atEnd());
            }
        }
    }
}

TEST_F(qzIoDeviceKeepLastBytesTest, FailsOverThreeBytesOfFour)
{
    DeviceStub source("abc");
    qzIoDeviceKeepLastBytes keeper(source, 4);
    EXPECT_EQ(read(keeper, 1), "");
    EXPECT_EQ(keeper.getDeviceErrorMsg(), "Could not keep enough terminal bytes");
    EXPECT_EQ(keeper.getTerminalByteCount(), 4U);
    EXPECT_TRUE(source.good());
}

// Sources that give fewer bytes than they have, and reads of sizes of chance, nothing included.
TEST_F(qzIoDeviceKeepLastBytesTest, GoesAsItsPlainForm)
{
    for (const unsigned int seed : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U}) {
        std::mt19937 random(seed);
        const auto choose = [&](unsigned int most) { return random() % (most + 1); };
        for (int round = 0; round < 100; ++round) {
            const std::string content = makeContent(choose(60));
            const unsigned long count = choose(20);
            const unsigned long mostBytes = 1 + choose(25);
            DeviceStub source(content);
            DeviceStub plainSource(content);
            source.shortenTo(mostBytes);
            plainSource.shortenTo(mostBytes);
            qzIoDeviceKeepLastBytes keeper(source, count);
            PlainEnd plainEnd(plainSource);
            PlainKeeper plain(plainEnd, count);
            for (int i = 0; i < 20; ++i) {
                const unsigned long size = choose(20);
                ASSERT_EQ(read(keeper, size), plain.read(size)) << "seed " << seed << ' ' << round;
                ASSERT_EQ(keeper.getDeviceErrorMsg(), plain.getError())
                    << "seed " << seed << ' ' << round;
                ASSERT_EQ(getTail(keeper).substr(0, plain.getHeld().size()), plain.getHeld());
                ASSERT_EQ(source.getCurrentPos(), plainSource.getCurrentPos());
            }
        }
    }
}

// The same, but the kept bytes are read only at the end: until then they may be a ring.
TEST_F(qzIoDeviceKeepLastBytesTest, KeepsTheTailOfItsPlainFormWhenItIsReadAtTheEndOnly)
{
    for (const unsigned int seed : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U}) {
        std::mt19937 random(seed);
        const auto choose = [&](unsigned long most) { return random() % (most + 1); };
        for (int round = 0; round < 200; ++round) {
            const std::string content = makeContent(choose(200));
            const unsigned long count = choose(20);
            DeviceStub source(content);
            DeviceStub plainSource(content);
            qzIoDeviceKeepLastBytes keeper(source, count);
            PlainEnd plainEnd(plainSource);
            PlainKeeper plain(plainEnd, count);
            for (unsigned long i = choose(40); i != 0; --i) {
                const unsigned long size = choose(1 + choose(24));
                ASSERT_EQ(read(keeper, size), plain.read(size)) << "seed " << seed << ' ' << round;
            }
            ASSERT_EQ(keeper.getDeviceErrorMsg(), plain.getError());
            ASSERT_EQ(getTail(keeper).substr(0, plain.getHeld().size()), plain.getHeld());
            ASSERT_EQ(source.getCalls(), plainSource.getCalls());
        }
    }
}

// With a move of the tail for each read this would copy 8 TB.
TEST_F(qzIoDeviceKeepLastBytesTest, ReadsSmallPiecesBeforeALargeTailInTimeOfTheirBytes)
{
    constexpr unsigned long kTailSize = 8UL << 20U;
    const std::string content(kTailSize + (1UL << 20U), 'x');
    StringSource source(content);
    qzIoDeviceKeepLastBytes keeper(source, kTailSize);
    char byte = 0;
    unsigned long count = 0;
    while (keeper.readBytes(&byte, 1) == 1)
        ++count;
    EXPECT_EQ(count, 1UL << 20U);
}

TEST_F(qzIoDeviceKeepLastBytesTest, HidesNothingWithoutACount)
{
    DeviceStub source("abc");
    qzIoDeviceKeepLastBytes keeper(source, 0);
    EXPECT_EQ(keeper.getTerminalByteCount(), 0U);
    EXPECT_EQ(read(keeper, 2), "ab");
    EXPECT_EQ(read(keeper, 2), "c");
    EXPECT_EQ(read(keeper, 2), "");
    EXPECT_TRUE(keeper.good());
}

TEST_F(qzIoDeviceKeepLastBytesTest, KeepsAllOfASourceThatIsJustLongEnough)
{
    DeviceStub source("abcd");
    qzIoDeviceKeepLastBytes keeper(source, 4);
    EXPECT_EQ(read(keeper, 10), "");
    EXPECT_EQ(getTail(keeper), "abcd");
    EXPECT_TRUE(keeper.good());
}

TEST_F(qzIoDeviceKeepLastBytesTest, ReadsStraightAndThenTheTail)
{
    DeviceStub source(makeContent(30));
    qzIoDeviceKeepLastBytes keeper(source, 4);
    read(keeper, 10);
    read(keeper, 10);
    read(keeper, 4);
    read(keeper, 3);
    EXPECT_THAT(source.getCalls(), ElementsAre("read 10 -> 10", "read 4 -> 4", "read 6 -> 6",
                                               "read 4 -> 4", "read 4 -> 4", "read 3 -> 2"));
}

TEST_F(qzIoDeviceKeepLastBytesTest, BeginsToHoldAtAReadOfNothing)
{
    DeviceStub source("abcdef");
    qzIoDeviceKeepLastBytes keeper(source, 4);
    EXPECT_EQ(read(keeper, 0), "");
    EXPECT_EQ(getTail(keeper), "abcd");
    EXPECT_TRUE(keeper.good());
    EXPECT_EQ(read(keeper, 9), "ab");
}

// The source reports its error also to a read of nothing.
TEST_F(qzIoDeviceKeepLastBytesTest, ReadsItsSourceAlsoWhenNoByteIsMissing)
{
    qzIoDeviceDummy dummy;
    qzIoDeviceKeepLastBytes keeper(dummy, 0);
    EXPECT_EQ(read(keeper, 0), "");
    EXPECT_TRUE(dummy.hasDeviceError());
    DeviceStub source("abcdef");
    qzIoDeviceKeepLastBytes full(source, 4);
    read(full, 0);
    read(full, 0);
    EXPECT_THAT(source.getCalls(), ElementsAre("read 4 -> 4", "read 0 -> 0"));
}

TEST_F(qzIoDeviceKeepLastBytesTest, CannotBeWrittenTo)
{
    DeviceStub source("abcdef");
    qzIoDeviceKeepLastBytes keeper(source, 4);
    EXPECT_EQ(keeper.writeBytes("x", 1), 0U);
    EXPECT_EQ(keeper.getDeviceErrorMsg(), "write not implemented");
    EXPECT_THAT(source.getCalls(), IsEmpty());
}

TEST_F(qzIoDeviceKeepLastBytesTest, IsAtTheEndWithItsSourceOrInError)
{
    DeviceStub source("abcdef");
    qzIoDeviceKeepLastBytes keeper(source, 4);
    EXPECT_FALSE(keeper.atEnd());
    keeper.setDeviceError("own");
    EXPECT_TRUE(keeper.atEnd());
    keeper.clearDeviceError();
    source.setDeviceError("broken");
    EXPECT_TRUE(keeper.atEnd());
    source.clearDeviceError();
    EXPECT_FALSE(keeper.atEnd());
    read(keeper, 2);
    EXPECT_TRUE(keeper.atEnd());
}

TEST_F(qzIoDeviceKeepLastBytesTest, IsInErrorWithItsSource)
{
    DeviceStub source("abcdef");
    qzIoDeviceKeepLastBytes keeper(source, 4);
    source.setDeviceError("broken");
    EXPECT_TRUE(keeper.hasDeviceError());
    EXPECT_EQ(keeper.getDeviceErrorMsg(), "broken");
    keeper.setDeviceError("own");
    EXPECT_EQ(keeper.getDeviceErrorMsg(), "own, broken");
    source.clearDeviceError();
    EXPECT_EQ(keeper.getDeviceErrorMsg(), "own");
}

TEST_F(qzIoDeviceKeepLastBytesTest, TakesABrokenSourceForOneAtItsEnd)
{
    DeviceStub source(makeContent(30));
    qzIoDeviceKeepLastBytes keeper(source, 4);
    EXPECT_EQ(read(keeper, 10), "ABCDEFGHIJ");
    source.stopAfter(1);
    source.setErrorOfShortMoves("cut");
    EXPECT_EQ(read(keeper, 10), "K");
    EXPECT_EQ(getTail(keeper), "LMNO");
    EXPECT_EQ(keeper.getDeviceErrorMsg(), "cut");
}

}  // namespace qz
