// SPDX-License-Identifier: MIT
#include <qz/qzIoDevice.h>

#include <algorithm>
#include <cstring>

#include <qz/qzLogObject.h>

namespace qz {

namespace {

constexpr unsigned long kSkipBufferSize = 4096;
constexpr unsigned long kCopyBufferSize = 4194304;
constexpr long kAddressSpace = 1L << 47;  // that of a process on x86-64; a size beyond is none

}  // namespace

qzIoDevice::qzIoDevice(DataWay dataWay) : mDataWay(dataWay) {}

qzIoDevice::~qzIoDevice() = default;

std::string qzIoDevice::getDeviceErrorMsg() const
{
    return mErrorMessage;
}

bool qzIoDevice::writeBackToDevice(qzIoDevice& destination, unsigned long* writtenBytes,
                                   std::vector<char>* buffer)
{
    std::vector<char> ownBuffer;
    std::vector<char>& block = buffer != nullptr ? *buffer : ownBuffer;
    block.resize(kCopyBufferSize);
    unsigned long total = 0;
    while (!atEnd() && good()) {
        const unsigned long got = readBytes(block.data(), block.size());
        total += got;
        if (destination.writeBytes(block.data(), got) != got) {
            setDeviceError("Destination device is in error");
            return false;
        }
        if (got == 0) break;  // a closed device, for one, is never at its end
    }
    if (writtenBytes != nullptr) *writtenBytes = total;
    return good();
}

unsigned long qzIoDevice::skipBytes(unsigned long count)
{
    char buffer[kSkipBufferSize];
    unsigned long skipped = 0;
    while (skipped < count) {
        const unsigned long asked = std::min(count - skipped, kSkipBufferSize);
        const unsigned long got = readBytes(buffer, asked);
        skipped += got;
        if (got < asked) break;
    }
    return skipped;
}

void qzIoDevice::clearDeviceError()
{
    mError = false;
    mErrorMessage.clear();
}

void qzIoDevice::setDeviceError(const std::string& message)
{
    mError = true;
    if (mErrorMessage.empty()) {
        mErrorMessage = message.empty() ? " unknown device error" : message;
    }
    logTrace("iodevice") << "qzIoDevice error : " << mErrorMessage;
}

qzIoDevice& qzIoDevice::operator<<(const std::string& text)
{
    writeBytes(text.data(), text.size());
    return *this;
}

qzIoDevice& qzIoDevice::operator<<(const char* text)
{
    writeBytes(text, std::strlen(text));
    return *this;
}

bool qzIoDeviceRandomAccess::loadFullFileContent(std::vector<char>& out)
{
    if (!good()) return false;
    const long position = getCurrentPos();
    if (!seek(0, SeekFromEnd)) return false;
    const long end = getCurrentPos();
    // After an impossible move a file that is only read is not in error, but its position is -1.
    if (end < 0 || end >= kAddressSpace || !seek(0, SeekFromBegin)) return false;
    const auto size = static_cast<unsigned long>(end);
    out.resize(size);
    if (readBytes(out.data(), size) != size) return false;
    return seek(position, SeekFromBegin) && good();
}

}  // namespace qz
