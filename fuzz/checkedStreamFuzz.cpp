// SPDX-License-Identifier: MIT
// Reads bytes of chance as values, lists and frames with limits of chance, and compares each value
// with what a `qzDataStream` makes of the same bytes. Memory must be in proportion to the bytes.
// The whole process fits into 64 MiB (-rss_limit_mb=64, ASAN_OPTIONS=quarantine_size_mb=1).
//
// The input: the limits and the device (8 bytes), how many operations, one byte each, and then the
// bytes that the device has.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <qz/ext/CheckedStream.h>
#include <qz/ext/DataFrame.h>
#include <qz/qzDataStream.h>
#include <qz/qzIoDevice.h>

#include "../tests/support/LibraryStart.h"
#include "support/FuzzInput.h"
#include "support/MemoryBound.h"

namespace {

using qz::qzDataStream;
using qz::ext::CheckedStream;
using qz::ext::FrameFormat;
using qz::ext::FrameReader;
using qz::ext::StreamFailure;
using qz::ext::StreamLimits;
using qz::fuzz::expectSame;
using qz::fuzz::FuzzInput;

constexpr FrameFormat kFormat("QZFUZZED", /*newestVersion=*/2);

class MemoryDevice : public qz::qzIoDevice {
public:
    // Gives at most so many bytes a call; 0 stands for any number.
    explicit MemoryDevice(std::string bytes = {}, unsigned long mostBytes = 0)
        : qzIoDevice(DataWayReadWrite), mBytes(std::move(bytes)), mMostBytes(mostBytes)
    {
    }

    unsigned long readBytes(char* dst, unsigned long size) override
    {
        if (mMostBytes != 0) size = std::min(size, mMostBytes);
        const unsigned long count = mBytes.copy(dst, size, mPosition);
        mPosition += count;
        return count;
    }
    unsigned long writeBytes(const char* src, unsigned long size) override
    {
        mBytes.append(src, size);
        return size;
    }
    bool atEnd() const override { return mPosition == mBytes.size(); }

    const std::string& getBytes() const { return mBytes; }
    std::size_t getPosition() const { return mPosition; }

private:
    std::string mBytes;
    unsigned long mMostBytes;
    std::size_t mPosition = 0;
};

template <typename T>
std::string toImage(const T& value)
{
    if constexpr (std::is_arithmetic_v<T>)
        return {reinterpret_cast<const char*>(&value), sizeof value};
    else
        return {value.begin(), value.end()};
}

// A tree as lists of lists, with a byte a node.
struct Node {
    char value = 0;
    std::vector<Node> children;
};

bool readNode(CheckedStream& stream, Node& node)
{
    const auto readChild = [&](Node& child) { return readNode(stream, child); };
    return stream.read(node.value) && stream.readList(node.children, readChild);
}

class Trial {
public:
    Trial(const StreamLimits& limits, bool isBig, unsigned long mostBytes, std::string bytes)
        : mOrder(isBig ? qzDataStream::BigEndian : qzDataStream::LittleEndian),
          mTotalBytes(limits.totalBytes),
          mDevice(std::move(bytes), mostBytes),
          mStream(mDevice, mOrder, limits)
    {
    }

    void run(unsigned int operation)
    {
        switch (operation % 18) {
            case 0:
                return readValue<bool>(true);
            case 1:
                return readValue<char>('o');
            case 2:
                return readValue<unsigned char>(7);
            case 3:
                return readValue<short>(7);
            case 4:
                return readValue<unsigned short>(7);
            case 5:
                return readValue<int>(7);
            case 6:
                return readValue<unsigned int>(7);
            case 7:
                return readValue<long>(7);
            case 8:
                return readValue<unsigned long>(7);
            case 9:
                return readValue<float>(7);
            case 10:
                return readValue<double>(7);
            case 11:
            case 12:
                return readValue<std::string>("old");
            case 13:
                return readValue<std::vector<char>>({'o'});
            case 14:
                return readList<short>();
            case 15:
                return readList<std::string>();
            case 16:
                return readTree();
            default:
                return readEnd();
        }
    }

private:
    // What a plain stream makes of the bytes from a position on.
    template <typename T>
    bool readPlain(std::size_t position, T& value)
    {
        MemoryDevice device(mDevice.getBytes().substr(position, mStream.getOffset() - position));
        qzDataStream stream(device, mOrder);
        stream >> value;
        return stream.isOk() && device.atEnd();
    }

    template <typename T>
    void readValue(T old)
    {
        const Before before(*this);
        T value = old;
        if (mStream.read(value)) {
            T plain{};
            expectSame(readPlain(before.position, plain), "plain value");
            expectSame(toImage(value) == toImage(plain), "value");
        } else {
            expectSame(toImage(value) == toImage(old), "destination after a failure");
        }
    }

