// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>

#include "buffers.h"

namespace bench {

namespace {

using qz::qzIoDeviceMemoryChunkAndSwapBuffer;

constexpr unsigned long kMiB = 1UL << 20U;

class ChunkBuffer {
public:
    template <typename... Arguments>
    explicit ChunkBuffer(Arguments... arguments) : mDevice(arguments...)
    {
    }
    bool write(const char* data, std::size_t size)
    {
        return mDevice.writeBytes(data, size) == size;
    }
    std::size_t read(char* data, std::size_t size) { return mDevice.readBytes(data, size); }
    void rewind() { mDevice.seek(0, qzIoDeviceMemoryChunkAndSwapBuffer::SeekFromBegin); }
    void restart() { mDevice.clearDevice(qzIoDeviceMemoryChunkAndSwapBuffer::ClearKeepChunks); }

private:
    qzIoDeviceMemoryChunkAndSwapBuffer mDevice;
};

template <unsigned long ChunkSize>
struct InMemory {
    static ChunkBuffer make() { return ChunkBuffer(ChunkSize, ChunkSize); }
};

struct HalfSwapped {
    static ChunkBuffer make()
    {
        startLibrary();  // the path is converted
        return ChunkBuffer("/dev/shm/qz-bench-swap", kMiB, kMiB, sized(256, 1) * kMiB);
    }
};

// Chunks of 64 bytes, many of them; the time for each is to be the same.
template <std::size_t Count>
void measureSmallChunks(benchmark::State& state)
{
    const std::size_t total = 64 * sized(Count, Count / 100);
    for (auto _ : state) {
        ChunkBuffer buffer("", 64UL, 64UL, 1UL << 40U);
        if (!fill<64>(buffer, total)) state.SkipWithError("a write failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(total / 64));
}

const char kName[] = "qz";

const Check kCheck(kName, readsWhatItWrote<InMemory<kMiB>>);
const Check kSwapCheck("qz, swapped", readsWhatItWrote<HalfSwapped>);
const Case kBulk("append 1 GB, 4 KiB each", kName, measureBulk<InMemory<kMiB>>);
const Case kLargeChunks("append 1 GB, chunks of 32 MiB", kName, measureBulk<InMemory<32 * kMiB>>);
const Case kAgain("write a kept buffer again", kName, measureAgain<InMemory<kMiB>>);
const Case kPieces("64 MB, 16 B each", kName, measurePieces<InMemory<kMiB>>);
const Case kRead("read 1 GB back, 4 KiB each", kName, measureRead<InMemory<kMiB>>);
const Case kSwap("256 MB in memory, 768 MB swapped", kName, measureBulk<HalfSwapped>);
const Case kThousandChunks("100,000 small chunks", kName, measureSmallChunks<100000>);
const Case kMillionChunks("1,000,000 small chunks", kName, measureSmallChunks<1000000>);

}  // namespace

}  // namespace bench
