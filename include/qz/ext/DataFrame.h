// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// Frames: bytes with a header that says what they are, and checksums that show damage.
///
/// A frame is a header of 32 bytes and the payload. Numbers are little-endian:
///
/// | Offset | Bytes | Content |
/// |---|---|---|
/// | 0 | 8 | the magic of the format |
/// | 8 | 4 | the layout of the header: 1 |
/// | 12 | 4 | the version of the payload |
/// | 16 | 8 | n, the length of the payload in bytes |
/// | 24 | 4 | the CRC-32C of the payload |
/// | 28 | 4 | the CRC-32C of the first 28 bytes |
/// | 32 | n | the payload |
///
/// The checksums find damage, but not a forger, who computes them as well. So the content of a
/// frame still must be read with limits.

#include <string>
#include <string_view>

#include <qz/ext/CheckedStream.h>
#include <qz/ext/StreamFailure.h>
#include <qz/qzExport.h>

namespace qz::ext {

/// What the payload of a frame is.
struct FrameFormat {
    /// Describes a format.
    /// @param frameMagic 8 characters that no other format begins with, as a literal.
    /// @param newestVersion the version that is written, and the latest that is read.
    constexpr FrameFormat(const char (&frameMagic)[9], unsigned int newestVersion)
        : version(newestVersion)
    {
        for (int i = 0; i < 8; ++i)
            magic[i] = frameMagic[i];
    }

    /// The first bytes of each frame.
    char magic[8] = {};
    /// The version that is written, and the latest that is read.
    unsigned int version;
};

/// Writes a frame to a file, a pipe or another device. A file buffers: flush it, and then check the
/// device.
/// @return whether the device took all bytes. If not, it holds a part of the frame, and its error
///     text may say why.
QZ_API bool writeFrame(qzIoDevice& device, const FrameFormat& format, std::string_view payload);

/// Reads one frame after the other, and accepts each only whole and undamaged.
///
/// @code
/// constexpr qz::ext::FrameFormat kFormat("QZORDERS", /*newestVersion=*/2);
/// qz::ext::FrameReader frames(file, kFormat);
/// std::string payload;
/// if (!frames.read(payload) || !frames.readEnd()) qz::logWarning() << frames.getFailure().text;
/// @endcode
///
/// The first failure is final, because where the next frame begins is then unknown. Exceptions and
/// threads are as for `CheckedStream`.
class QZ_API FrameReader {
public:
    /// The longest payload, unless another limit is given.
    static constexpr unsigned long msPayloadLimit = 64UL << 20U;

    /// Makes a reader over a device, which is not owned and must outlive the reader.
    /// @param payloadLimit the longest payload that is accepted, in bytes.
    FrameReader(qzIoDevice& device, const FrameFormat& format,
                unsigned long payloadLimit = msPayloadLimit);
    /// Leaves the device after the last byte read.
    ~FrameReader();
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;

    /// Reads the next frame, and no byte after it. The length is checked before anything of the
    /// payload is read, and memory grows with the bytes that come.
    /// @param payload receives the payload; as it was if the result is false.
    /// @return false after a failure. Its reason is `NoFrame` if the input has ended and all frames
    ///     before were whole.
    bool read(std::string& payload);
    /// Checks that nothing follows the last frame.
    bool readEnd() { return mStream.readEnd(); }

    /// The version of the last frame read; 0 before the first one.
    unsigned int getVersion() const { return mVersion; }
    /// The first failure; its reason is `None` if there is none. Offsets count from where the
    /// reader began.
    StreamFailure getFailure() const { return mStream.getFailure(); }

private:
    QZ_LOCAL bool readPayload(std::string& payload, unsigned long size, unsigned int crc);

    CheckedStream mStream;
    const FrameFormat mFormat;
    const unsigned long mPayloadLimit;
    unsigned int mVersion = 0;
};

}  // namespace qz::ext
