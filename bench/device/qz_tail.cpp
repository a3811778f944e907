// SPDX-License-Identifier: MIT
// What a small read costs before a tail that the reader must not see.

#include <algorithm>
#include <cstring>

#include <qz/qzIoDeviceKeepLastBytes.h>

#include "../support.h"

namespace bench {

namespace {

// Zeros of a given number, at the cost of a `memset`.
class Zeros : public qz::qzIoDevice {
public:
    explicit Zeros(unsigned long size) : qzIoDevice(DataWayRead), mSize(size) {}
    unsigned long readBytes(char* dst, unsigned long size) override
    {
        const unsigned long count = std::min(size, mSize);
        std::memset(dst, 0, count);
        mSize -= count;
        return count;
    }
    unsigned long writeBytes(const char* /*src*/, unsigned long /*size*/) override { return 0; }
    bool atEnd() const override { return mSize == 0; }

private:
    unsigned long mSize;
};

// Reads all but the tail in numbers of 4 bytes. @return their count.
std::size_t readNumbers(unsigned long tailSize, std::size_t count)
{
    Zeros zeros(4 * count + tailSize);
    qz::qzIoDeviceKeepLastBytes keeper(zeros, tailSize);
    char number[4];
    std::size_t done = 0;
    while (keeper.readBytes(number, sizeof number) == sizeof number)
        ++done;
    return done;
}

template <unsigned long TailSize>
void measureReads(benchmark::State& state)
{
    startLibrary();
    const std::size_t count = sized(std::size_t{100000}, std::size_t{100});
    for (auto _ : state)
        readNumbers(TailSize, count);
}

const Check kCheck("qz", [] { return readNumbers(1000, 500) == 500; });
const Case kSmall("100,000 reads before a tail of 64 B", "qz", measureReads<64>);
const Case kLarge("100,000 reads before a tail of 1 MiB", "qz", measureReads<1048576>);

}  // namespace

}  // namespace bench
