// SPDX-License-Identifier: MIT
// Starts the library, writes values to a file, reads them back, and reports through the log.

#include <iostream>
#include <list>
#include <string>

#include <qz/qz.h>

namespace {

void countReports(std::list<qz::qzLog::LogEntry>& batch, void* count)
{
    *static_cast<std::size_t*>(count) += batch.size();
}

bool write(const std::string& path)
{
    qz::qzIoDeviceFileStream file(path, qz::qzIoDevice::DataWayWrite, /*truncate=*/true);
    qz::qzDataStream stream(file, qz::qzDataStream::BigEndian);
    stream << true << 42 << 2.5 << "forty-two";
    return stream.isOk() && file.close();
}

bool readBack(const std::string& path)
{
    qz::qzIoDeviceFileStream file(path, qz::qzIoDevice::DataWayRead, /*truncate=*/false);
    qz::qzDataStream stream(file, qz::qzDataStream::BigEndian);
    bool flag = false;
    int number = 0;
    double real = 0;
    std::string text;
    stream >> flag >> number >> real >> text;
    return stream.isOk() && flag && number == 42 && real == 2.5 && text == "forty-two" &&
           file.atEnd();
}

bool reports(const std::string& text)
{
    std::size_t count = 0;
    qz::qzLog::msInstance->installCustomHandler(countReports, &count);
    qz::logInfo("consumer") << text;
    qz::qzLog::msInstance->installCustomHandler(nullptr, nullptr);
    return count == 1;
}

// A device of the consumer's own: the vtables and type information of the library are exported.
class CountingDevice : public qz::qzIoDevice {
public:
    CountingDevice() : qzIoDevice(DataWayWrite) {}
    unsigned long readBytes(char*, unsigned long) override { return 0; }
    unsigned long writeBytes(const char*, unsigned long size) override
    {
        mCount += size;
        return size;
    }
    bool atEnd() const override { return true; }
    unsigned long getCount() const { return mCount; }

private:
    unsigned long mCount = 0;
};

bool reachesOwnDevice()
{
    CountingDevice device;
    static_cast<qz::qzIoDevice&>(device) << "twelve bytes";
    return device.getCount() == 12;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 2) return 2;
    qz::initializeQzSystem(qz::LightInit);
    const bool isGood = write(arguments[1]) && readBack(arguments[1]) && reachesOwnDevice() &&
                        reports("C++ " + std::to_string(__cplusplus));
    qz::terminateQzSystem();
    if (!isGood) std::cerr << "the library doesn't do what it should\n";
    return isGood ? 0 : 1;
}
