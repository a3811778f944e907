// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

/// Writes numbers, strings and bytes to a device, and reads them back.
///
/// The format has no tags: a value takes exactly its bytes, and reader and writer must agree on
/// order, types and endianness. Numbers are two's complement or IEEE 754; a `bool` is 0x00 or 0xFF
/// and reads as true from any byte but 0; a string or byte vector is a 32-bit byte count followed
/// by the bytes, so that one may be read as the other.
///
/// @code
/// qzIoDeviceFileStream file("score.bin", qzIoDevice::DataWayWrite, /*truncate=*/true);
/// qzDataStream stream(file, qzDataStream::LittleEndian);
/// stream << std::string("player") << 42 << 0.5;
/// if (!stream.isOk()) std::cerr << stream.getErrorMsg() << '\n';
/// @endcode
///
/// Nothing throws except for lack of memory, in the stream or in the device, and the stream is not
/// ok then. Check `isOk()` after a batch of values; `getErrorMsg()` returns the error text of the
/// device. Threads: one thread uses a stream and its device at a time.
class QZ_API qzDataStream {
public:
    /// The byte order of numbers and lengths. Any value but `BigEndian` acts as `LittleEndian`.
    enum Endianness : int {
        LittleEndian = 0,  ///< Least significant byte first.
        BigEndian = 1,     ///< Most significant byte first.
    };

    /// Makes a stream without a device, which is not ok and fails every number.
    qzDataStream() = default;
    /// Makes a stream over `device`, as `setIoDevice` does.
    qzDataStream(qzIoDevice* device, Endianness endianness);
    /// Makes a stream over `device`, as `setIoDevice` does.
    qzDataStream(qzIoDevice& device, Endianness endianness);
    /// Detaches the device, which stays alive.
    ~qzDataStream();
    qzDataStream(const qzDataStream&) = delete;
    qzDataStream& operator=(const qzDataStream&) = delete;

    /// Restarts the stream over `device`, which is not owned and must outlive its use here. With
    /// null the stream is ok, and every value fails.
    void setIoDevice(qzIoDevice* device, Endianness endianness);
    /// Chooses the byte order of what follows.
    void setEndianness(Endianness endianness);
    /// The byte order as it was set.
    Endianness getEndianness() const { return mEndianness; }

    /// Whether nothing has failed so far, in the stream or in the device.
    bool isOk() const;
    /// Ends the ok state until the next `setIoDevice`.
    /// @param text replaces the stream's error text only if there is one already. No operation of
    ///     the stream sets one, so `getErrorMsg` never contains it.
    void setError(const std::string& text);
    /// The device's error text, after that of the stream and ", " if there is one.
    std::string getErrorMsg() const;

    /// @name One value of a fixed width, as it is in memory
    /// Each returns whether the full width moved; false without a device. A big-endian read
    /// reverses the destination also when it failed.
    /// @{
    bool write1Byte(const char* data);         ///< Writes a byte.
    bool read1Byte(char* data);                ///< Reads a byte.
    bool write2BytesLittleEndian(char* data);  ///< Writes 2 bytes as they are.
    bool write4BytesLittleEndian(char* data);  ///< Writes 4 bytes as they are.
    bool write8BytesLittleEndian(char* data);  ///< Writes 8 bytes as they are.
    bool read2BytesLittleEndian(char* data);   ///< Reads 2 bytes as they are.
    bool read4BytesLittleEndian(char* data);   ///< Reads 4 bytes as they are.
    bool read8BytesLittleEndian(char* data);   ///< Reads 8 bytes as they are.
    bool write2BytesBigEndian(char* data);     ///< Writes 2 bytes reversed.
    bool write4BytesBigEndian(char* data);     ///< Writes 4 bytes reversed.
    bool write8BytesBigEndian(char* data);     ///< Writes 8 bytes reversed.
    bool read2BytesBigEndian(char* data);      ///< Reads 2 bytes and reverses them.
    bool read4BytesBigEndian(char* data);      ///< Reads 4 bytes and reverses them.
    bool read8BytesBigEndian(char* data);      ///< Reads 8 bytes and reverses them.
    /// @}

