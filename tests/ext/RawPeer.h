// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The bytes of a channel, made by hand, for peers that don't keep to the rules.

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <utility>

namespace qz::ext {

/// A CRC-32C bit by bit, as a reference.
inline std::uint32_t computePlainCrc32c(const std::string& bytes)
{
    std::uint32_t rest = 0xFFFFFFFF;
    for (const char byte : bytes) {
        rest ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            rest = (rest >> 1U) ^ ((rest & 1U) != 0 ? 0x82F63B78U : 0);
    }
    return ~rest;
}

/// Four bytes, the lowest first.
inline std::string toBytes(std::uint32_t number)
{
    std::string bytes;
    for (unsigned int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(number >> shift);
    return bytes;
}

/// A message as it goes over the socket.
inline std::string makeFrame(const std::string& message)
{
    const std::string size = toBytes(static_cast<std::uint32_t>(message.size()));
    return size + toBytes(computePlainCrc32c(size + message)) + message;
}

/// A socket without any rules.
class RawSocket {
public:
    explicit RawSocket(int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
        : mDescriptor(descriptor)
    {
    }
    RawSocket(RawSocket&& other) noexcept : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
    RawSocket& operator=(RawSocket&& other) noexcept
    {
        std::swap(mDescriptor, other.mDescriptor);
        return *this;
    }
    ~RawSocket() { close(); }

    int get() const { return mDescriptor; }
    void close()
    {
        if (mDescriptor >= 0) ::close(std::exchange(mDescriptor, -1));
    }
    bool connect(const std::string& path) const
    {
        const sockaddr_un address = makeAddress(path);
        return ::connect(mDescriptor, reinterpret_cast<const sockaddr*>(&address),
                         sizeof address) == 0;
    }
    bool listen(const std::string& path, int backlog = 10) const
    {
        const sockaddr_un address = makeAddress(path);
        return ::bind(mDescriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
                   0 &&
               ::listen(mDescriptor, backlog) == 0;
    }
    RawSocket accept() const { return RawSocket(::accept(mDescriptor, nullptr, nullptr)); }
    bool send(const std::string& bytes) const
    {
        return ::send(mDescriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }
    /// Sends as much as there is room for.
    std::size_t sendWithoutWaiting(const std::string& bytes) const
    {
        const ssize_t count =
            ::send(mDescriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }

private:
    static sockaddr_un makeAddress(const std::string& path)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        return address;
    }

    int mDescriptor;
};

}  // namespace qz::ext
