// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>

#include <climits>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "io/SwapBufferPeer.h"
#include "support/Allocations.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

namespace qz {

using support::DeviceStub;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;
using Buffer = qzIoDeviceMemoryChunkAndSwapBuffer;
using Peer = qzIoDeviceMemoryChunkAndSwapBufferTestPeer;

namespace {

constexpr unsigned long kUnlimited = ~0UL;
constexpr auto kBegin = Buffer::SeekFromBegin;
constexpr auto kCurrent = Buffer::SeekFromCurrent;
constexpr auto kEnd = Buffer::SeekFromEnd;

unsigned long write(Buffer& buffer, const std::string& bytes)
{
    return buffer.writeBytes(bytes.data(), bytes.size());
}

std::string read(Buffer& buffer, unsigned long size)
{
    std::string bytes(size, '?');
    bytes.resize(buffer.readBytes(bytes.data(), size));
    return bytes;
}

std::string readAll(Buffer& buffer)
{
    buffer.seek(0, kBegin);
    return read(buffer, buffer.getUsedByteCount() + 1);
}

}  // namespace

class qzIoDeviceMemoryChunkAndSwapBufferTest : public ::testing::Test {
protected:
    std::size_t countFiles() const
    {
        const std::string folder = mFolder.getPath("swap");
        if (!std::filesystem::exists(folder)) return 0;
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(folder), {}));
    }

    support::LibraryStart mLibrary;
    support::ScratchFolder mFolder;
    Buffer mMemory{10, 20};
    Buffer mSwapped{mFolder.getPath("swap"), 40, 40, 100};
    DeviceStub mDevice;
};

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, BeginsEmptyWithItsFirstChunk)
{
    EXPECT_TRUE(mMemory.atEnd());
    EXPECT_EQ(mMemory.getCurrentPos(), 0);
    EXPECT_EQ(mMemory.getWrittenBytes(), 0U);
    EXPECT_EQ(mMemory.getUsedByteCount(), 0U);
    EXPECT_EQ(mMemory.getMemoryFootPrint(), 10U);
    EXPECT_EQ(Peer::getChunkCount(mMemory), 1U);
    EXPECT_EQ(read(mMemory, 1), "");
    EXPECT_TRUE(mMemory.good());
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, FillsTheBudgetAndContinuesInAFile)
{
    EXPECT_EQ(write(mSwapped, std::string(100, 'm')), 100U);
    EXPECT_EQ(countFiles(), 0U);
    EXPECT_EQ(write(mSwapped, "s"), 1U);
    EXPECT_EQ(countFiles(), 1U);
    EXPECT_EQ(Peer::getChunkCount(mSwapped), 3U);
    EXPECT_EQ(mSwapped.getMemoryFootPrint(), 100U);
    EXPECT_EQ(mSwapped.getUsedByteCount(), 101U);
}

