// SPDX-License-Identifier: MIT
#include <qz/qzDataStream.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

namespace qz {

namespace {

constexpr unsigned long kLargestStep = 1UL << 20U;  // of a read of counted bytes

// The host is little-endian, so only the big-endian functions reverse anything.

std::uint16_t reversed(std::uint16_t value)
{
    return __builtin_bswap16(value);
}

std::uint32_t reversed(std::uint32_t value)
{
    return __builtin_bswap32(value);
}

std::uint64_t reversed(std::uint64_t value)
{
    return __builtin_bswap64(value);
}

template <typename Number>
void reverseInPlace(char* data)
{
    Number value;
    std::memcpy(&value, data, sizeof value);
    value = reversed(value);
    std::memcpy(data, &value, sizeof value);
}

}  // namespace

qzDataStream::qzDataStream(qzIoDevice* device, Endianness endianness)
{
    setIoDevice(device, endianness);
}

qzDataStream::qzDataStream(qzIoDevice& device, Endianness endianness)
    : qzDataStream(&device, endianness)
{
}

qzDataStream::~qzDataStream() = default;

void qzDataStream::setIoDevice(qzIoDevice* device, Endianness endianness)
{
    mOk = true;
    mDevice = device;
    mErrorText.clear();
    setEndianness(endianness);
}

void qzDataStream::setEndianness(Endianness endianness)
{
    const bool isBig = endianness == BigEndian;
    mWrite2Bytes =
        isBig ? &qzDataStream::write2BytesBigEndian : &qzDataStream::write2BytesLittleEndian;
    mWrite4Bytes =
        isBig ? &qzDataStream::write4BytesBigEndian : &qzDataStream::write4BytesLittleEndian;
    mWrite8Bytes =
        isBig ? &qzDataStream::write8BytesBigEndian : &qzDataStream::write8BytesLittleEndian;
    mRead2Bytes =
        isBig ? &qzDataStream::read2BytesBigEndian : &qzDataStream::read2BytesLittleEndian;
    mRead4Bytes =
        isBig ? &qzDataStream::read4BytesBigEndian : &qzDataStream::read4BytesLittleEndian;
    mRead8Bytes =
        isBig ? &qzDataStream::read8BytesBigEndian : &qzDataStream::read8BytesLittleEndian;
    mEndianness = endianness;
}

bool qzDataStream::isOk() const
{
    return mOk && (mDevice == nullptr || mDevice->good());
}

void qzDataStream::setError(const std::string& text)
{
    mOk = false;
    // Compatibility: only an existing text is replaced, so `getErrorMsg` reports device errors
    // only.
    if (mErrorText.empty() || text.empty()) return;
    mErrorText = text;
}

std::string qzDataStream::getErrorMsg() const
{
    std::string text = mErrorText;
    if (mDevice == nullptr || mDevice->good()) return text;
    if (!text.empty()) text += ", ";
    return text + mDevice->getDeviceErrorMsg();
}

[[gnu::cold]] void qzDataStream::setWriteError()
{
    setError("Write error");
}

[[gnu::cold]] void qzDataStream::setReadError()
{
    setError("Read error");
}

bool qzDataStream::write1Byte(const char* data)
{
    return moveToDevice(data, 1) == 1;
}

bool qzDataStream::read1Byte(char* data)
{
    return moveFromDevice(data, 1) == 1;
}

bool qzDataStream::write2BytesLittleEndian(char* data)
{
    return moveToDevice(data, 2) == 2;
}

bool qzDataStream::write4BytesLittleEndian(char* data)
{
    return moveToDevice(data, 4) == 4;
}

bool qzDataStream::write8BytesLittleEndian(char* data)
{
    return moveToDevice(data, 8) == 8;
}

bool qzDataStream::read2BytesLittleEndian(char* data)
{
    return moveFromDevice(data, 2) == 2;
}

bool qzDataStream::read4BytesLittleEndian(char* data)
{
    return moveFromDevice(data, 4) == 4;
}

bool qzDataStream::read8BytesLittleEndian(char* data)
{
    return moveFromDevice(data, 8) == 8;
}

bool qzDataStream::write2BytesBigEndian(char* data)
{
    char copy[2];
    std::memcpy(copy, data, sizeof copy);
    reverseInPlace<std::uint16_t>(copy);
    return moveToDevice(copy, 2) == 2;
}

bool qzDataStream::write4BytesBigEndian(char* data)
{
    char copy[4];
    std::memcpy(copy, data, sizeof copy);
    reverseInPlace<std::uint32_t>(copy);
    return moveToDevice(copy, 4) == 4;
}

bool qzDataStream::write8BytesBigEndian(char* data)
{
    char copy[8];
    std::memcpy(copy, data, sizeof copy);
    reverseInPlace<std::uint64_t>(copy);
    return moveToDevice(copy, 8) == 8;
}

bool qzDataStream::read2BytesBigEndian(char* data)
{
    const bool moved = moveFromDevice(data, 2) == 2;
    reverseInPlace<std::uint16_t>(data);
    return moved;
}

bool qzDataStream::read4BytesBigEndian(char* data)
{
    const bool moved = moveFromDevice(data, 4) == 4;
    reverseInPlace<std::uint32_t>(data);
    return moved;
}

bool qzDataStream::read8BytesBigEndian(char* data)
{
    const bool moved = moveFromDevice(data, 8) == 8;
    reverseInPlace<std::uint64_t>(data);
    return moved;
}

[[gnu::cold]] void qzDataStream::setTextError(unsigned long size)
{
    mOk = false;  // before the texts, which take memory
    const bool isTooLong = size > std::numeric_limits<std::uint32_t>::max();
    setError(isTooLong ? "Trying to write 4GB+ string" : "Fail to write string data");
}

qzDataStream& qzDataStream::operator<<(const char* text)
{
    return *this << std::string_view(text);
}

qzDataStream& qzDataStream::operator<<(const std::vector<char>& bytes)
{
    return *this << std::string_view(bytes.data(), bytes.size());
}

template <typename Bytes>
void qzDataStream::readCounted(Bytes& bytes)
{
    unsigned int count = 0;
    if (mOk) *this >> count;
    if (!mOk || count == 0) {
        bytes.clear();
        return;
    }
    try {
        if (readSteps(bytes, count)) return;
    } catch (...) {  // lack of memory
        mOk = false;
        Bytes().swap(bytes);
        throw;
    }
    setReadError();
    Bytes().swap(bytes);  // frees the memory too, which may be much
}

// The count may be damaged or hostile: memory grows with the bytes that come, not with the count.
template <typename Bytes>
bool qzDataStream::readSteps(Bytes& bytes, unsigned long count)
{
    // Bytes of the right number are all overwritten, and need not be zeroed first.
    if (bytes.size() != count) bytes.clear();
    unsigned long done = 0;
    while (done != count) {
        const unsigned long step = std::min(count - done, kLargestStep);
        if (bytes.size() < done + step) {
            if (bytes.capacity() < done + step) bytes.reserve(std::min(count, 2 * done + step));
            bytes.resize(done + step);
        }
        if (moveFromDevice(bytes.data() + done, step) != step) return false;
        done += step;
    }
    return true;
}

qzDataStream& qzDataStream::operator>>(std::string& text)
{
    readCounted(text);
    return *this;
}

qzDataStream& qzDataStream::operator>>(std::vector<char>& bytes)
{
    readCounted(bytes);
    return *this;
}

bool qzDataStream::writeRawData(const char* data, unsigned long size)
{
    if (!mOk) return false;
    if (moveToDevice(data, size) != size) setWriteError();
    return mOk;
}

unsigned long qzDataStream::readRawBytes(char* data, unsigned long size)
{
    if (size == 0 || data == nullptr || !mOk) return 0;
    const unsigned long count = moveFromDevice(data, size);
    if (count != size) setReadError();
    return count;
}

}  // namespace qz
