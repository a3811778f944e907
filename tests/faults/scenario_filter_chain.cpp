// SPDX-License-Identifier: MIT
// A text goes through a chain of filters into a file, with a copy into another one, and comes back
// through a chain without its tail.

#include <string>

#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceByteSniffer.h>
#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzIoDeviceKeepLastBytes.h>
#include <qz/qzIoDeviceReadBytesLimiter.h>
#include <qz/qzIoDeviceSignaler.h>

#include "faults/Scenario.h"
#include "support/Allocations.h"
#include "support/Files.h"
#include "support/LibraryStart.h"

namespace {

using qz::qzIoDevice;
using qz::qzIoDeviceByteCounter;
using qz::qzIoDeviceByteSniffer;
using qz::qzIoDeviceFileStream;
using qz::qzIoDeviceKeepLastBytes;
using qz::qzIoDeviceReadBytesLimiter;
using qz::qzIoDeviceSignaler;

const std::string kHead = "head";
const std::string kPiece(50'000, 'p');  // more than any buffer holds
const std::string kTail = "tail";
constexpr int kPieces = 3;

// What the outermost filter says, with the paths as FILE.
std::string describe(const std::string& step, const qzIoDevice& outermost,
                     const std::string& folder)
{
    std::string text = step + ": " + outermost.getDeviceErrorMsg();
    for (const std::string& path : {folder + "/file", folder + "/copy"}) {
        const std::size_t at = text.find(path);
        if (at != std::string::npos) text.replace(at, path.size(), "FILE");
    }
    return text;
}

bool write(qzIoDevice& device, const std::string& text)
{
    return device.writeBytes(text.data(), text.size()) == text.size();
}

// Counter, sniffer into the copy, and a signaler that has the file flushed.
std::string writeThrough(const std::string& folder)
{
    qzIoDeviceFileStream file(folder + "/file", qzIoDevice::DataWayWrite, /*truncate=*/true);
    qzIoDeviceFileStream copy(folder + "/copy", qzIoDevice::DataWayWrite, /*truncate=*/true);
    qzIoDeviceSignaler::Signal flush = [&file](qzIoDevice*) { file.flush(); };
    qzIoDeviceSignaler signaler(&flush, kPiece.size());
    qzIoDeviceByteSniffer sniffer(copy);
    qzIoDeviceByteCounter counter;
    bool isGood = signaler.beginDelegation(&file, qzIoDevice::DataWayWrite);
    isGood = sniffer.beginDelegation(&signaler, qzIoDevice::DataWayWrite) && isGood;
    isGood = counter.beginDelegation(&sniffer, qzIoDevice::DataWayWrite) && isGood;
    if (!isGood) return describe("begin to write", counter, folder);

    isGood = write(counter, kHead);
    for (int i = 0; i < kPieces; ++i)
        isGood = write(counter, kPiece) && isGood;
    isGood = write(counter, kTail) && isGood;
    file.flush();
    copy.flush();
    write(counter, "");  // learns what the flushes kept to themselves
    if (!isGood || !counter.good()) return describe("write", counter, folder);
    if (counter.getWrittenBytes() != kHead.size() + kPieces * kPiece.size() + kTail.size())
        return "count wrong";
    const bool isEnded =
        counter.endDelegation() && sniffer.endDelegation() && signaler.endDelegation();
    return isEnded ? "" : describe("end", counter, folder);
}

// The pieces alone: a limiter leaves the head out, and the tail is kept back.
std::string readThrough(const std::string& folder)
{
    qzIoDeviceFileStream file(folder + "/file", qzIoDevice::DataWayRead, /*truncate=*/false);
    const unsigned long size = kPieces * kPiece.size();
    qzIoDeviceReadBytesLimiter limiter(file, kHead.size(), size + kTail.size());
    qzIoDeviceKeepLastBytes keeper(limiter, kTail.size());
    qzIoDeviceByteCounter counter;
    if (!counter.beginDelegation(&keeper, qzIoDevice::DataWayRead))
        return describe("begin to read", counter, folder);

    std::string piece(kPiece.size(), '\0');
    for (int i = 0; i < kPieces; ++i) {
        if (counter.readBytes(piece.data(), piece.size()) != piece.size())
            return describe("read", counter, folder);
        if (piece != kPiece) return "read: other bytes";
    }
    if (!counter.atEnd() || !counter.good()) return describe("end of the read", counter, folder);
    if (std::string(keeper.getTerminalBytes(), keeper.getTerminalByteCount()) != kTail)
        return "read: other tail";
    return counter.endDelegation() ? "" : describe("end", counter, folder);
}

std::string passBothWays(const std::string& folder)
{
    std::string text;
    {
        const qz::faults::Watch watch;
        text = writeThrough(folder);
        if (text.empty()) text = readThrough(folder);
    }
    if (!text.empty()) return text;
    const qz::support::AllocationPause ownWork;
    const std::string content = qz::support::readFile(folder + "/file");
    return content == qz::support::readFile(folder + "/copy") ? "all passed" : "copy differs";
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &passBothWays);
}
