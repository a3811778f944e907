// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <qz/qzIoDeviceFileStream.h>

#include "PlainFileDevice.h"

namespace qz {

/// Does the same to the file device and to its plain form, each with a file of its own, and reports
/// the first difference.
class FileDeviceTrial {
public:
    /// Chooses a number below `bound`: at random, or from bytes that a fuzzer made up.
    using Choose = std::function<unsigned long(unsigned long bound)>;

    /// @param folder holds the two files, "device" and "plain", which start equal.
    /// @param bufferSize what `measureBuffer` found.
    FileDeviceTrial(const std::string& folder, std::size_t bufferSize, Choose choose)
        : mDevicePath(folder + "/device"),
          mPlainPath(folder + "/plain"),
          mBufferSize(bufferSize),
          mPlain(mPlainPath, bufferSize),
          mChoose(std::move(choose))
    {
        mDevice.setFilePath(mDevicePath);
    }

    /// Finds the size of the device's buffer.
    static std::size_t measureBuffer(const std::string& folder)
    {
        const std::string path = folder + "/measured";
        qzIoDeviceFileStream device(path, qzIoDevice::DataWayWrite, /*truncate=*/true);
        while (std::filesystem::file_size(path) == 0 && device.writeBytes("x", 1) == 1) {
        }
        device.close();
        const std::size_t size = std::filesystem::file_size(path);
        std::filesystem::remove(path);
        return size - 1;  // the byte that did not fit was written by the close
    }

    /// Does one operation of chance on both. @return the difference in words; empty for none.
    std::string step()
    {
        mDifference.clear();
        mStep.str({});
        doSomething();
        compare("position", mDevice.getCurrentPos(), mPlain.getCurrentPos());
        compare("good", mDevice.good(), mPlain.good());
        compare("isOpen", mDevice.isOpen(), mPlain.isOpen());
        compare("way", mDevice.getSupportedDataWay(), mPlain.getSupportedDataWay());
        compare("error", withoutPath(mDevice.getDeviceErrorMsg()),
                withoutPath(mPlain.getDeviceErrorMsg()));
        return mDifference;
    }

    /// Closes both. @return the difference of the files in words; empty for none.
    std::string finish()
    {
        mDifference.clear();
        mStep.str("close at the end");
        close();
        return mDifference;
    }

private:
    // The two differ in nothing but the names of their files.
    std::string withoutPath(std::string text) const
    {
        for (const std::string& path : {mDevicePath, mPlainPath}) {
            const std::size_t at = text.find(path);
            if (at != std::string::npos) text.erase(at, path.size());
        }
        return text;
    }

    template <typename T>
    void compare(const char* what, const T& device, const T& plain)
    {
        if (device == plain || !mDifference.empty()) return;
        std::ostringstream text;
        text << mStep.str() << ": " << what << " is " << device << ", plainly " << plain;
        mDifference = text.str();
    }

    void compareBytes(const std::string& device, const std::string& plain)
    {
        if (device == plain || !mDifference.empty()) return;
        const auto at = std::mismatch(device.begin(), device.end(), plain.begin(), plain.end());
        mDifference = mStep.str() + ": the bytes differ from " +
                      std::to_string(at.first - device.begin()) + " on, of " +
                      std::to_string(device.size()) + " and plainly " +
                      std::to_string(plain.size());
    }

    // The whole file; nothing if there is none.
    static std::string readFile(const std::string& path)
    {
        std::ostringstream content;
        content << std::ifstream(path, std::ios::binary).rdbuf();
        return content.str();
    }

    void compareFiles() { compareBytes(readFile(mDevicePath), readFile(mPlainPath)); }

    // Sizes about the limits of the shortcuts and of the buffer.
    unsigned long chooseSize()
    {
        static constexpr unsigned long kSizes[] = {0,    1,    2,    7,     64,    1022, 1023,
                                                   1024, 1025, 4095, 4096,  4097,  8189, 8190,
                                                   8191, 8192, 8193, 16383, 20000, 40000};
        if (mChoose(3) == 0) return mChoose(200);
        if (mChoose(4) == 0) return mBufferSize - 2 + mChoose(5);
        return kSizes[mChoose(std::size(kSizes))];
    }

    qzIoDevice::DataWay chooseWay()
    {
        static constexpr int kWays[] = {1, 1, 2, 2, 3, 3, 3, 3, 3, 0, 4};
        return static_cast<qzIoDevice::DataWay>(kWays[mChoose(std::size(kWays))]);
    }

