// SPDX-License-Identifier: MIT
// Frames with values go into a file, and come back through checks.

#include <string>
#include <vector>

#include <qz/ext/CheckedStream.h>
#include <qz/ext/DataFrame.h>
#include <qz/qzIoDeviceFileStream.h>

#include "faults/Scenario.h"
#include "support/DeviceStub.h"
#include "support/LibraryStart.h"

namespace {

using qz::qzDataStream;
using qz::qzIoDevice;
using qz::qzIoDeviceFileStream;
using namespace qz::ext;

constexpr FrameFormat kFormat("QZFAULTS", /*newestVersion=*/1);
const std::string kText(300'000, 't');  // more than any buffer holds

std::string makePayload()
{
    qz::support::DeviceStub memory;
    qzDataStream stream(memory, qzDataStream::LittleEndian);
    stream << 42 << kText << 2U << 1L << 2L;
    return memory.getContent();
}

std::string write(const std::string& path)
{
    qzIoDeviceFileStream device(path, qzIoDevice::DataWayWrite, /*truncate=*/true);
    const bool isWritten = writeFrame(device, kFormat, makePayload());
    device.flush();
    return isWritten && device.good() ? "" : "write: " + device.getDeviceErrorMsg();
}

std::string read(const std::string& path)
{
    qzIoDeviceFileStream device(path, qzIoDevice::DataWayRead, /*truncate=*/false);
    FrameReader frames(device, kFormat);
    std::string payload = "old";
    if (!frames.read(payload) || !frames.readEnd())
        return "read: " + frames.getFailure().text + (payload == "old" ? "" : ", at the end");
    CheckedStream stream(payload, qzDataStream::LittleEndian);
    int number = 0;
    std::string text;
    std::vector<long> list;
    stream >> number >> text;
    stream.readList(list);
    if (!stream.readEnd()) return "values: " + stream.getFailure().text;
    const bool isEqual = number == 42 && text == kText && list == std::vector<long>{1, 2};
    return isEqual ? "all equal" : "read: other values on a stream that is ok";
}

std::string work(const std::string& folder)
{
    const std::string path = folder + "/file";
    const qz::faults::Watch watch;
    std::string text = write(path);
    if (text.empty()) text = read(path);
    const std::size_t at = text.find(path);
    if (at != std::string::npos) text.replace(at, path.size(), "FILE");
    return text;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &work);
}
