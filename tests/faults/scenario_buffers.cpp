// SPDX-License-Identifier: MIT
// Bytes go through a modifier with a filter into a buffer that swaps, are read back and written
// over, copied out, and the buffer is cleared in two ways.

#include <filesystem>
#include <string>
#include <vector>

#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>
#include <qz/qzIoDeviceStdStreamProxy.h>
#include <qz/qzIoDeviceWriteStreamModifier.h>

#include "faults/Scenario.h"
#include "io/PullFilter.h"
#include "support/Allocations.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace {

using qz::qzIoDevice;
using qz::qzIoDeviceMemoryChunkAndSwapBuffer;
using qz::qzIoDeviceWriteStreamModifier;

constexpr unsigned long kChunkSize = 1000;
constexpr unsigned long kBudget = 2000;
const std::string kText(100'000, 't');  // more than any buffer holds

// What failed first, with the device's words; the name of the swap file is FILE in them.
std::string describe(const char* step, const qzIoDevice& device)
{
    std::string text = std::string(step) + ": " + device.getDeviceErrorMsg();
    const std::size_t start = text.find('\'');
    const std::size_t end = text.rfind('\'');
    return start == end ? text : text.replace(start + 1, end - start - 1, "FILE");
}

bool writeThrough(qzIoDevice& buffer)
{
    qz::PullFilter filter;
    qzIoDeviceWriteStreamModifier modifier(&filter);
    const bool isBegun = modifier.beginDelegation(&buffer, qzIoDevice::DataWayWrite);
    modifier.writeBytes(kText.data(), kText.size());
    return modifier.endDelegation() && isBegun;
}

bool holds(qzIoDeviceMemoryChunkAndSwapBuffer& buffer, const std::string& expected)
{
    std::string text(expected.size(), '?');
    return buffer.seek(0, qzIoDeviceMemoryChunkAndSwapBuffer::SeekFromBegin) &&
           buffer.readBytes(text.data(), text.size()) == text.size() && text == expected;
}

bool overwrite(qzIoDeviceMemoryChunkAndSwapBuffer& buffer)
{
    return buffer.seek(5000, qzIoDeviceMemoryChunkAndSwapBuffer::SeekFromBegin) &&
           buffer.writeBytes("new", 3) == 3;
}

std::string useBuffer(qzIoDeviceMemoryChunkAndSwapBuffer& buffer)
{
    if (!writeThrough(buffer)) return describe("write", buffer);
    if (!holds(buffer, kText)) return describe("read", buffer);
    if (!overwrite(buffer)) return describe("overwrite", buffer);
    qz::support::DeviceStub destination;
    if (!buffer.writeBackToDevice(destination, nullptr, nullptr)) return describe("copy", buffer);
    if (destination.getContent() != std::string(kText).replace(5000, 3, "new"))
        return "copy: other bytes";
    return "";
}

// Whatever has failed, the buffer works after a clear.
std::string clearAndUse(qzIoDeviceMemoryChunkAndSwapBuffer& buffer,
                        qzIoDeviceMemoryChunkAndSwapBuffer::ClearMode mode)
{
    buffer.clearDevice(mode);
    if (buffer.writeBytes(kText.data(), kText.size()) != kText.size())
        return describe("write after a clear", buffer);
    return holds(buffer, kText) ? "" : describe("read after a clear", buffer);
}

std::string useBuffers(const std::string& folder)
{
    std::string text;
    {
        const qz::faults::Watch watch;
        qzIoDeviceMemoryChunkAndSwapBuffer buffer(folder + "/swap", kChunkSize, kChunkSize,
                                                  kBudget);
        text = useBuffer(buffer);
        using Buffer = qzIoDeviceMemoryChunkAndSwapBuffer;
        for (const auto mode : {Buffer::ClearKeepChunks, Buffer::ClearWipeChunks}) {
            const std::string problem = clearAndUse(buffer, mode);
            if (text.empty()) text = problem;
            if (!text.empty() && !problem.empty() && text != problem) text += "; " + problem;
        }
    }
    const qz::support::AllocationPause ownWork;
    if (text.empty()) text = "all done";
    if (std::filesystem::exists(folder + "/swap") && !std::filesystem::is_empty(folder + "/swap"))
        text += "; a file is left";
    std::filesystem::remove_all(folder + "/swap");
    return text;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &useBuffers);
}
