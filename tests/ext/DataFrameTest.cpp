// SPDX-License-Identifier: MIT
#include <qz/ext/DataFrame.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzIoDeviceFileStream.h>

#include "ext/RawPeer.h"
#include "support/Allocations.h"
#include "support/DeviceStub.h"
#include "support/Files.h"
#include "support/LibraryStart.h"

namespace qz::ext {

using support::DeviceStub;

namespace {

constexpr FrameFormat kFormat("QZTESTS\0", /*newestVersion=*/3);
constexpr unsigned long kHeaderBytes = 32;
constexpr unsigned long kLargestStep = 64UL << 10U;

std::string makeDataFrame(const std::string& payload)
{
    DeviceStub device;
    EXPECT_TRUE(writeFrame(device, kFormat, payload));
    return device.getContent();
}

// A header with the right checksum, whatever its numbers claim.
std::string forgeHeader(std::uint32_t layout, std::uint32_t version, std::uint64_t size,
                        std::uint32_t payloadCrc = 0)
{
    const std::string bytes = std::string(kFormat.magic, 8) + toBytes(layout) + toBytes(version) +
                              toBytes(static_cast<std::uint32_t>(size)) +
                              toBytes(static_cast<std::uint32_t>(size >> 32U)) +
                              toBytes(payloadCrc);
    return bytes + toBytes(computePlainCrc32c(bytes));
}

// Allocates nothing, unlike the stub, which records its calls.
class PlainDevice : public qzIoDevice {
public:
    explicit PlainDevice(std::string_view rest) : qzIoDevice(DataWayRead), mRest(rest) {}

    unsigned long readBytes(char* dst, unsigned long size) override
    {
        const unsigned long count = mRest.copy(dst, size);
        mRest.remove_prefix(count);
        return count;
    }
    unsigned long writeBytes(const char* /*src*/, unsigned long /*size*/) override { return 0; }
    bool atEnd() const override { return mRest.empty(); }

private:
    std::string_view mRest;
};

struct Result {
    StreamFailure failure;
    std::string payload = "old";
    unsigned int version = 0;
};

// Reads one frame, after which nothing may follow.
Result readOnlyFrame(const std::string& bytes,
                     unsigned long payloadLimit = FrameReader::msPayloadLimit)
{
    DeviceStub device(bytes);
    FrameReader frames(device, kFormat, payloadLimit);
    Result result;
    const bool isRead = frames.read(result.payload) && frames.readEnd();
    result.failure = frames.getFailure();
    result.version = frames.getVersion();
    EXPECT_EQ(isRead, !result.failure);
    return result;
}

class DataFrameTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary;
};

}  // namespace