    void doSomething()
    {
        switch (mChoose(24)) {
            case 0:
                return open(chooseWay(), mChoose(4) == 0);
            case 1:
                return close();
            case 2:
                return flush();
            case 3:
            case 4:
            case 5:
                return seek();
            case 6:
                return skip();
            case 7:
            case 8:
                return askForEnd();
            case 9:
                return load();
            case 10:
                return declareWay();
            case 11:
                return copyOut();
            case 12:
                return clearError();
            case 13:
            case 14:
            case 15:
            case 16:
            case 17:
                return read();
            default:
                return write();
        }
    }

    void open(qzIoDevice::DataWay way, bool truncate)
    {
        mStep << "open " << way << ' ' << truncate;
        compare("result", mDevice.open(way, truncate), mPlain.open(way, truncate));
    }

    void close()
    {
        mStep << "close";
        compare("result", mDevice.close(), mPlain.close());
        compareFiles();
    }

    void flush()
    {
        mStep << "flush";
        compare("result", mDevice.flush(), mPlain.flush());
        compareFiles();
    }

    void seek()
    {
        const auto start = static_cast<qzIoDeviceRandomAccess::SeekStart>(mChoose(16) % 5);
        const auto size = static_cast<long>(chooseSize());
        const long offset = mChoose(2) == 0 ? size : -size;
        mStep << "seek " << offset << " from " << start;
        compare("result", mDevice.seek(offset, start), mPlain.seek(offset, start));
    }

    void skip()
    {
        const unsigned long size = chooseSize();
        mStep << "skip " << size;
        compare("count", mDevice.skipBytes(size), mPlain.skipBytes(size));
    }

    void askForEnd()
    {
        mStep << "atEnd";
        compare("result", mDevice.atEnd(), mPlain.atEnd());
    }

    void clearError()
    {
        mStep << "clearDeviceError";
        mDevice.clearDeviceError();
        mPlain.clearDeviceError();
    }

    // A closed device isn't told another way: the plain form would have to follow it through open.
    void declareWay()
    {
        if (!mDevice.isOpen()) return;
        const qzIoDevice::DataWay way = chooseWay();
        mStep << "changeSupportedDataWay " << way;
        mDevice.changeSupportedDataWay(way);
        mPlain.changeSupportedDataWay(way);
    }

    void load()
    {
        mStep << "loadFullFileContent";
        std::vector<char> device;
        std::vector<char> plain;
        compare("result", mDevice.loadFullFileContent(device), mPlain.loadFullFileContent(plain));
        compareBytes({device.begin(), device.end()}, {plain.begin(), plain.end()});
    }

    // A device that doesn't read is never at its end, and this loop would not end.
    void copyOut()
    {
        if (!mDevice.isOpen() || !(mDevice.getSupportedDataWay() & 1)) return;
        mStep << "read to the end";
        std::string device;
        std::string plain;
        while (!mDevice.atEnd() && mDevice.good())
            device += readFrom(mDevice, 8192);
        while (!mPlain.atEnd() && mPlain.good())
            plain += readFrom(mPlain, 8192);
        compareBytes(device, plain);
    }

    void read()
    {
        const unsigned long size = chooseSize();
        mStep << "read " << size;
        const std::string device = readFrom(mDevice, size);
        const std::string plain = readFrom(mPlain, size);
        compare("count", device.size(), plain.size());
        compareBytes(device, plain);
    }

    void write()
    {
        std::string bytes(chooseSize(), ' ');
        for (char& byte : bytes) {
            byte = mNextByte;
            mNextByte = mNextByte == 'z' ? '0' : static_cast<char>(mNextByte + 1);
        }
        mStep << "write " << bytes.size();
        compare("count", mDevice.writeBytes(bytes.data(), bytes.size()),
                mPlain.writeBytes(bytes.data(), bytes.size()));
    }

    template <typename Device>
    static std::string readFrom(Device& device, unsigned long size)
    {
        std::string bytes(size, '?');
        bytes.resize(device.readBytes(bytes.data(), size));
        return bytes;
    }

    std::string mDevicePath;
    std::string mPlainPath;
    std::size_t mBufferSize;
    qzIoDeviceFileStream mDevice;
    PlainFileDevice mPlain;
    Choose mChoose;
    std::ostringstream mStep;
    std::string mDifference;
    char mNextByte = '0';  // counts on, so that each byte of a block tells its place
};

}  // namespace qz
