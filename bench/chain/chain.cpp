// SPDX-License-Identifier: MIT
// What it costs to write through three counters instead of straight to the device behind them.

#include <cstdint>
#include <vector>

#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceDummy.h>
#include <qz/qzIoDeviceFileStream.h>

#include "../support.h"

namespace bench {

namespace {

using qz::qzIoDevice;
using qz::qzIoDeviceByteCounter;

constexpr std::size_t kPieceSize = 4096;

std::size_t getTotalSize()
{
    return sized(std::size_t{1} << 30U, std::size_t{256} << 10U);
}

// Three counters in front of a device; the far end is the one that delegates to it.
class Counters {
public:
    explicit Counters(qzIoDevice& device)
    {
        mIsGood = mFar.beginDelegation(&device, qzIoDevice::DataWayWrite) &&
                  mMiddle.beginDelegation(&mFar, qzIoDevice::DataWayWrite) &&
                  mNear.beginDelegation(&mMiddle, qzIoDevice::DataWayWrite);
    }
    qzIoDevice& getNearEnd() { return mNear; }
    bool isGood() const { return mIsGood; }
    // Ends the chain. Tells whether each counter saw so many bytes.
    bool end(std::size_t size)
    {
        const bool isEnded =
            mNear.endDelegation() && mMiddle.endDelegation() && mFar.endDelegation();
        return isEnded && mNear.getWrittenBytes() == size && mMiddle.getWrittenBytes() == size &&
               mFar.getWrittenBytes() == size;
    }

private:
    qzIoDeviceByteCounter mFar;
    qzIoDeviceByteCounter mMiddle;
    qzIoDeviceByteCounter mNear;
    bool mIsGood;
};

bool writeAll(qzIoDevice& device, std::size_t size)
{
    const std::vector<char> piece(kPieceSize, 'x');
    for (std::size_t written = 0; written < size; written += kPieceSize) {
        if (device.writeBytes(piece.data(), kPieceSize) != kPieceSize) return false;
    }
    return true;
}

bool writeDirect(qzIoDevice& device, std::size_t size)
{
    return writeAll(device, size);
}

bool writeThroughCounters(qzIoDevice& device, std::size_t size)
{
    Counters counters(device);
    return counters.isGood() && writeAll(counters.getNearEnd(), size) && counters.end(size);
}

using Write = bool (*)(qzIoDevice& device, std::size_t size);

template <Write Way>
void measureFile(benchmark::State& state)
{
    startLibrary();  // the path is converted
    const ScratchFile scratch("chain");
    for (auto _ : state) {
        qz::qzIoDeviceFileStream file(scratch.getPath(), qzIoDevice::DataWayWrite,
                                      /*truncate=*/true);
        if (!Way(file, getTotalSize())) state.SkipWithError("a write came short");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(getTotalSize()));
}

template <Write Way>
void measureSink(benchmark::State& state)
{
    qz::qzIoDeviceDummy sink;
    for (auto _ : state) {
        if (!Way(sink, getTotalSize())) state.SkipWithError("a write came short");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(getTotalSize()));
}

constexpr const char* kFileRow = "1 GiB to a file, 4 KiB each";
constexpr const char* kSinkRow = "1 GiB to a sink, 4 KiB each";
const Case kFile(kFileRow, "qz", measureFile<writeThroughCounters>);
const Case kDirectFile(kFileRow, "direct", measureFile<writeDirect>);
const Case kSink(kSinkRow, "qz", measureSink<writeThroughCounters>);
const Case kDirectSink(kSinkRow, "direct", measureSink<writeDirect>);

}  // namespace

}  // namespace bench
