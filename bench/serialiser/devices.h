// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// Devices in memory that do no more than move bytes.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include <qz/qzIoDevice.h>

namespace bench {

/// Copies 4 to 16 bytes as two halves, which overlap in the middle: a call of memcpy, which has to
/// look at the size, costs more than the bytes do.
inline void copySmall(char* to, const char* from, std::size_t size)
{
    const auto copyHalves = [=]<typename Half>(Half head, Half tail) {
        std::memcpy(&head, from, sizeof head);
        std::memcpy(&tail, from + size - sizeof tail, sizeof tail);
        std::memcpy(to, &head, sizeof head);
        std::memcpy(to + size - sizeof tail, &tail, sizeof tail);
    };
    if (size < 8) {
        copyHalves(std::uint32_t{}, std::uint32_t{});
    } else {
        copyHalves(std::uint64_t{}, std::uint64_t{});
    }
}

inline bool isSmall(std::size_t size)
{
    return size >= 4 && size <= 16;
}

struct FreeMemory {
    void operator()(char* memory) const { std::free(memory); }
};

struct Bytes {
    std::unique_ptr<char, FreeMemory> data;
    std::size_t size = 0;
};

/// A device in memory that grows as it is written to.
class GrowingDevice final : public qz::qzIoDevice {
public:
    GrowingDevice() : qzIoDevice(DataWayWrite) {}

    unsigned long writeBytes(const char* src, unsigned long size) override
    {
        if (!isSmall(size) || size > mRoom || hasOwnError()) return writeAny(src, size);
        copySmall(mNext, src, size);
        mNext += size;
        mRoom -= size;
        return size;
    }

    unsigned long readBytes(char*, unsigned long) override
    {
        setDeviceError("Read is not supported");
        return 0;
    }

    bool atEnd() const override { return true; }

    /// Hands over what was written.
    Bytes takeBytes()
    {
        const std::size_t size = getSize();
        return {std::move(mData), size};
    }

private:
    std::size_t getSize() const { return static_cast<std::size_t>(mNext - mData.get()); }

    [[gnu::noinline]] unsigned long writeAny(const char* src, unsigned long size)
    {
        if (hasOwnError()) return 0;
        if (size > mRoom) grow(getSize() + size);
        std::memcpy(mNext, src, size);
        mNext += size;
        mRoom -= size;
        return size;
    }

    void grow(std::size_t needed)
    {
        const std::size_t size = getSize();
        std::size_t capacity = std::max<std::size_t>(size + mRoom, 8192);
        while (capacity < needed)
            capacity *= 2;
        char* grown = static_cast<char*>(std::realloc(mData.get(), capacity));
        if (grown == nullptr) throw std::bad_alloc();
        static_cast<void>(mData.release());  // realloc has taken it
        mData.reset(grown);
        mNext = grown + size;
        mRoom = capacity - size;
    }

    std::unique_ptr<char, FreeMemory> mData;
    char* mNext = nullptr;
    std::size_t mRoom = 0;
};

/// Reads bytes of the caller's.
class ReadingDevice final : public qz::qzIoDevice {
public:
    explicit ReadingDevice(const Bytes& bytes)
        : qzIoDevice(DataWayRead), mNext(bytes.data.get()), mLeft(bytes.size)
    {
    }

    unsigned long readBytes(char* dst, unsigned long size) override
    {
        if (!isSmall(size) || size > mLeft || hasOwnError()) return readAny(dst, size);
        copySmall(dst, mNext, size);
        mNext += size;
        mLeft -= size;
        return size;
    }

    unsigned long writeBytes(const char*, unsigned long) override
    {
        setDeviceError("Write is not supported");
        return 0;
    }

    bool atEnd() const override { return mLeft == 0; }

private:
    [[gnu::noinline]] unsigned long readAny(char* dst, unsigned long size)
    {
        if (hasOwnError()) return 0;
        size = std::min(size, mLeft);
        std::memcpy(dst, mNext, size);
        mNext += size;
        mLeft -= size;
        return size;
    }

    const char* mNext;
    std::size_t mLeft;
};

}  // namespace bench
