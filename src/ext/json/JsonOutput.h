// SPDX-License-Identifier: MIT
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

    /// The most that can be reserved.
    static constexpr std::size_t kBlockBytes = 16384;

    /// Returns memory for so many bytes. They count once they are committed.
    char* reserve(std::size_t size)
    {
        if (kBlockBytes - mUsed < size) flush();
        return mBlock.data() + mUsed;
    }
    /// Adds the reserved bytes up to `end` to the text.
    void commit(const char* end) { mUsed = static_cast<std::size_t>(end - mBlock.data()); }

    void put(char c)
    {
        char* const out = reserve(1);
        *out = c;
        commit(out + 1);
    }
    void put(std::string_view text)
    {
        if (text.size() > kBlockBytes - mUsed) return putLong(text);
        std::memcpy(mBlock.data() + mUsed, text.data(), text.size());
        mUsed += text.size();
    }
    void put(std::size_t count, char c);
    void putInteger(long value) { commit(formatInteger(reserve(kMaxNumberBytes), value)); }
    void putReal(double value) { commit(formatReal(reserve(kMaxNumberBytes), value)); }

    /// Passes on what has been collected.
    void flush();
    /// Whether the device has failed.
    bool hasFailed() const { return mHasFailed; }

private:
    void putLong(std::string_view text);
    void passOn(std::string_view text);

    std::string* const mString = nullptr;
    qzIoDevice* const mDevice = nullptr;
    bool mHasFailed = false;
    std::size_t mUsed = 0;
    std::array<char, kBlockBytes> mBlock;
};

}  // namespace qz::ext
