// SPDX-License-Identifier: MIT
// A file is written, read, and changed in its middle.

#include <string>
#include <vector>

#include <qz/qzDirUtils.h>
#include <qz/qzIoDeviceFileStream.h>

#include "faults/Scenario.h"
#include "support/Allocations.h"
#include "support/Files.h"
#include "support/LibraryStart.h"

namespace {

using qz::qzIoDevice;
using qz::qzIoDeviceFileStream;

const std::string kSmall = "a few bytes";
const std::string kLarge(300'000, 'L');  // more than any buffer holds

// The first step that failed, with the device's words; the path stands as FILE in them.
class Steps {
public:
    explicit Steps(const qzIoDeviceFileStream& device) : mDevice(device) {}

    // Gives false when the work is to end here.
    bool took(const char* name, bool isDone)
    {
        if (isDone && mDevice.good()) return true;
        mText = std::string(name) + ": " + mDevice.getDeviceErrorMsg();
        const std::string& path = mDevice.getFilePath();
        const std::size_t at = mText.find(path);
        if (at != std::string::npos && !path.empty()) mText.replace(at, path.size(), "FILE");
        return false;
    }
    const std::string& getText() const { return mText; }

private:
    const qzIoDeviceFileStream& mDevice;
    std::string mText = "all done";
};

bool write(qzIoDeviceFileStream& device, const std::string& text)
{
    return device.writeBytes(text.data(), text.size()) == text.size();
}

// A write of nothing tells what the flush itself keeps to itself.
bool flush(qzIoDeviceFileStream& device)
{
    device.flush();
    device.writeBytes("", 0);
    return device.good();
}

bool read(qzIoDeviceFileStream& device, const std::string& wanted)
{
    std::string got(wanted.size(), '\0');
    return device.readBytes(got.data(), got.size()) == wanted.size() && got == wanted;
}

bool writeFile(qzIoDeviceFileStream& device, Steps& steps)
{
    return steps.took("open to write", device.open(qzIoDevice::DataWayWrite, true)) &&
           steps.took("small write", write(device, kSmall)) &&
           steps.took("large write", write(device, kLarge)) &&
           steps.took("seek to write", device.seek(2, qzIoDeviceFileStream::SeekFromBegin)) &&
           steps.took("write in the middle", write(device, "FEW")) &&
           steps.took("flush", flush(device)) && steps.took("close", device.close());
}

bool readFile(qzIoDeviceFileStream& device, Steps& steps)
{
    std::vector<char> content;
    return steps.took("open to read", device.open(qzIoDevice::DataWayRead, false)) &&
           steps.took("small read", read(device, "a FEW bytes")) &&
           steps.took("large read", read(device, kLarge)) && steps.took("end", device.atEnd()) &&
           steps.took("load", device.loadFullFileContent(content)) &&
           steps.took("size", content.size() == kSmall.size() + kLarge.size()) &&
           steps.took("close", device.close());
}

bool changeFile(qzIoDeviceFileStream& device, Steps& steps)
{
    return steps.took("open to change", device.open(qzIoDevice::DataWayReadWrite, false)) &&
           steps.took("read before the change", read(device, "a ")) &&
           steps.took("seek to change", device.seek(2, qzIoDeviceFileStream::SeekFromBegin)) &&
           steps.took("change", write(device, "new")) &&
           steps.took("seek to look", device.seek(0, qzIoDeviceFileStream::SeekFromBegin)) &&
           steps.took("look", read(device, "a new bytes")) && steps.took("close", device.close());
}

std::string useFile(const std::string& folder)
{
    const std::string path = folder + "/file";
    std::string text;
    {
        const qz::faults::Watch watch;
        qzIoDeviceFileStream device;
        device.setFilePath(path);
        Steps steps(device);
        if (writeFile(device, steps) && readFile(device, steps)) changeFile(device, steps);
        text = steps.getText();
    }
    if (text != "all done") return text;
    const qz::support::AllocationPause ownWork;
    const bool isRight = qz::support::readFile(path) == "a new bytes" + kLarge;
    return text + (isRight ? "" : ", content wrong");
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &useFile);
}