TEST_F(DataFrameTest, HasTheBytesOfItsTable)
{
    const std::string payload = "payload";
    EXPECT_EQ(makeDataFrame(payload),
              forgeHeader(1, 3, payload.size(), computePlainCrc32c(payload)) + payload);
    EXPECT_EQ(support::toHex(makeDataFrame("")),
              "51 5a 54 45 53 54 53 00 01 00 00 00 03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "15 c7 0d ac");
}

TEST_F(DataFrameTest, ReturnsThePayload)
{
    for (const unsigned long size : {0UL, 1UL, 256UL, 257UL, kLargestStep - 1, kLargestStep,
                                     kLargestStep + 1, 5 * kLargestStep}) {
        std::string payload(size, '\0');
        for (unsigned long i = 0; i < size; i += 3)
            payload[i] = static_cast<char>(i);
        const Result result = readOnlyFrame(makeDataFrame(payload));
        EXPECT_EQ(result.failure.text, "");
        EXPECT_EQ(result.payload, payload);
        EXPECT_EQ(result.version, 3U);
    }
}

TEST_F(DataFrameTest, GoesThroughAPipeInShortReads)
{
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const std::string longPayload(300'000, 'p');
    std::thread writer([&] {
        qzIoDeviceFileStream device("/proc/self/fd/" + std::to_string(ends[1]),
                                    qzIoDevice::DataWayWrite, /*truncate=*/true);
        EXPECT_TRUE(writeFrame(device, kFormat, "first") &&
                    writeFrame(device, kFormat, longPayload) && writeFrame(device, kFormat, ""));
        device.close();
        ::close(ends[1]);
    });
    {
        qzIoDeviceFileStream device("/proc/self/fd/" + std::to_string(ends[0]),
                                    qzIoDevice::DataWayRead, /*truncate=*/false);
        FrameReader frames(device, kFormat);
        std::string payload;
        EXPECT_TRUE(frames.read(payload));
        EXPECT_EQ(payload, "first");
        EXPECT_TRUE(frames.read(payload));
        EXPECT_EQ(payload, longPayload);
        EXPECT_TRUE(frames.read(payload));
        EXPECT_EQ(payload, "");
        EXPECT_FALSE(frames.read(payload));
        EXPECT_EQ(frames.getFailure().reason, StreamFailure::NoFrame);
        EXPECT_EQ(frames.getFailure().text, "frame header at offset 300101: the input has ended");
    }
    writer.join();
    ::close(ends[0]);
}

TEST_F(DataFrameTest, IsReadFromADeviceThatGivesAByteAtATime)
{
    DeviceStub device(makeDataFrame("first") + makeDataFrame("second") + "rest");
    device.shortenTo(1);
    FrameReader frames(device, kFormat);
    EXPECT_EQ(frames.getVersion(), 0U);
    std::string payload;
    EXPECT_TRUE(frames.read(payload) && frames.read(payload));
    EXPECT_EQ(payload, "second");
    EXPECT_EQ(device.getCurrentPos(), static_cast<long>(2 * kHeaderBytes + 11));
}

// --- What is no whole and undamaged frame

TEST_F(DataFrameTest, IsRefusedAtEachCut)
{
    const std::string bytes = makeDataFrame("some payload");
    for (unsigned long cut = 0; cut < bytes.size(); ++cut) {
        const Result result = readOnlyFrame(bytes.substr(0, cut));
        EXPECT_EQ(result.failure.reason, cut == 0 ? StreamFailure::NoFrame : StreamFailure::Ended);
        EXPECT_EQ(result.payload, "old");
        EXPECT_EQ(result.failure.text,
                  cut == 0             ? "frame header at offset 0: the input has ended"
                  : cut < kHeaderBytes ? "frame header at offset 0: the input ends after " +
                                             std::to_string(cut) + " of 32 bytes"
                                       : "frame payload at offset 32: the input ends after " +
                                             std::to_string(cut - kHeaderBytes) + " of 12 bytes");
    }
}

// Otherwise a cut frame would seem to be the end of an undamaged input at the second look.
TEST_F(DataFrameTest, KeepsTheReasonOfEachCutWhenReadAgain)
{
    const std::string bytes = makeDataFrame("payload");
    for (unsigned long cut = 0; cut < bytes.size(); ++cut) {
        DeviceStub device(bytes.substr(0, cut));
        FrameReader frames(device, kFormat);
        std::string payload;
        EXPECT_FALSE(frames.read(payload));
        const std::string reason = frames.getFailure().text;
        EXPECT_FALSE(frames.read(payload));
        EXPECT_EQ(frames.getFailure().text, reason);
        EXPECT_EQ(frames.getFailure().reason,
                  cut == 0 ? StreamFailure::NoFrame : StreamFailure::Ended);
    }
}

TEST_F(DataFrameTest, IsRefusedWithEachFlippedBit)
{
    const std::string bytes = makeDataFrame("some payload");
    for (unsigned long bit = 0; bit < 8 * bytes.size(); ++bit) {
        std::string flipped = bytes;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        const Result result = readOnlyFrame(flipped);
        const unsigned long byte = bit / 8;
        EXPECT_EQ(result.failure.reason, byte < 8 ? StreamFailure::Foreign : StreamFailure::Damaged)
            << bit;
        EXPECT_EQ(result.failure.text,
                  byte < 8 ? "frame header at offset 0: the magic is that of another format"
                  : byte < kHeaderBytes ? "frame header at offset 0: the CRC is wrong"
                                        : "frame payload at offset 32: the CRC is wrong");
        EXPECT_EQ(result.payload, "old");
        EXPECT_EQ(result.version, 0U);
    }
}

TEST_F(DataFrameTest, IsRefusedWithAWrongChecksumOfNoBytes)
{
    EXPECT_EQ(readOnlyFrame(forgeHeader(1, 3, 0, /*payloadCrc=*/1)).failure.text,
              "frame payload at offset 32: the CRC is wrong");
}

TEST_F(DataFrameTest, IsRefusedWithTrailingData)
{
    const Result result = readOnlyFrame(makeDataFrame("some payload") + '\0');
    EXPECT_EQ(result.failure.reason, StreamFailure::TrailingData);
    EXPECT_EQ(result.failure.text, "end at offset 44: more bytes follow");
}

TEST_F(DataFrameTest, IsReadInOlderVersionsAndRefusedInNewerOnes)
{
    for (const unsigned int version : {0U, 1U, 2U, 3U}) {
        const Result result = readOnlyFrame(forgeHeader(1, version, 0));
        EXPECT_EQ(result.failure.text, "");
        EXPECT_EQ(result.version, version);
    }
    const Result newer = readOnlyFrame(forgeHeader(1, 4, 0));
    EXPECT_EQ(newer.failure.reason, StreamFailure::Newer);
    EXPECT_EQ(newer.failure.text, "frame at offset 0: version 4 is newer than 3");
    for (const unsigned int layout : {0U, 2U})
        EXPECT_EQ(readOnlyFrame(forgeHeader(layout, 3, 0)).failure.text,
                  "layout of a frame at offset 0: version " + std::to_string(layout) + " is not 1");
}

TEST_F(DataFrameTest, IsReadUpToTheLimitOfThePayload)
{
    for (const unsigned long size : {99UL, 100UL, 101UL}) {
        const Result result = readOnlyFrame(makeDataFrame(std::string(size, 'p')), 100);
        EXPECT_EQ(result.payload.size(), size <= 100 ? size : 3);
        if (size <= 100) continue;
        EXPECT_EQ(result.failure.reason, StreamFailure::PayloadLimit);
        EXPECT_EQ(result.failure.text, "frame at offset 0: 101 bytes exceed the limit of 100");
    }
}

TEST_F(DataFrameTest, TakesNoMemoryForALengthThatIsALie)
{
    const unsigned long noLimit = std::numeric_limits<unsigned long>::max();
    for (const unsigned long claim : {1UL << 31U, 1UL << 40U, noLimit - kHeaderBytes, noLimit}) {
        DeviceStub device(forgeHeader(1, 3, claim) + std::string(2 * kLargestStep, 'p'));
        FrameReader frames(device, kFormat, noLimit);
        std::string payload = "old";
        const support::AllocationCounter counter;
        EXPECT_FALSE(frames.read(payload));
        EXPECT_LE(counter.getBytes(), 4 * 3 * kLargestStep);
        EXPECT_EQ(payload, "old");
        EXPECT_EQ(frames.getFailure().reason, StreamFailure::Ended);
    }
}

TEST_F(DataFrameTest, TakesOneStepOfMemoryForTheFirstBytes)
{
    const std::string bytes = forgeHeader(1, 3, 1UL << 20U);
    PlainDevice device(bytes);
    FrameReader frames(device, kFormat);
    std::string payload;
    const support::AllocationCounter counter;
    EXPECT_FALSE(frames.read(payload));
    EXPECT_LE(counter.getBytes(), kLargestStep + 1000);
}

TEST_F(DataFrameTest, ReadsNothingAfterADamagedFrame)
{
    DeviceStub device("X" + makeDataFrame("first").substr(1) + makeDataFrame("second"));
    FrameReader frames(device, kFormat);
    std::string payload = "old";
    EXPECT_FALSE(frames.read(payload));
    const std::size_t calls = device.getCalls().size();
    EXPECT_FALSE(frames.read(payload) || frames.readEnd());
    EXPECT_EQ(device.getCalls().size(), calls);
    EXPECT_EQ(payload, "old");
    EXPECT_EQ(frames.getFailure().offset, 0U);
}

// --- Failures of the device and of memory

TEST_F(DataFrameTest, IsWrittenInShortWrites)
{
    DeviceStub device;
    device.shortenTo(3);
    EXPECT_TRUE(writeFrame(device, kFormat, "payload"));
    EXPECT_EQ(device.getContent(), makeDataFrame("payload"));
}

TEST_F(DataFrameTest, ReportsAnyWriteThatFails)
{
    const std::string bytes = makeDataFrame("payload");
    for (unsigned long limit = 0; limit < bytes.size(); ++limit) {
        for (const char* const error : {"", "full"}) {
            DeviceStub device;
            device.stopAfter(limit);
            device.setErrorOfShortMoves(error);
            EXPECT_FALSE(writeFrame(device, kFormat, "payload"));
            EXPECT_EQ(device.getContent(), bytes.substr(0, limit));
        }
    }
    DeviceStub broken;
    broken.setDeviceError("broken");
    EXPECT_FALSE(writeFrame(broken, kFormat, "payload"));
}

TEST_F(DataFrameTest, IsNotWrittenByADeviceThatTakesAllButFails)
{
    class Failing : public DeviceStub {
    public:
        unsigned long writeBytes(const char* src, unsigned long size) override
        {
            const unsigned long count = DeviceStub::writeBytes(src, size);
            if (getContent().size() > kHeaderBytes) setDeviceError("late");
            return count;
        }
    };
    Failing device;
    EXPECT_FALSE(writeFrame(device, kFormat, "payload"));
    EXPECT_EQ(device.getContent(), makeDataFrame("payload"));
}

TEST_F(DataFrameTest, IsNotWrittenByADeviceThatClaimsMoreThanItWasGiven)
{
    class Boaster : public DeviceStub {
    public:
        unsigned long writeBytes(const char* /*src*/, unsigned long /*size*/) override
        {
            return static_cast<unsigned long>(-1);
        }
    };
    Boaster device;
    EXPECT_FALSE(writeFrame(device, kFormat, "payload"));
}

TEST_F(DataFrameTest, ReportsAReadThatFails)
{
    const std::string bytes = makeDataFrame("payload");
    for (unsigned long limit = 0; limit < bytes.size(); ++limit) {
        DeviceStub device(bytes);
        device.stopAfter(limit);
        device.setErrorOfShortMoves("broken");
        FrameReader frames(device, kFormat);
        std::string payload = "old";
        EXPECT_FALSE(frames.read(payload));
        EXPECT_EQ(frames.getFailure().reason, StreamFailure::DeviceError) << limit;
        EXPECT_EQ(payload, "old");
    }
}

TEST_F(DataFrameTest, LeavesThePayloadWhenThereIsNoMemory)
{
    const std::string written(3 * kLargestStep, 'p');
    const std::string bytes = makeDataFrame(written);
    std::string payload;
    std::unique_ptr<PlainDevice> device;
    std::unique_ptr<FrameReader> frames;
    const std::size_t failures = support::failEachAllocation(
        [&] {
            {
                const support::AllocationPause ownWork;
                payload = "old";
                device = std::make_unique<PlainDevice>(bytes);
                frames = std::make_unique<FrameReader>(*device, kFormat);
            }
            frames->read(payload);
        },
        [&](const support::AllocationFailure& failure) {
            EXPECT_TRUE(failure.threwBadAlloc);
            EXPECT_EQ(payload, "old");
            EXPECT_EQ(frames->getFailure().text,
                      "frame payload at offset 32: an exception has ended the read");
            EXPECT_FALSE(frames->read(payload));
        });
    EXPECT_GE(failures, 2U);
    EXPECT_EQ(payload, written);
}

}  // namespace qz::ext