    /// @name Numbers
    /// They call the device even if the stream is no longer ok.
    /// @{
    qzDataStream& operator<<(bool value);             ///< Writes 0xFF or 0x00.
    qzDataStream& operator<<(char value);             ///< Writes 1 byte.
    qzDataStream& operator<<(unsigned char value);    ///< Writes 1 byte.
    qzDataStream& operator<<(short value);            ///< Writes 2 bytes.
    qzDataStream& operator<<(unsigned short value);   ///< Writes 2 bytes.
    qzDataStream& operator<<(int value);              ///< Writes 4 bytes.
    qzDataStream& operator<<(unsigned int value);     ///< Writes 4 bytes.
    qzDataStream& operator<<(long value);             ///< Writes 8 bytes.
    qzDataStream& operator<<(unsigned long value);    ///< Writes 8 bytes.
    qzDataStream& operator<<(float value);            ///< Writes 4 bytes.
    qzDataStream& operator<<(double value);           ///< Writes 8 bytes.
    qzDataStream& operator>>(bool& value);            ///< Reads 1 byte; false on failure.
    qzDataStream& operator>>(char& value);            ///< Reads 1 byte.
    qzDataStream& operator>>(unsigned char& value);   ///< Reads 1 byte.
    qzDataStream& operator>>(short& value);           ///< Reads 2 bytes.
    qzDataStream& operator>>(unsigned short& value);  ///< Reads 2 bytes.
    qzDataStream& operator>>(int& value);             ///< Reads 4 bytes.
    qzDataStream& operator>>(unsigned int& value);    ///< Reads 4 bytes.
    qzDataStream& operator>>(long& value);            ///< Reads 8 bytes.
    qzDataStream& operator>>(unsigned long& value);   ///< Reads 8 bytes.
    qzDataStream& operator>>(float& value);           ///< Reads 4 bytes.
    qzDataStream& operator>>(double& value);          ///< Reads 8 bytes.
    /// @}

    /// @name Texts and bytes
    /// On a stream that is not ok, they don't call the device, and a read empties its destination.
    /// They fail for more than 4 GiB less a byte. A failed read leaves the destination empty.
    /// Memory grows with the bytes that come, in steps of at most 1 MiB, so a damaged count does no
    /// harm.
    /// @{
    qzDataStream& operator<<(std::string_view text);    ///< Writes a text.
    qzDataStream& operator<<(const std::string& text);  ///< Writes a text.
    qzDataStream& operator<<(const char* text);         ///< Writes a terminated text, not null.
    qzDataStream& operator<<(const std::vector<char>& bytes);  ///< Writes bytes.
    qzDataStream& operator>>(std::string& text);               ///< Reads a text.
    qzDataStream& operator>>(std::vector<char>& bytes);        ///< Reads bytes.
    /// @}

    /// @name Types without a form in the stream
    /// Refused by the compiler. A pointer would convert to `bool`, and an 8-bit integer (`int8_t`)
    /// or a character of another width to an `int` of 4 bytes: cast to `char` or to the number that
    /// is to be written.
    /// @{
    qzDataStream& operator<<(const void* pointer) = delete;  ///< Refused.
    qzDataStream& operator<<(signed char value) = delete;    ///< Refused.
    qzDataStream& operator<<(wchar_t value) = delete;        ///< Refused.
    qzDataStream& operator<<(char16_t value) = delete;       ///< Refused.
    qzDataStream& operator>>(signed char& value) = delete;   ///< Refused.
#ifdef __cpp_char8_t
    qzDataStream& operator<<(char8_t value) = delete;   ///< Refused.
    qzDataStream& operator>>(char8_t& value) = delete;  ///< Refused.
#endif
    /// @}

    /// Writes bytes without a count; nothing on a stream that is not ok.
    /// @return whether the stream is still ok.
    bool writeRawData(const char* data, unsigned long size);
    /// Reads bytes without a count; nothing on a stream that is not ok.
    /// @return the bytes read; fewer than `size` end the ok state.
    unsigned long readRawBytes(char* data, unsigned long size);

private:
    friend class qzDataStreamTestPeer;

    using MoveNumber = bool (qzDataStream::*)(char*);

    template <typename T>
    qzDataStream& writeNumber(MoveNumber move, MoveNumber littleEndian, T value);
    template <typename T>
    qzDataStream& readNumber(MoveNumber move, MoveNumber littleEndian, T& value);
    void setWriteError();
    void setTextError(unsigned long size);
    void setReadError();
    // The only way to the device. Without one, no byte moves.
    template <typename Move>
    QZ_LOCAL unsigned long callDevice(Move move)
    {
        if (mDevice == nullptr) return 0;
        try {
            return move(*mDevice);
        } catch (...) {  // lack of memory: a part of the value may have moved
            mOk = false;
            throw;
        }
    }
    QZ_LOCAL unsigned long moveToDevice(const char* data, unsigned long size)
    {
        return callDevice([=](qzIoDevice& device) { return device.writeBytes(data, size); });
    }
    QZ_LOCAL unsigned long moveFromDevice(char* data, unsigned long size)
    {
        return callDevice([=](qzIoDevice& device) { return device.readBytes(data, size); });
    }
    template <typename Bytes>
    QZ_LOCAL void readCounted(Bytes& bytes);
    template <typename Bytes>
    QZ_LOCAL bool readSteps(Bytes& bytes, unsigned long count);

