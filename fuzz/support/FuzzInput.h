// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace qz::fuzz {

/// The bytes that the fuzzer made up, taken from the front.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : mData(data), mSize(size) {}

    bool isEmpty() const { return mSize == 0; }
    /// The next byte; 0 when there is none left.
    unsigned int takeByte()
    {
        if (isEmpty()) return 0;
        --mSize;
        return *mData++;
    }
    /// The next bytes, fewer when there aren't as many left.
    std::string takeBytes(std::size_t count)
    {
        const std::size_t taken = std::min(count, mSize);
        std::string bytes(mData, mData + taken);
        mData += taken;
        mSize -= taken;
        return bytes;
    }
    std::string takeRest() { return takeBytes(mSize); }

private:
    const std::uint8_t* mData;
    std::size_t mSize;
};

/// Ends the process, as a crash does, when the library did something else than its plain form.
inline void expectSame(bool isSame, const std::string& what)
{
    if (isSame) return;
    std::fprintf(stderr, "Not as in the plain form: %s\n", what.c_str());
    std::abort();
}

}  // namespace qz::fuzz
