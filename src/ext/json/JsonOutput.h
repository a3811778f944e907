#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "JsonNumber.h"

namespace qz {
class qzIoDevice;
}  // namespace qz

namespace qz::ext {

/// Collects a text in blocks, for a string or a device.
class JsonOutput {
public:
    /// Appends to a string.
    explicit JsonOutput(std::string& text) : mString(&text) {}
    /// Writes to a device. After its failure, the rest of the text is dropped.
    explicit JsonOutput(qzIoDevice& device) : mDevice(&device) {}

    void put(char c)
    {
        if (mUsed == kBlockBytes) flush();
        mBlock[mUsed++] = c;
    }
    void put(std::string_view text)
    {
        if (text.size() > kBlockBytes - mUsed) return putLong(text);
        std::memcpy(mBlock.data() + mUsed, text.data(), text.size());
        mUsed += text.size();
    }
    void put(std::size_t count, char c);
    void putInteger(long value)
    {
        char* const begin = reserveNumber();
        mUsed += static_cast<std::size_t>(formatInteger(begin, value) - begin);
    }
    void putReal(double value)
    {
        char* const begin = reserveNumber();
        mUsed += static_cast<std::size_t>(formatReal(begin, value) - begin);
    }

    /// Passes on what has been collected.
    void flush();
    /// Whether the device has failed.
    bool hasFailed() const { return mHasFailed; }

private:
    static constexpr std::size_t kBlockBytes = 16384;

    char* reserveNumber()
    {
        if (kBlockBytes - mUsed < kMaxNumberBytes) flush();
        return mBlock.data() + mUsed;
    }
    void putLong(std::string_view text);
    void passOn(std::string_view text);

    std::string* const mString = nullptr;
    qzIoDevice* const mDevice = nullptr;
    bool mHasFailed = false;
    std::size_t mUsed = 0;
    std::array<char, kBlockBytes> mBlock;
};

}  // namespace qz::ext
