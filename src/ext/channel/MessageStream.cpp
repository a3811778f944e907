// SPDX-License-Identifier: MIT
#include "MessageStream.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/socket.h>

#include "base/Crc32c.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

constexpr std::size_t kFirstBufferBytes = 16UL * 1024;
// A larger buffer is released when it is empty.
constexpr std::size_t kCachedBytes = 1024UL * 1024;

// x86-64 is little-endian.
struct Header {
    std::uint32_t size = 0;
    std::uint32_t crc = 0;
};
static_assert(sizeof(Header) == MessageStream::kHeaderBytes);

Header makeHeader(std::string_view message)
{
    Header header;
    header.size = static_cast<std::uint32_t>(message.size());
    header.crc = computeCrc32c(computeCrc32c(0, &header.size, sizeof header.size), message.data(),
                               message.size());
    return header;
}

}  // namespace

void MessageStream::reserveInput()
{
    if (mEnd < mInput.size()) return;
    if (mBegin > 0) {
        std::memmove(mInput.data(), mInput.data() + mBegin, mEnd - mBegin);
        mEnd -= mBegin;
        mBegin = 0;
    }
    // What was moved may be most of the room: then a message fills it.
    if (mEnd * 2 > mInput.size() || mInput.empty())
        mInput.resize(std::max(kFirstBufferBytes, 2 * mInput.size()));
}

MessageStream::Step MessageStream::breakOff(std::string step, int error)
{
    if (!mFailure) mFailure = {std::move(step), error};
    return Step::Broken;
}

MessageStream::Step MessageStream::receive(int socket)
{
    reserveInput();
    const ssize_t count = restart(
        [&] { return ::recv(socket, mInput.data() + mEnd, mInput.size() - mEnd, MSG_DONTWAIT); });
    if (count > 0) {
        mEnd += static_cast<std::size_t>(count);
        return Step::Moved;
    }
    if (count < 0 && errno == EAGAIN) return Step::MustWait;
    mHasEnded = true;
    return count < 0 ? breakOff("receive", errno) : Step::Broken;
}

bool MessageStream::take(std::string& message)
{
    if (mEnd - mBegin < kHeaderBytes) return false;
    Header header;
    std::memcpy(&header, mInput.data() + mBegin, kHeaderBytes);
    if (header.size > mMessageLimit) {
        breakOff("receive, a message of " + std::to_string(header.size) + " bytes", EMSGSIZE);
        return false;
    }
    if (mEnd - mBegin - kHeaderBytes < header.size) return false;
    const std::string_view content(mInput.data() + mBegin + kHeaderBytes, header.size);
    if (makeHeader(content).crc != header.crc) {
        breakOff("receive, a message with a wrong CRC", EBADMSG);
        return false;
    }
    message.assign(content);
    mBegin += kHeaderBytes + header.size;
    if (mBegin == mEnd) {
        mBegin = mEnd = 0;
        if (mInput.size() > kCachedBytes) std::vector<char>().swap(mInput);
    }
    return true;
}

SystemFailure MessageStream::getFailure() const
{
    if (mFailure || !mHasEnded) return mFailure;
    if (hasInput()) return {"receive, the peer closed inside a message", ECONNRESET};
    return {"receive, the peer closed the connection", ENOTCONN};
}

bool MessageStream::append(std::string_view message)
{
    if (message.size() > mMessageLimit) return false;
    const Header header = makeHeader(message);
    if (mSent > 0) mOutput.erase(0, std::exchange(mSent, 0));
    // Before the header is there, because memory may be short, and a header alone would be sent.
    mOutput.reserve(mOutput.size() + kHeaderBytes + message.size());
    mOutput.append(reinterpret_cast<const char*>(&header), kHeaderBytes);
    mOutput.append(message);
    return true;
}

MessageStream::Step MessageStream::send(int socket)
{
    const ssize_t count = restart([&] {
        return ::send(socket, mOutput.data() + mSent, getOutputBytes(),
                      MSG_DONTWAIT | MSG_NOSIGNAL);
    });
    if (count < 0) return errno == EAGAIN ? Step::MustWait : breakOff("send", errno);
    mSent += static_cast<std::size_t>(count);
    if (getOutputBytes() == 0) {
        mOutput.clear();
        mSent = 0;
        if (mOutput.capacity() > kCachedBytes) std::string().swap(mOutput);
    }
    return Step::Moved;
}

}  // namespace qz::ext
