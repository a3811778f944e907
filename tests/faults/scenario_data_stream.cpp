// SPDX-License-Identifier: MIT
// Values of every type go through a data stream into a file and back, in both byte orders.

#include <string>
#include <vector>

#include <qz/qzDataStream.h>
#include <qz/qzIoDeviceFileStream.h>

#include "faults/Scenario.h"
#include "support/LibraryStart.h"

namespace {

using qz::qzDataStream;
using qz::qzIoDevice;
using qz::qzIoDeviceFileStream;

const std::string kText(300'000, 't');  // more than any buffer holds
const std::vector<char> kBytes(5'000, 'b');

void writeAll(qzDataStream& stream)
{
    stream << true << 'c' << static_cast<short>(-2) << -4 << -8L << 1.5F << 2.5 << kText << kBytes;
    stream.writeRawData("raw", 3);
}

// Whether all values came back as they were written.
bool readAll(qzDataStream& stream)
{
    bool yes = false;
    char letter = 0;
    short two = 0;
    int four = 0;
    long eight = 0;
    float single = 0;
    double real = 0;
    std::string text;
    std::vector<char> bytes;
    char raw[3] = {};
    stream >> yes >> letter >> two >> four >> eight >> single >> real >> text >> bytes;
    const bool isRawRight = stream.readRawBytes(raw, 3) == 3 && std::string(raw, 3) == "raw";
    return yes && letter == 'c' && two == -2 && four == -4 && eight == -8 && single == 1.5F &&
           real == 2.5 && text == kText && bytes == kBytes && isRawRight;
}

std::string describeError(const std::string& step, const qzDataStream& stream,
                          const std::string& path)
{
    std::string text = step + ": " + stream.getErrorMsg();
    const std::size_t at = text.find(path);
    if (at != std::string::npos) text.replace(at, path.size(), "FILE");
    return text;
}

std::string moveThere(const std::string& path, qzDataStream::Endianness endianness)
{
    qzIoDeviceFileStream device(path, qzIoDevice::DataWayWrite, true);
    qzDataStream stream(device, endianness);
    writeAll(stream);
    device.flush();
    stream.writeRawData("", 0);  // learns what the flush kept to itself
    return stream.isOk() ? "" : describeError("write", stream, path);
}

std::string moveBack(const std::string& path, qzDataStream::Endianness endianness)
{
    qzIoDeviceFileStream device(path, qzIoDevice::DataWayRead, false);
    qzDataStream stream(device, endianness);
    const bool isEqual = readAll(stream);
    if (!stream.isOk()) return describeError("read", stream, path);
    return isEqual ? "" : "read: other values on a stream that is ok";
}

std::string streamBothWays(const std::string& folder)
{
    const std::string path = folder + "/file";
    const qz::faults::Watch watch;
    for (const auto endianness : {qzDataStream::LittleEndian, qzDataStream::BigEndian}) {
        std::string text = moveThere(path, endianness);
        if (text.empty()) text = moveBack(path, endianness);
        if (!text.empty()) return text;
    }
    return "all equal";
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    return qz::faults::runScenario(argumentCount, arguments, &streamBothWays);
}
