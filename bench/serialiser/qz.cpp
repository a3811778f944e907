// SPDX-License-Identifier: MIT
#include <qz/ext/CheckedStream.h>
#include <qz/qzDataStream.h>
#include <qz/qzIoDeviceFileStream.h>

#include "../support.h"
#include "devices.h"
#include "records.h"

namespace bench {

namespace {

struct DataStreamFormat {
    static void write(qz::qzIoDevice& device)
    {
        qz::qzDataStream stream(device, qz::qzDataStream::LittleEndian);
        for (const Record& record : getRecords()) {
            stream << record.number << record.real << record.text;
        }
    }

    template <typename Use>
    static void read(qz::qzIoDevice& device, Use& use)
    {
        qz::qzDataStream stream(device, qz::qzDataStream::LittleEndian);
        Record record;
        for (std::size_t i = 0; i < getRecords().size(); ++i) {
            stream >> record.number >> record.real >> record.text;
            use(record);
        }
    }

    static Bytes writeMemory()
    {
        GrowingDevice device;
        write(device);
        return device.takeBytes();
    }

    template <typename Use>
    static void readMemory(const Bytes& bytes, Use& use)
    {
        ReadingDevice device(bytes);
        read(device, use);
    }

    static void writeFile(const std::string& path)
    {
        startLibrary();  // the path is converted
        qz::qzIoDeviceFileStream device(path, qz::qzIoDevice::DataWayWrite, /*truncate=*/true);
        write(device);
    }

    template <typename Use>
    static void readFile(const std::string& path, Use& use)
    {
        qz::qzIoDeviceFileStream device(path, qz::qzIoDevice::DataWayRead, /*truncate=*/false);
        read(device, use);
    }
};

const FormatRows<DataStreamFormat> kRows("qz");

// --- The checked stream beside the plain one

template <typename Use>
bool readChecked(const Bytes& bytes, Use& use)
{
    ReadingDevice device(bytes);
    qz::ext::CheckedStream stream(device, qz::qzDataStream::LittleEndian);
    Record record;
    for (std::size_t i = 0; i < getRecords().size(); ++i) {
        stream >> record.number >> record.real >> record.text;
        use(record);
    }
    return stream.readEnd();
}

bool readsCheckedWhatWasWritten()
{
    CompareRecord use;
    return readChecked(DataStreamFormat::writeMemory(), use) && use.holds();
}

void measureCheckedRead(benchmark::State& state)
{
    const Bytes bytes = DataStreamFormat::writeMemory();
    KeepRecord use;
    for (auto _ : state)
        readChecked(bytes, use);
    setRecordsProcessed(state);
}

void measurePlainRead(benchmark::State& state)
{
    const Bytes bytes = DataStreamFormat::writeMemory();
    KeepRecord use;
    for (auto _ : state)
        DataStreamFormat::readMemory(bytes, use);
    setRecordsProcessed(state);
}

const Check kCheckedCheck("checked qz", readsCheckedWhatWasWritten);
const Case kCheckedRead("checked read from memory", "qz", measureCheckedRead);
const Case kPlainRead("checked read from memory", "unchecked", measurePlainRead);

}  // namespace

}  // namespace bench
