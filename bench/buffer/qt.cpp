// SPDX-License-Identifier: MIT
#include <memory>

#include <QBuffer>
#include <QTemporaryFile>

#include "buffers.h"

namespace bench {

namespace {

template <typename Device>
class QtBuffer {
public:
    explicit QtBuffer(std::unique_ptr<Device> device) : mDevice(std::move(device)) {}
    bool write(const char* data, std::size_t size)
    {
        return mDevice->write(data, static_cast<qint64>(size)) == static_cast<qint64>(size);
    }
    std::size_t read(char* data, std::size_t size)
    {
        const qint64 got = mDevice->read(data, static_cast<qint64>(size));
        return got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    void rewind() { mDevice->seek(0); }
    void restart();

private:
    std::unique_ptr<Device> mDevice;
};

// The memory stays only while the array keeps its size, so it is written over.
template <>
void QtBuffer<QBuffer>::restart()
{
    mDevice->seek(0);
}

template <>
void QtBuffer<QTemporaryFile>::restart()
{
    mDevice->resize(0);
    mDevice->seek(0);
}

struct Array {
    static QtBuffer<QBuffer> make()
    {
        auto device = std::make_unique<QBuffer>();
        device->open(QIODevice::ReadWrite);
        return QtBuffer<QBuffer>(std::move(device));
    }
};

struct TemporaryFile {
    static QtBuffer<QTemporaryFile> make()
    {
        auto device = std::make_unique<QTemporaryFile>("/dev/shm/qz-bench-XXXXXX");
        device->open();
        return QtBuffer<QTemporaryFile>(std::move(device));
    }
};

const Check kArrayCheck("QBuffer", readsWhatItWrote<Array>);
const Case kBulk("append 1 GB, 4 KiB each", "QBuffer", measureBulk<Array>);
const Case kLargeChunks("append 1 GB, chunks of 32 MiB", "QBuffer", measureBulk<Array>);
const Case kAgain("write a kept buffer again", "QBuffer", measureAgain<Array>);
const Case kPieces("64 MB, 16 B each", "QBuffer", measurePieces<Array>);
const Case kRead("read 1 GB back, 4 KiB each", "QBuffer", measureRead<Array>);

const Check kFileCheck("QTemporaryFile", readsWhatItWrote<TemporaryFile>);
const Case kSwap("256 MB in memory, 768 MB swapped", "QTemporaryFile", measureBulk<TemporaryFile>);

}  // namespace

}  // namespace bench
