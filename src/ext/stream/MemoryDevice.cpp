// SPDX-License-Identifier: MIT
#include "MemoryDevice.h"

namespace qz::ext {

namespace {

// Where this class is known, g++ 12 takes each device for one of it first, which makes every read
// of the others a quarter slower.
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

}  // namespace

std::unique_ptr<qzIoDevice> makeMemoryDevice(std::string_view bytes)
{
    return std::make_unique<MemoryDevice>(bytes);
}

}  // namespace qz::ext
