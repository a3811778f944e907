// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceFileStream.h>

#include "transfers.h"

namespace bench {

namespace {

class Device {
public:
    Device(const std::string& path, qz::qzIoDevice::DataWay way, bool truncate)
    {
        startLibrary();  // the path is converted
        mDevice.open(path, way, truncate);
    }
    bool write(const char* data, std::size_t size)
    {
        return mDevice.writeBytes(data, size) == size;
    }
    bool read(char* data, std::size_t size) { return mDevice.readBytes(data, size) == size; }

private:
    qz::qzIoDeviceFileStream mDevice;
};

struct FileDevice {
    struct Writer : Device {
        explicit Writer(const std::string& path)
            : Device(path, qz::qzIoDevice::DataWayWrite, /*truncate=*/true)
        {
        }
    };
    struct Reader : Device {
        explicit Reader(const std::string& path)
            : Device(path, qz::qzIoDevice::DataWayRead, /*truncate=*/false)
        {
        }
    };
};

const TransferRows<FileDevice> kRows("qz");

}  // namespace

}  // namespace bench
