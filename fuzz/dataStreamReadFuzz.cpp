// SPDX-License-Identifier: MIT
// Reads bytes of chance as values of types of chance, in both byte orders, and compares each value
// with one that is put together byte by byte.
//
// The input: how many operations, one byte each, and then the bytes that the device has.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <qz/qzDataStream.h>
#include <qz/qzIoDevice.h>

#include "../tests/support/LibraryStart.h"
#include "support/FuzzInput.h"

namespace {

using qz::qzDataStream;
using qz::fuzz::expectSame;
using qz::fuzz::FuzzInput;

class MemoryDevice : public qz::qzIoDevice {
public:
    explicit MemoryDevice(std::string bytes) : qzIoDevice(DataWayRead), mBytes(std::move(bytes)) {}

    unsigned long readBytes(char* dst, unsigned long size) override
    {
        const unsigned long count = good() ? mBytes.copy(dst, size, mPosition) : 0;
        mPosition += count;
        // An odd length stands for a device that breaks at its end.
        if (count < size && mBytes.size() % 2 == 1) setDeviceError("broken");
        return count;
    }
    unsigned long writeBytes(const char* /*src*/, unsigned long /*size*/) override { return 0; }
    bool atEnd() const override { return mPosition == mBytes.size(); }

    std::size_t getPosition() const { return mPosition; }
    std::string getRest() const { return mBytes.substr(mPosition); }

    // Cuts the count that comes next below 64 KiB: it may ask for 4 GiB, which is allowed, but more
    // than a fuzzer can afford.
    void limitNextCount(bool isBig)
    {
        if (mBytes.size() - mPosition < 4) return;
        char* const count = mBytes.data() + mPosition;
        const std::ptrdiff_t high = isBig ? 0 : 2;
        std::fill_n(count + high, 2, '\0');
    }

private:
    std::string mBytes;
    std::size_t mPosition = 0;
};

// The stream in its plain form: takes the same bytes from a text.
class PlainReader {
public:
    PlainReader(std::string bytes, bool isBig, bool isOk, bool breaksAtEnd)
        : mBytes(std::move(bytes)), mIsBig(isBig), mIsOk(isOk), mBreaksAtEnd(breaksAtEnd)
    {
    }

    bool isOk() const { return mIsOk; }
    std::size_t getTaken() const { return mTaken; }

    // What the destination of a number holds after the read, which held `old` before.
    std::string readNumber(std::string old)
    {
        const std::string got = take(old.size());
        old.replace(0, got.size(), got);
        return mIsBig ? std::string(old.rbegin(), old.rend()) : old;
    }

    std::string readText()
    {
        if (!mIsOk) return {};
        const std::string count = readNumber(std::string(4, '\0'));
        if (!mIsOk) return {};
        std::uint32_t size = 0;
        for (int i = 3; i >= 0; --i) {
            size = size << 8 | static_cast<unsigned char>(count[static_cast<std::size_t>(i)]);
        }
        const std::string text = size == 0 ? std::string() : take(size);
        return mIsOk ? text : std::string();
    }

    std::string readRaw(std::size_t size)
    {
        return mIsOk && size != 0 ? take(size) : std::string();
    }

private:
    std::string take(std::size_t size)
    {
        const std::string got = mBroken ? std::string() : mBytes.substr(mTaken, size);
        mTaken += got.size();
        if (got.size() < size) {
            mIsOk = false;
            mBroken = mBroken || mBreaksAtEnd;
        }
        return got;
    }

    std::string mBytes;
    std::size_t mTaken = 0;
    bool mIsBig;
    bool mIsOk;
    bool mBreaksAtEnd;
    bool mBroken = false;
};

class Trial {
public:
    explicit Trial(const std::string& bytes)
        : mDevice(bytes),
          mBreaksAtEnd(bytes.size() % 2 == 1),
          mStream(mDevice, qzDataStream::LittleEndian)
    {
    }

    void run(unsigned int operation)
    {
        const std::size_t before = mDevice.getPosition();
        PlainReader plain(mDevice.getRest(), mIsBig, mIsOk, mBreaksAtEnd);
        switch (operation % 16) {
            case 0:
                return setByteOrder();
            case 1:
                return restart();
            case 2:
                readBool(plain);
                break;
            case 3:
                readNumber<char>(plain);
                break;
            case 4:
                readNumber<unsigned char>(plain);
                break;
            case 5:
                readNumber<short>(plain);
                break;
            case 6:
                readNumber<unsigned short>(plain);
                break;
            case 7:
                readNumber<int>(plain);
                break;
            case 8:
                readNumber<unsigned int>(plain);
                break;
            case 9:
                readNumber<long>(plain);
                break;
            case 10:
                readNumber<unsigned long>(plain);
                break;
            case 11:
                readNumber<float>(plain);
                break;
            case 12:
                readNumber<double>(plain);
                break;
            case 13:
                readText<std::string>();
                return;
            case 14:
                readText<std::vector<char>>();
                return;
            default:
                readRaw(plain, operation);
        }
        compareState(plain, before);
    }

private:
    // An operation that moves no byte.
    void setByteOrder()
    {
        mIsBig = !mIsBig;
        mStream.setEndianness(mIsBig ? qzDataStream::BigEndian : qzDataStream::LittleEndian);
    }

    void restart()
    {
        mStream.setIoDevice(&mDevice, mStream.getEndianness());
        mIsOk = true;
    }

    void readBool(PlainReader& plain)
    {
        bool value = true;
        mStream >> value;
        expectSame(value == (plain.readNumber(std::string(1, '\0')) != std::string(1, '\0')),
                   "bool");
    }

    template <typename T>
    void readNumber(PlainReader& plain)
    {
        const std::string old(sizeof(T), '\x5A');
        T value{};
        std::memcpy(&value, old.data(), sizeof value);
        mStream >> value;
        std::string bits(sizeof value, '\0');
        std::memcpy(bits.data(), &value, sizeof value);
        expectSame(bits == plain.readNumber(old), "number");
    }

    template <typename Bytes>
    void readText()
    {
        const std::size_t before = mDevice.getPosition();
        mDevice.limitNextCount(mIsBig);
        PlainReader plain(mDevice.getRest(), mIsBig, mIsOk, mBreaksAtEnd);
        Bytes bytes{'o', 'l', 'd'};
        mStream >> bytes;
        expectSame(std::string(bytes.begin(), bytes.end()) == plain.readText(), "text");
        expectSame(mStream.isOk() || bytes.empty(), "text after a failure");
        compareState(plain, before);
    }

    void readRaw(PlainReader& plain, unsigned int size)
    {
        std::string bytes(size, '?');
        bytes.resize(mStream.readRawBytes(bytes.data(), size));
        expectSame(bytes == plain.readRaw(size), "raw bytes");
    }

    void compareState(const PlainReader& plain, std::size_t before)
    {
        mIsOk = plain.isOk();
        expectSame(mDevice.getPosition() - before == plain.getTaken(), "count of bytes");
        expectSame(mStream.isOk() == (mIsOk && mDevice.good()), "isOk");
        expectSame(mStream.getErrorMsg() == mDevice.getDeviceErrorMsg(), "error text");
    }

    MemoryDevice mDevice;
    bool mBreaksAtEnd;
    qzDataStream mStream;
    bool mIsBig = false;
    bool mIsOk = true;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const qz::support::LibraryStart library;
    FuzzInput input(data, size);
    const std::string operations = input.takeBytes(input.takeByte());
    Trial trial(input.takeRest());
    for (const char operation : operations)
        trial.run(static_cast<unsigned char>(operation));
    return 0;
}