    qzIoDevice* mDevice = nullptr;
    MoveNumber mWrite2Bytes = nullptr;
    MoveNumber mWrite4Bytes = nullptr;
    MoveNumber mWrite8Bytes = nullptr;
    MoveNumber mRead2Bytes = nullptr;
    MoveNumber mRead4Bytes = nullptr;
    MoveNumber mRead8Bytes = nullptr;
    std::string mErrorText;
    Endianness mEndianness = LittleEndian;
    bool mOk = false;
};

// The bodies of the operators follow. A number in little-endian order, which is the usual one,
// costs the call of the device alone: one comparison spares the indirect call.

template <typename T>
qzDataStream& qzDataStream::writeNumber(MoveNumber move, MoveNumber littleEndian, T value)
{
    char* const data = reinterpret_cast<char*>(&value);
    const bool isWritten = move == littleEndian ? moveToDevice(data, sizeof value) == sizeof value
                                                : move != nullptr && (this->*move)(data);
    if (!isWritten) setWriteError();
    return *this;
}

template <typename T>
qzDataStream& qzDataStream::readNumber(MoveNumber move, MoveNumber littleEndian, T& value)
{
    char* const data = reinterpret_cast<char*>(&value);
    const bool isRead = move == littleEndian ? moveFromDevice(data, sizeof value) == sizeof value
                                             : move != nullptr && (this->*move)(data);
    if (!isRead) setReadError();
    return *this;
}

inline qzDataStream& qzDataStream::operator<<(bool value)
{
    return *this << static_cast<char>(value ? -1 : 0);
}

inline qzDataStream& qzDataStream::operator<<(char value)
{
    if (!write1Byte(&value)) setWriteError();
    return *this;
}

inline qzDataStream& qzDataStream::operator<<(unsigned char value)
{
    return *this << static_cast<char>(value);
}

inline qzDataStream& qzDataStream::operator<<(short value)
{
    return writeNumber(mWrite2Bytes, &qzDataStream::write2BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator<<(unsigned short value)
{
    return writeNumber(mWrite2Bytes, &qzDataStream::write2BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator<<(int value)
{
    return writeNumber(mWrite4Bytes, &qzDataStream::write4BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator<<(unsigned int value)
{
    return writeNumber(mWrite4Bytes, &qzDataStream::write4BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator<<(long value)
{
    return writeNumber(mWrite8Bytes, &qzDataStream::write8BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator<<(unsigned long value)
{
    return writeNumber(mWrite8Bytes, &qzDataStream::write8BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator<<(float value)
{
    return writeNumber(mWrite4Bytes, &qzDataStream::write4BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator<<(double value)
{
    return writeNumber(mWrite8Bytes, &qzDataStream::write8BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator<<(std::string_view text)
{
    if (!mOk) return *this;
    const unsigned long size = text.size();
    if (size > 0xFFFFFFFF) {
        setTextError(size);
        return *this;
    }
    *this << static_cast<unsigned int>(size);
    if (size == 0) return *this;
    // The bytes are tried even if the count has failed; a device in error moves none of them.
    if (moveToDevice(text.data(), size) != size) setTextError(size);
    return *this;
}

inline qzDataStream& qzDataStream::operator<<(const std::string& text)
{
    return *this << std::string_view(text);
}

inline qzDataStream& qzDataStream::operator>>(bool& value)
{
    char byte = 0;
    *this >> byte;
    value = byte != 0;
    return *this;
}

inline qzDataStream& qzDataStream::operator>>(char& value)
{
    if (!read1Byte(&value)) setReadError();
    return *this;
}

inline qzDataStream& qzDataStream::operator>>(unsigned char& value)
{
    return *this >> reinterpret_cast<char&>(value);
}

inline qzDataStream& qzDataStream::operator>>(short& value)
{
    return readNumber(mRead2Bytes, &qzDataStream::read2BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator>>(unsigned short& value)
{
    return readNumber(mRead2Bytes, &qzDataStream::read2BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator>>(int& value)
{
    return readNumber(mRead4Bytes, &qzDataStream::read4BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator>>(unsigned int& value)
{
    return readNumber(mRead4Bytes, &qzDataStream::read4BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator>>(long& value)
{
    return readNumber(mRead8Bytes, &qzDataStream::read8BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator>>(unsigned long& value)
{
    return readNumber(mRead8Bytes, &qzDataStream::read8BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator>>(float& value)
{
    return readNumber(mRead4Bytes, &qzDataStream::read4BytesLittleEndian, value);
}

inline qzDataStream& qzDataStream::operator>>(double& value)
{
    return readNumber(mRead8Bytes, &qzDataStream::read8BytesLittleEndian, value);
}

}  // namespace qz
