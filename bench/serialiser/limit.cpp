// SPDX-License-Identifier: MIT
// No peer but the floor: the calls of a device without which no stream can do, one a value, and
// nothing around them.

#include "device_format.h"
#include "records.h"

namespace bench {

namespace {

template <typename T>
void put(qz::qzIoDevice& device, const T& value)
{
    device.writeBytes(reinterpret_cast<const char*>(&value), sizeof value);
}

template <typename T>
void take(qz::qzIoDevice& device, T& value)
{
    device.readBytes(reinterpret_cast<char*>(&value), sizeof value);
}

// A stream doesn't know the class of its device either.
struct DeviceCalls {
    [[gnu::noipa]] static void write(qz::qzIoDevice& device)
    {
        for (const Record& record : getRecords()) {
            put(device, record.number);
            put(device, record.real);
            put(device, static_cast<int>(record.text.size()));
            device.writeBytes(record.text.data(), record.text.size());
        }
    }

    template <typename Use>
    [[gnu::noipa]] static void read(qz::qzIoDevice& device, Use& use)
    {
        Record record;
        for (std::size_t i = 0; i < getRecords().size(); ++i) {
            int size = 0;
            take(device, record.number);
            take(device, record.real);
            take(device, size);
            record.text.resize(static_cast<std::size_t>(size));
            device.readBytes(record.text.data(), record.text.size());
            use(record);
        }
    }
};

const FormatRows<DeviceFormat<DeviceCalls>> kRows("limit");

}  // namespace

}  // namespace bench
