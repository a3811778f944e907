// SPDX-License-Identifier: MIT
#include <qz/ext/CheckedStream.h>
#include <qz/qzDataStream.h>

#include "device_format.h"
#include "records.h"

namespace bench {

namespace {

struct DataStreamCalls {
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
};

using DataStreamFormat = DeviceFormat<DataStreamCalls>;

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
