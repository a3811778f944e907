// SPDX-License-Identifier: MIT
// Bare sockets with the same sizes of calls.

#include <cerrno>
#include <string>

#include "pipe.h"

namespace bench {

namespace {

struct SocketPair {
    SocketPair() { ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends); }
    int ends[2] = {};
};

void sendAll(int socket, const char* bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t count = ::send(socket, bytes, size, MSG_NOSIGNAL);
        if (count < 0 && errno != EAGAIN) return;
        if (count < 0) {
            waitFor(socket, POLLOUT);
            continue;
        }
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
}

// @return 0 at the end.
std::size_t receiveSome(int socket, char* bytes, std::size_t size)
{
    for (;;) {
        waitFor(socket, POLLIN);
        const ssize_t count = ::recv(socket, bytes, size, 0);
        if (count >= 0 || errno != EAGAIN) return count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

void receiveParts(int socket, std::size_t partBytes)
{
    std::string buffer(kPieceBytes, '\0');
    std::size_t received = 0;
    while (const std::size_t count = receiveSome(socket, buffer.data(), buffer.size())) {
        received += count;
        if (received < partBytes) continue;
        received -= partBytes;
        sendAll(socket, "x", 1);
    }
}

void measureOneWay(benchmark::State& state)
{
    const std::size_t bytes = getOneWayBytes();
    const SocketPair sockets;
    const OtherProcess receiver([&] {
        ::close(sockets.ends[0]);
        receiveParts(sockets.ends[1], bytes);
    });
    ::close(sockets.ends[1]);
    const std::string piece(kPieceBytes, 'x');
    for (auto _ : state) {
        for (std::size_t sent = 0; sent < bytes; sent += piece.size())
            sendAll(sockets.ends[0], piece.data(), std::min(piece.size(), bytes - sent));
        char byte = 0;
        receiveSome(sockets.ends[0], &byte, 1);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
    ::close(sockets.ends[0]);
}

template <std::size_t Bytes>
void measureRoundTrip(benchmark::State& state)
{
    const SocketPair sockets;
    std::string buffer(Bytes, 'x');
    const OtherProcess server([&] {
        ::close(sockets.ends[0]);
        while (const std::size_t count = receiveSome(sockets.ends[1], buffer.data(), buffer.size()))
            sendAll(sockets.ends[1], buffer.data(), count);
    });
    ::close(sockets.ends[1]);
    for (auto _ : state) {
        sendAll(sockets.ends[0], buffer.data(), buffer.size());
        for (std::size_t received = 0; received < buffer.size();)
            received += receiveSome(sockets.ends[0], buffer.data(), buffer.size() - received);
    }
    ::close(sockets.ends[0]);
}

const Case kWay(kOneWay, "sockets", measureOneWay, Clock::Wall);
const Case kSmall(kSmallRoundTrip, "limit", measureRoundTrip<kSmallBytes>, Clock::Wall);
const Case kLarge(kLargeRoundTrip, "limit", measureRoundTrip<kLargeBytes>, Clock::Wall);

}  // namespace

}  // namespace bench
