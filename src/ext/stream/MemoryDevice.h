#pragma once

#include <string_view>

#include <qz/qzIoDevice.h>

namespace qz::ext {

/// Reads bytes in memory, which it doesn't own.
class MemoryDevice final : public qzIoDevice {
public:
    explicit MemoryDevice(std::string_view bytes) : qzIoDevice(DataWayRead), mRest(bytes) {}

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

}  // namespace qz::ext