// A write of more than the chunk size gets a chunk of its own size, so these are small ones.
TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, CapsTheLastMemoryChunkToTheBudget)
{
    for (int i = 0; i < 30; ++i)
        write(mSwapped, "12345");
    EXPECT_THAT(Peer::getCapacities(mSwapped), ElementsAre(40, 40, 20, kUnlimited));
    EXPECT_THAT(Peer::getSizes(mSwapped), ElementsAre(40, 40, 20, 50));
    EXPECT_EQ(Peer::getChunkCount(mSwapped), 4U);
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, TakesAllFurtherDataInOneSwapChunk)
{
    for (int i = 0; i < 1000; ++i)
        write(mSwapped, std::string(100, 's'));
    EXPECT_EQ(Peer::getCapacities(mSwapped).back(), kUnlimited);
    EXPECT_EQ(countFiles(), 1U);
    EXPECT_EQ(readAll(mSwapped), std::string(100'000, 's'));
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, RaisesABudgetBelowTheFirstChunk)
{
    Buffer buffer(mFolder.getPath("swap"), 50, 10, 20);
    EXPECT_EQ(buffer.getMemoryFootPrint(), 50U);
    buffer.addNewChunk(100);
    EXPECT_THAT(Peer::getCapacities(buffer), ElementsAre(50, 50));
    buffer.clearDevice(Buffer::ClearFreeChunks);
    EXPECT_EQ(write(buffer, std::string(50, 'm')), 50U);
    EXPECT_EQ(countFiles(), 0U);
    EXPECT_EQ(write(buffer, "s"), 1U);
    EXPECT_THAT(Peer::getCapacities(buffer), ElementsAre(50, kUnlimited));
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, GrowsFromAnEmptyFirstChunk)
{
    Buffer buffer(0, 20);
    EXPECT_EQ(buffer.getMemoryFootPrint(), 0U);
    EXPECT_EQ(write(buffer, "abc"), 3U);
    EXPECT_THAT(Peer::getCapacities(buffer), ElementsAre(0, 20));
    EXPECT_EQ(readAll(buffer), "abc");
    Buffer larger(0, 2);
    EXPECT_EQ(write(larger, "abc"), 3U);
    EXPECT_THAT(Peer::getCapacities(larger), ElementsAre(0, 3));
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, GoesOnWithoutAnySizes)
{
    Buffer buffer(0, 0);
    EXPECT_EQ(write(buffer, "abc") + write(buffer, "de"), 5U);
    EXPECT_THAT(Peer::getCapacities(buffer), ElementsAre(0, 3, 2));
    EXPECT_EQ(readAll(buffer), "abcde");
    Buffer swapped(mFolder.getPath("swap"), 0, 0, 0);
    EXPECT_EQ(write(swapped, "abc"), 3U);
    EXPECT_THAT(Peer::getCapacities(swapped), ElementsAre(0, kUnlimited));
    EXPECT_EQ(readAll(swapped), "abc");
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, MakesOneChunkForALargeWrite)
{
    EXPECT_EQ(write(mMemory, std::string(1010, 'x')), 1010U);
    EXPECT_THAT(Peer::getCapacities(mMemory), ElementsAre(10, 1000));
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, TakesAllBitsSetForNoBudget)
{
    Buffer buffer(mFolder.getPath("swap"), 10, 10, kUnlimited);
    for (int i = 0; i < 10; ++i)
        write(buffer, std::string(10, 'x'));
    EXPECT_EQ(buffer.getMemoryFootPrint(), 100U);
    EXPECT_EQ(countFiles(), 0U);
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, CountsUsedBytesForTheBudgetOfAChunkAddedByHand)
{
    mSwapped.addNewChunk(70);
    mSwapped.addNewChunk(10);
    EXPECT_THAT(Peer::getCapacities(mSwapped), ElementsAre(40, 70, 40));
    EXPECT_EQ(write(mSwapped, std::string(120, 'x')), 120U);
    mSwapped.addNewChunk(10);
    EXPECT_EQ(Peer::getCapacities(mSwapped).back(), kUnlimited);
    mSwapped.addNewChunk(10);
    EXPECT_EQ(Peer::getChunkCount(mSwapped), 4U);
    EXPECT_EQ(write(mSwapped, std::string(120, 'y')), 120U);
    EXPECT_EQ(readAll(mSwapped), std::string(120, 'x') + std::string(120, 'y'));
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, CountsAllChunksForTheBudgetWhereverThePositionIs)
{
    write(mSwapped, std::string(90, 'x'));
    mSwapped.seek(0, kBegin);
    mSwapped.addNewChunk(50);
    EXPECT_THAT(Peer::getCapacities(mSwapped), ElementsAre(40, 50, 10));
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, NeverMovesWhatItHolds)
{
    write(mMemory, "first");
    const char* const first = Peer::getMemory(mMemory).data();
    for (int i = 0; i < 100; ++i)
        write(mMemory, "further bytes");
    EXPECT_EQ(Peer::getMemory(mMemory).data(), first);
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, ChangesNothingForAWriteOrAReadOfNothing)
{
    EXPECT_EQ(mMemory.writeBytes(nullptr, 0), 0U);
    EXPECT_EQ(mMemory.readBytes(nullptr, 0), 0U);
    write(mMemory, std::string(10, 'x'));
    EXPECT_EQ(mMemory.writeBytes(nullptr, 0), 0U);
    EXPECT_EQ(Peer::getChunkCount(mMemory), 1U);
    EXPECT_EQ(mMemory.getWrittenBytes(), 10U);
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, ReadsAcrossChunksUpToTheEnd)
{
    write(mSwapped, std::string(39, 'a') + "bc" + std::string(58, 'd') + "ef");
    mSwapped.seek(39, kBegin);
    EXPECT_EQ(read(mSwapped, 2), "bc");
    mSwapped.seek(99, kBegin);
    EXPECT_EQ(read(mSwapped, 10), "ef");
    EXPECT_TRUE(mSwapped.atEnd());
    EXPECT_EQ(read(mSwapped, 1), "");
    EXPECT_TRUE(mSwapped.good());
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, OverwritesInTheMiddleOfTheSwapFile)
{
    write(mSwapped, std::string(200, 'x'));
    ASSERT_TRUE(mSwapped.seek(150, kBegin));
    EXPECT_EQ(read(mSwapped, 1), "x");
    EXPECT_EQ(write(mSwapped, "new"), 3U);
    EXPECT_EQ(read(mSwapped, 1), "x");
    EXPECT_EQ(mSwapped.getWrittenBytes(), 203U);
    EXPECT_EQ(mSwapped.getUsedByteCount(), 200U);
    EXPECT_EQ(readAll(mSwapped), std::string(151, 'x') + "new" + std::string(46, 'x'));
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, KeepsWhatFollowsWhenItOverwritesAcrossAChunksEnd)
{
    write(mSwapped, std::string(120, 'x'));
    mSwapped.seek(38, kBegin);
    write(mSwapped, "1234");
    EXPECT_FALSE(mSwapped.atEnd());
    EXPECT_EQ(mSwapped.getUsedByteCount(), 120U);
    EXPECT_TRUE(mSwapped.seek(0, kEnd));
    EXPECT_EQ(mSwapped.getCurrentPos(), 120);
    EXPECT_EQ(readAll(mSwapped), std::string(38, 'x') + "1234" + std::string(78, 'x'));
}

// --- Seeking

struct BufferSeekRow {
    const char* name;
    long offset;
    Buffer::SeekStart start;
    long position;  // -1 for a failure
    const char* error;
};

void PrintTo(const BufferSeekRow& row, std::ostream* out)
{
    *out << row.name;
}

constexpr const char* kBeforeBegin = "Try to reverse seek past begin";

// Over 120 bytes in three chunks, from position 50.
constexpr BufferSeekRow kSeekRows[] = {
    {"ToTheBegin", 0, kBegin, 0, ""},
    {"ToAChunksEnd", 40, kBegin, 40, ""},
    {"ToTheSwapFile", 110, kBegin, 110, ""},
    {"ToTheEnd", 120, kBegin, 120, ""},
    {"BeforeTheBegin", -1, kBegin, -1, "Fail to seek with a negative offset from begin"},
    {"FarBeforeTheBegin", LONG_MIN, kBegin, -1, "Fail to seek with a negative offset from begin"},
    {"Nowhere", 0, kCurrent, 50, ""},
    {"Forward", 45, kCurrent, 95, ""},
    {"Back", -5, kCurrent, 45, ""},
    {"BackToAnotherChunk", -20, kCurrent, 30, ""},
    {"BackToTheBegin", -50, kCurrent, 0, ""},
    {"BackBeforeTheBegin", -51, kCurrent, -1, kBeforeBegin},
    {"FarBack", LONG_MIN, kCurrent, -1, kBeforeBegin},
    {"ToTheVeryEnd", 0, kEnd, 120, ""},
    {"BackFromTheEnd", -1, kEnd, 119, ""},
    {"FromTheEndToTheBegin", -120, kEnd, 0, ""},
    {"FromTheEndBeforeTheBegin", -121, kEnd, -1, kBeforeBegin},
    {"FarBackFromTheEnd", LONG_MIN, kEnd, -1, kBeforeBegin},
    {"BeyondTheEnd", 10, kEnd, -1, "Fail to seek with a negative offset from end"},
    {"FromNowhere", 0, static_cast<Buffer::SeekStart>(3), -1, ""},
    {"FromBeforeNowhere", 1, static_cast<Buffer::SeekStart>(-1), -1, ""},
};

class qzIoDeviceMemoryChunkAndSwapBufferSeek : public ::testing::TestWithParam<BufferSeekRow> {};

TEST_P(qzIoDeviceMemoryChunkAndSwapBufferSeek, EndsAsItsRow)
{
    const BufferSeekRow& row = GetParam();
    const support::LibraryStart library;
    const support::ScratchFolder folder;
    Buffer buffer(folder.getPath(), 40, 40, 100);
    for (int i = 0; i < 12; ++i)
        write(buffer, "0123456789");
    ASSERT_TRUE(buffer.seek(50, kBegin));
    EXPECT_EQ(buffer.seek(row.offset, row.start), row.position >= 0);
    EXPECT_EQ(buffer.getDeviceErrorMsg(), row.error);
    const long expected = row.position >= 0 ? row.position : 50;
    EXPECT_EQ(buffer.getCurrentPos(), expected);
    EXPECT_EQ(buffer.atEnd(), expected == 120);
    EXPECT_EQ(buffer.getUsedByteCount(), 120U);
    buffer.clearDeviceError();
    if (expected != 120) {
        EXPECT_EQ(read(buffer, 1), std::to_string(expected % 10));
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, qzIoDeviceMemoryChunkAndSwapBufferSeek,
                         ::testing::ValuesIn(kSeekRows),
                         [](const auto& row) { return row.param.name; });

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, GrowsByZerosWhenItSeeksBeyondTheEnd)
{
    EXPECT_TRUE(mSwapped.seek(100, kBegin));
    EXPECT_EQ(mSwapped.getWrittenBytes(), 100U);
    EXPECT_EQ(mSwapped.getUsedByteCount(), 100U);
    EXPECT_TRUE(mSwapped.atEnd());
    EXPECT_EQ(readAll(mSwapped), std::string(100, '\0'));
    EXPECT_TRUE(mSwapped.seek(30, kCurrent));
    EXPECT_EQ(mSwapped.getCurrentPos(), 130);
    EXPECT_EQ(readAll(mSwapped), std::string(130, '\0'));
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, GrowsByZerosFromTheMiddle)
{
    write(mMemory, "abcdefghijklmnopqrstuvwxyz");
    mMemory.seek(3, kBegin);
    EXPECT_TRUE(mMemory.seek(300'000, kCurrent));
    EXPECT_EQ(mMemory.getCurrentPos(), 300'003);
    EXPECT_EQ(mMemory.getWrittenBytes(), 300'003U);
    // Pieces of 128 KiB decide about the chunks.
    EXPECT_THAT(Peer::getCapacities(mMemory), ElementsAre(10, 20, 131068, 131072, 37833));
    EXPECT_EQ(readAll(mMemory), "abcdefghijklmnopqrstuvwxyz" + std::string(300'003 - 26, '\0'));
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, GrowsByItsOwnWrites)
{
    class Recording : public Buffer {
    public:
        using Buffer::Buffer;
        unsigned long writeBytes(const char* src, unsigned long size) override
        {
            mSizes.push_back(size);
            return Buffer::writeBytes(src, size);
        }
        std::vector<unsigned long> mSizes;
    } buffer(10, 10);
    EXPECT_TRUE(buffer.seek(300'000, kBegin));
    EXPECT_THAT(buffer.mSizes, ElementsAre(131072, 131072, 37856));
}

// --- Errors

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, MovesNothingInError)
{
    write(mMemory, "abc");
    mMemory.seek(1, kBegin);
    mMemory.setDeviceError("stop");
    EXPECT_EQ(write(mMemory, "x"), 0U);
    EXPECT_EQ(write(mMemory, std::string(100, 'x')), 0U);
    EXPECT_EQ(read(mMemory, 1), "");
    EXPECT_FALSE(mMemory.seek(0, kBegin));
    EXPECT_FALSE(mMemory.writeBackToDevice(mDevice, nullptr, nullptr));
    EXPECT_EQ(mMemory.getDeviceErrorMsg(), "stop");
    EXPECT_EQ(mMemory.getCurrentPos(), 1);
    mMemory.clearDeviceError();
    EXPECT_EQ(read(mMemory, 5), "bc");
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, ReportsThatItCannotRewind)
{
    class Unmovable : public Buffer {
    public:
        using Buffer::Buffer;
        bool seek(long /*offset*/, SeekStart /*start*/) override { return false; }
    } buffer(10, 10);
    EXPECT_FALSE(buffer.writeBackToDevice(mDevice, nullptr, nullptr));
    EXPECT_EQ(buffer.getDeviceErrorMsg(), "Fail to rewind device");
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, StaysWholeWhenAllocationsFail)
{
    const std::string folder = mFolder.getPath("swap");
    const std::string bytes(150, 'x');
    const auto work = [&] {
        Buffer buffer(folder, 40, 40, 100);
        for (int i = 0; i < 15; ++i) {
            try {
                buffer.writeBytes(bytes.data(), 10);
            } catch (const std::bad_alloc&) {
                const support::AllocationPause ownWork;
                const unsigned long size = buffer.getUsedByteCount();
                EXPECT_EQ(buffer.getCurrentPos(), static_cast<long>(size));
                EXPECT_EQ(size % 10, 0U);
                EXPECT_EQ(readAll(buffer).size(), size);
                throw;
            }
        }
        buffer.clearDevice(Buffer::ClearWipeChunks);
        buffer.clearDevice(Buffer::ClearFreeChunks);
    };
    const std::size_t count = support::failEachAllocation(
        work, [this](const support::AllocationFailure&) { EXPECT_EQ(countFiles(), 0U); });
    EXPECT_GT(count, 5U);
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, KeepsThePartOfAWriteForWhichThereWasMemory)
{
    const std::string bytes(150, 'x');
    for (const std::size_t failing : {1U, 2U, 3U}) {
        Buffer buffer(40, 40);
        ASSERT_EQ(write(buffer, std::string(10, 'a')), 10U);
        bool hasThrown = false;
        {
            const support::AllocationFault fault(failing);
            try {
                buffer.writeBytes(bytes.data(), bytes.size());
            } catch (const std::bad_alloc&) {
                hasThrown = true;
            }
        }
        EXPECT_TRUE(hasThrown) << failing;
        const unsigned long size = buffer.getUsedByteCount();
        EXPECT_GE(size, 40U) << failing;
        EXPECT_EQ(buffer.getCurrentPos(), static_cast<long>(size)) << failing;
        EXPECT_EQ(buffer.getWrittenBytes(), 10U) << "of the successful writes";
        EXPECT_EQ(readAll(buffer), std::string(10, 'a') + std::string(size - 10, 'x')) << failing;
        EXPECT_TRUE(buffer.good());
    }
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, StaysUsableWhenAClearFindsNoMemory)
{
    const std::string folder = mFolder.getPath("swap");
    for (const auto mode : {Buffer::ClearFreeChunks, Buffer::ClearWipeChunks}) {
        std::unique_ptr<Buffer> buffer;
        support::failEachAllocation(
            [&] {
                {
                    const support::AllocationPause ownWork;
                    buffer = std::make_unique<Buffer>(folder, 40, 40, 100);
                    write(*buffer, std::string(150, 'x'));
                }
                buffer->clearDevice(mode);
            },
            [&](const support::AllocationFailure&) {
                if (mode == Buffer::ClearFreeChunks) {
                    EXPECT_EQ(readAll(*buffer), std::string(150, 'x')) << "nothing was freed";
                }
                buffer->clearDevice(Buffer::ClearFreeChunks);
                EXPECT_EQ(write(*buffer, std::string(150, 'y')), 150U);
                EXPECT_EQ(readAll(*buffer), std::string(150, 'y'));
            });
    }
}

// The file may be missing then, which a write reports; or it is the old one, whose position is not
// 0.
TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, ReadsWhatItWritesAfterAWipeThatFoundNoMemory)
{
    const std::string folder = mFolder.getPath("swap");
    const std::string bytes(150, 'y');
    std::unique_ptr<Buffer> buffer;
    const std::size_t failures = support::failEachAllocation(
        [&] {
            {
                const support::AllocationPause ownWork;
                buffer = std::make_unique<Buffer>(folder, 40, 40, 100);
                write(*buffer, std::string(170, 'x'));
            }
            buffer->clearDevice(Buffer::ClearWipeChunks);
        },
        [&](const support::AllocationFailure&) {
            EXPECT_TRUE(write(*buffer, bytes) == 0 || readAll(*buffer) == bytes);
            EXPECT_THAT(buffer->getDeviceErrorMsg(),
                        AnyOf(IsEmpty(), StartsWith("Fail to write to swap file ")));
            buffer->clearDevice(Buffer::ClearKeepChunks);
            EXPECT_EQ(write(*buffer, bytes), 150U);
            EXPECT_EQ(readAll(*buffer), bytes);
        });
    EXPECT_GT(failures, 1U);
}

// --- Copying out

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, WritesAllChunksBack)
{
    write(mSwapped, std::string(40, 'a') + std::string(60, 'b') + std::string(30, 'c'));
    unsigned long count = 0;
    std::vector<char> unused;
    EXPECT_TRUE(mSwapped.writeBackToDevice(mDevice, &count, &unused));
    EXPECT_EQ(count, 130U);
    EXPECT_EQ(mDevice.getContent(),
              std::string(40, 'a') + std::string(60, 'b') + std::string(30, 'c'));
    EXPECT_THAT(mDevice.getCalls(),
                ElementsAre("write 40 -> 40", "write 60 -> 60", "write 30 -> 30"));
    EXPECT_THAT(unused, IsEmpty());
    EXPECT_EQ(mSwapped.getCurrentPos(), 0);
    EXPECT_EQ(readAll(mSwapped).size(), 130U);
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, WritesTheSwapFileBackInPiecesOfFourMebibytes)
{
    const std::string bytes(4194304 + 100 + 1000, 'x');
    write(mSwapped, bytes);
    EXPECT_TRUE(mSwapped.writeBackToDevice(mDevice, nullptr, nullptr));
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 40 -> 40", "write 60 -> 60",
                                                "write 4194304 -> 4194304", "write 1000 -> 1000"));
    EXPECT_TRUE(mDevice.getContent() == bytes);
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, SkipsEmptyChunksWhenItWritesBack)
{
    unsigned long count = 7;
    EXPECT_TRUE(mSwapped.writeBackToDevice(mDevice, &count, nullptr));
    EXPECT_EQ(count, 0U);
    write(mSwapped, std::string(150, 'x'));
    mSwapped.clearDevice(Buffer::ClearKeepChunks);
    write(mSwapped, "abc");
    EXPECT_TRUE(mSwapped.writeBackToDevice(mDevice, &count, nullptr));
    EXPECT_EQ(count, 3U);
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 3 -> 3"));
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, FailsWithoutAnErrorWhenTheDestinationTakesTooLittle)
{
    write(mSwapped, std::string(150, 'x'));
    mDevice.stopAfter(50);
    unsigned long count = 7;
    EXPECT_FALSE(mSwapped.writeBackToDevice(mDevice, &count, nullptr));
    EXPECT_EQ(count, 7U);
    EXPECT_TRUE(mSwapped.good());
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, OverlooksAShortWriteOfBytesFromTheSwapFile)
{
    write(mSwapped, std::string(150, 'x'));
    mDevice.stopAfter(120);
    unsigned long count = 7;
    EXPECT_TRUE(mSwapped.writeBackToDevice(mDevice, &count, nullptr));
    EXPECT_EQ(count, 150U);
    EXPECT_EQ(mDevice.getContent().size(), 120U);
    DeviceStub failing;
    failing.stopAfter(120);
    failing.setErrorOfShortMoves("full");
    EXPECT_FALSE(mSwapped.writeBackToDevice(failing, &count, nullptr));
    EXPECT_TRUE(mSwapped.good());
}

// --- Clearing

class qzIoDeviceMemoryChunkAndSwapBufferClear
    : public qzIoDeviceMemoryChunkAndSwapBufferTest,
      public ::testing::WithParamInterface<Buffer::ClearMode> {};

TEST_P(qzIoDeviceMemoryChunkAndSwapBufferClear, LeavesAnEmptyDeviceThatWorks)
{
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(write(mSwapped, std::string(150, 'x')), 150U);
        mSwapped.setDeviceError("stop");
        mSwapped.clearDevice(GetParam());
        EXPECT_TRUE(mSwapped.good());
        EXPECT_TRUE(mSwapped.atEnd());
        EXPECT_EQ(mSwapped.getCurrentPos(), 0);
        EXPECT_EQ(mSwapped.getWrittenBytes(), 0U);
        EXPECT_EQ(mSwapped.getUsedByteCount(), 0U);
        EXPECT_EQ(readAll(mSwapped), "");
        EXPECT_TRUE(mSwapped.seek(0, kEnd));
        EXPECT_EQ(mSwapped.getCurrentPos(), 0);
    }
    write(mSwapped, std::string(130, 'y'));
    EXPECT_EQ(readAll(mSwapped), std::string(130, 'y'));
}

INSTANTIATE_TEST_SUITE_P(Modes, qzIoDeviceMemoryChunkAndSwapBufferClear,
                         ::testing::Values(Buffer::ClearFreeChunks, Buffer::ClearKeepChunks,
                                           Buffer::ClearWipeChunks));

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, FreesItsChunks)
{
    write(mSwapped, std::string(150, 'x'));
    mSwapped.clearDevice(Buffer::ClearFreeChunks);
    EXPECT_THAT(Peer::getCapacities(mSwapped), ElementsAre(40));
    EXPECT_EQ(Peer::getChunkCount(mSwapped), 1U);
    EXPECT_EQ(countFiles(), 0U);
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, KeepsItsChunks)
{
    write(mSwapped, std::string(150, 'x'));
    mSwapped.clearDevice(Buffer::ClearKeepChunks);
    EXPECT_THAT(Peer::getCapacities(mSwapped), ElementsAre(40, 60, kUnlimited));
    EXPECT_EQ(Peer::getChunkCount(mSwapped), 3U);
    EXPECT_EQ(mSwapped.getMemoryFootPrint(), 100U);
    EXPECT_EQ(countFiles(), 1U);
    write(mSwapped, std::string(150, 'y'));
    EXPECT_EQ(Peer::getChunkCount(mSwapped), 3U);
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, LeavesNoOldBytesInMemoryAfterAWipe)
{
    write(mMemory, "secret");
    const char* const memory = Peer::getMemory(mMemory).data();
    mMemory.clearDevice(Buffer::ClearKeepChunks);
    write(mMemory, "x");
    EXPECT_EQ(std::string(memory, 6), "xecret");
    mMemory.clearDevice(Buffer::ClearWipeChunks);
    write(mMemory, "y");
    EXPECT_EQ(Peer::getMemory(mMemory).data(), memory);
    EXPECT_EQ(std::string(memory, 10), "y" + std::string(9, '\0'));
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, KeepsAllBytesForAnUnknownWayToClear)
{
    write(mMemory, std::string(10, 'a') + std::string(20, 'b'));
    mMemory.clearDevice(static_cast<Buffer::ClearMode>(3));
    EXPECT_EQ(mMemory.getUsedByteCount(), 30U);
    EXPECT_EQ(mMemory.getWrittenBytes(), 0U);
    EXPECT_EQ(read(mMemory, 30), std::string(10, 'a'));
    EXPECT_TRUE(mMemory.atEnd());
    EXPECT_TRUE(mMemory.seek(0, kEnd));
    EXPECT_EQ(mMemory.getCurrentPos(), 10) << "the end of what is written since then";
    EXPECT_EQ(write(mMemory, "x"), 1U);
    EXPECT_EQ(mMemory.getUsedByteCount(), 30U);
    EXPECT_EQ(readAll(mMemory), std::string(10, 'a') + "x" + std::string(19, 'b'));
}

// --- Chunks by themselves

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, ChunksAnswerForMemoryAndForFiles)
{
    Buffer::Chunk memory(100);
    EXPECT_EQ(memory.capacity(), 100U);
    EXPECT_EQ(memory.size(), 0U);
    EXPECT_TRUE(memory.empty());
    memory.resetChunk(true);
    EXPECT_EQ(memory.capacity(), 100U);
    EXPECT_EQ(Buffer::Chunk(0).capacity(), 0U);

    const std::string folder = mFolder.getPath("swap");
    {
        Buffer::Chunk swap(folder);
        EXPECT_EQ(swap.capacity(), kUnlimited);
        EXPECT_TRUE(swap.empty());
        EXPECT_EQ(countFiles(), 1U);
        swap.resetChunk(true);
        EXPECT_EQ(countFiles(), 1U);
    }
    EXPECT_EQ(countFiles(), 0U);
}

TEST_F(qzIoDeviceMemoryChunkAndSwapBufferTest, CountsAMillionChunksWithoutWalkingThem)
{
    Buffer buffer(mFolder.getPath("swap"), 1, 1, 2'000'000);
    for (int i = 0; i < 1'000'000; ++i)
        ASSERT_EQ(buffer.writeBytes("x", 1), 1U);
    EXPECT_EQ(Peer::getChunkCount(buffer), 1'000'000U);
    EXPECT_EQ(buffer.getUsedByteCount(), 1'000'000U);
    EXPECT_EQ(buffer.getMemoryFootPrint(), 1'000'000U);
}

}  // namespace qz