    template <typename Item>
    void readList()
    {
        const Before before(*this);
        std::vector<Item> items(3);
        const bool isRead = mStream.readList(items);
        expectSame(isRead || items == std::vector<Item>(3), "list after a failure");
        unsigned int count = 0;
        MemoryDevice device(mDevice.getBytes().substr(before.position));
        qzDataStream plain(device, mOrder);
        if (isRead) plain >> count;
        expectSame(!isRead || count == items.size(), "count");
        for (unsigned int i = 0; i < count; ++i) {
            Item item{};
            plain >> item;
            expectSame(item == items[i], "item");
        }
    }

    void readTree()
    {
        const Before before(*this);
        Node root;
        readNode(mStream, root);
    }

    void readEnd()
    {
        const Before before(*this);
        const bool wasAtEnd = mDevice.atEnd();
        if (mStream.readEnd()) expectSame(wasAtEnd, "end");
    }

    // Checks what holds around each read: a failure stays, and after it no byte moves.
    struct Before {
        explicit Before(Trial& ofTrial)
            : trial(ofTrial),
              position(ofTrial.mDevice.getPosition()),
              failure(ofTrial.mStream.getFailure())
        {
        }
        Before(const Before&) = delete;
        Before& operator=(const Before&) = delete;
        ~Before()
        {
            const std::size_t now = trial.mDevice.getPosition();
            expectSame(now == trial.mStream.getOffset(), "offset");
            expectSame(now <= trial.mTotalBytes + 1, "limit of the whole");
            expectSame(trial.mStream.isOk() == trial.mStream.getFailure().text.empty(), "text");
            if (!failure) return;
            expectSame(now == position, "position after a failure");
            expectSame(trial.mStream.getFailure().text == failure.text, "first failure");
        }

        Trial& trial;
        const std::size_t position;
        const StreamFailure failure;
    };

    qzDataStream::Endianness mOrder;
    unsigned long mTotalBytes;
    MemoryDevice mDevice;
    CheckedStream mStream;
};

// A frame that is accepted is the one that a writer writes, byte for byte.
void readFrames(const std::string& bytes, unsigned long mostBytes, unsigned long limit)
{
    MemoryDevice device(bytes, mostBytes);
    FrameReader frames(device, kFormat, limit);
    std::string payload;
    for (std::size_t start = 0; frames.read(payload); start = device.getPosition()) {
        MemoryDevice written;
        FrameFormat format = kFormat;
        format.version = frames.getVersion();
        expectSame(writeFrame(written, format, payload), "write of a frame");
        expectSame(bytes.compare(start, device.getPosition() - start, written.getBytes()) == 0,
                   "frame");
        expectSame(payload.size() <= limit && format.version <= kFormat.version, "limits");
    }
    expectSame(static_cast<bool>(frames.getFailure()), "failure at the end");
}

// The fuzzer doesn't find a checksum, so the bytes also go into a frame, of which one bit is
// flipped.
void flipBit(const std::string& bytes, unsigned int chosen)
{
    MemoryDevice written;
    writeFrame(written, kFormat, bytes);
    std::string flipped = written.getBytes();
    const std::size_t bit = chosen * 31U % (8 * flipped.size());
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
    MemoryDevice device(flipped);
    FrameReader frames(device, kFormat);
    std::string payload = "old";
    expectSame(!frames.read(payload) && payload == "old", "a flipped bit");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const qz::support::LibraryStart library;
    // Most of it is for the copies that are compared; a length may claim 4 GiB.
    const qz::fuzz::MemoryBound bound(400'000 + 200 * size);
    FuzzInput input(data, size);
    StreamLimits limits;
    limits.textBytes = input.takeByte() * 0x0102'0304UL;
    limits.listItems = input.takeByte() * 0x0102'0304UL;
    limits.totalBytes = input.takeByte() * input.takeByte() * 70'000UL;
    limits.depth = input.takeByte();
    const bool isBig = input.takeByte() % 2 == 1;
    const unsigned long mostBytes = input.takeByte();
    const unsigned int chosen = input.takeByte();
    const std::string operations = input.takeBytes(input.takeByte());
    const std::string bytes = input.takeRest();
    readFrames(bytes, mostBytes, limits.textBytes);
    flipBit(bytes, chosen);
    Trial trial(limits, isBig, mostBytes, bytes);
    for (const char operation : operations)
        trial.run(static_cast<unsigned char>(operation));
    return 0;
}
