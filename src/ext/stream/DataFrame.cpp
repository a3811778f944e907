// SPDX-License-Identifier: MIT
#include <qz/ext/DataFrame.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "base/Crc32c.h"

namespace qz::ext {

namespace {

constexpr std::uint32_t kLayout = 1;
constexpr const char* kHeader = "frame header";

// As in the table of DataFrame.h; x86-64 is little-endian.
struct Header {
    char magic[8] = {};
    std::uint32_t layout = kLayout;
    std::uint32_t version = 0;
    std::uint64_t payloadBytes = 0;
    std::uint32_t payloadCrc = 0;
    std::uint32_t headerCrc = 0;
};
static_assert(sizeof(Header) == 32);
static_assert(std::has_unique_object_representations_v<Header>);

std::uint32_t computeHeaderCrc(const Header& header)
{
    return computeCrc32c(0, &header, offsetof(Header, headerCrc));
}

bool writeWhole(qzIoDevice& device, std::string_view bytes)
{
    while (!bytes.empty()) {
        const unsigned long count = device.writeBytes(bytes.data(), bytes.size());
        // More than all is what a -1 of a system call becomes in a careless device.
        if (count == 0 || count > bytes.size()) return false;
        bytes.remove_prefix(count);
    }
    return device.good();
}

// What is checked here is the header of each frame and not the whole, as a pipe may go on for ever.
StreamLimits makeLimits()
{
    StreamLimits limits;
    limits.totalBytes = std::numeric_limits<unsigned long>::max();
    return limits;
}

}  // namespace

bool writeFrame(qzIoDevice& device, const FrameFormat& format, std::string_view payload)
{
    Header header;
    std::memcpy(header.magic, format.magic, sizeof header.magic);
    header.version = format.version;
    header.payloadBytes = payload.size();
    header.payloadCrc = computeCrc32c(0, payload.data(), payload.size());
    header.headerCrc = computeHeaderCrc(header);
    const std::string_view bytes(reinterpret_cast<const char*>(&header), sizeof header);
    return writeWhole(device, bytes) && writeWhole(device, payload);
}

FrameReader::FrameReader(qzIoDevice& device, const FrameFormat& format, unsigned long payloadLimit)
    : mStream(device, qzDataStream::LittleEndian, makeLimits()),
      mFormat(format),
      mPayloadLimit(payloadLimit)
{
}

FrameReader::~FrameReader() = default;

bool FrameReader::read(std::string& payload)
{
    // The first failure is final, and the position may still be that of its offset.
    if (!mStream.isOk()) return false;
    const unsigned long start = mStream.mOffset;
    Header header;
    if (!mStream.readWhole(reinterpret_cast<char*>(&header), sizeof header, kHeader)) {
        const bool isFirstByteMissing =
            mStream.mReason == StreamFailure::Ended && mStream.mAmount == 0;
        if (isFirstByteMissing) mStream.mReason = StreamFailure::NoFrame;
        return false;
    }
    if (std::memcmp(header.magic, mFormat.magic, sizeof header.magic) != 0)
        return mStream.fail(StreamFailure::Foreign, kHeader, start);
    // Before its numbers are used
    if (header.headerCrc != computeHeaderCrc(header))
        return mStream.fail(StreamFailure::Damaged, kHeader, start);
    if (header.layout != kLayout)
        return mStream.fail(StreamFailure::OtherLayout, "layout of a frame", start, header.layout,
                            kLayout);
    if (header.version > mFormat.version)
        return mStream.fail(StreamFailure::Newer, "frame", start, header.version, mFormat.version);
    if (header.payloadBytes > mPayloadLimit)
        return mStream.fail(StreamFailure::PayloadLimit, "frame", start, header.payloadBytes,
                            mPayloadLimit);
    if (!readPayload(payload, header.payloadBytes, header.payloadCrc)) return false;
    mVersion = header.version;
    return true;
}

bool FrameReader::readPayload(std::string& payload, unsigned long size, unsigned int crc)
{
    const unsigned long start = mStream.mOffset;
    const char* const what = "frame payload";
    std::string fresh;
    if (!mStream.readSized(fresh, size, what, start)) return false;
    if (computeCrc32c(0, fresh.data(), size) != crc)
        return mStream.fail(StreamFailure::Damaged, what, start);
    payload.swap(fresh);
    return true;
}

}  // namespace qz::ext
