// SPDX-License-Identifier: MIT
#include <algorithm>
#include <string>

#include <qz/ext/PipeChannel.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzNamedPipe.h>

#include "pipe.h"

namespace bench {

namespace {

bool startsLibrary()
{
    startLibrary();
    return true;
}

std::string makeName()
{
    return "bench_pipe." + std::to_string(::getpid());
}

// Receives until the other side ends; answers each part of this size with a byte.
void receiveParts(const std::string& name, std::size_t partBytes)
{
    qz::qzNamedPipe pipe;
    pipe.connectToNamedPipeServerUtf8(name);
    std::size_t received = 0;
    while (pipe.isConnected() && !pipe.isReadChannelClosed()) {
        pipe.processNamedPipeEvents(/*timeoutMs=*/-1, /*waitWhenIdle=*/true);
        received += pipe.editReadQueue().size();
        pipe.editReadQueue().clear();
        if (received < partBytes) continue;
        received -= partBytes;
        pipe.editWriteQueue().push_back(1);
        pipe.processNamedPipeEvents(0, false);
    }
}

void sendPart(qz::qzNamedPipe& pipe, const std::string& piece, std::size_t partBytes)
{
    for (std::size_t sent = 0; sent < partBytes;) {
        std::vector<char>& queue = pipe.editWriteQueue();
        const std::size_t count = std::min(piece.size(), partBytes - sent);
        queue.assign(piece.data(), piece.data() + count);
        sent += count;
        for (pipe.processNamedPipeEvents(0, false); pipe.hasPendingWrite();
             pipe.processNamedPipeEvents(0, false))
            waitFor(pipe.getSocket(), POLLOUT);
    }
    while (pipe.editReadQueue().empty())
        pipe.processNamedPipeEvents(/*timeoutMs=*/-1, /*waitWhenIdle=*/true);
    pipe.editReadQueue().clear();
}

void measureOneWay(benchmark::State& state)
{
    const std::size_t bytes = getOneWayBytes();
    const std::string name = makeName();
    const std::string piece(kPieceBytes, 'x');
    qz::qzNamedPipeServer server;
    server.listenUtf8(name);
    const OtherProcess receiver([&] { receiveParts(name, bytes); });
    server.waitForNewConnection(-1, nullptr);
    qz::qzNamedPipe& pipe = *server.editPendingConnections().front();
    for (auto _ : state)
        sendPart(pipe, piece, bytes);
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
    server.closeNamedPipeServer();
}

// Answers until the first client ends.
void answer(const std::string& name, int ready)
{
    struct Ended : qz::qzCancelInterfaceReadOnly {
        bool shouldCancel() const override { return isSet; }
        bool isSet = false;
    } ended;
    qz::ext::PipeServer server;
    server.onMessage(
        [](qz::ext::PipeServer::Peer& peer, const std::string& message) { peer.send(message); });
    server.onClosed([&](auto&, const auto&) { ended.isSet = true; });
    server.listen(name);
    [[maybe_unused]] const ssize_t told = ::write(ready, "x", 1);
    server.serve(-1, &ended);
}

template <std::size_t Bytes>
void measureRoundTrip(benchmark::State& state)
{
    int ready[2] = {};
    if (::pipe(ready) != 0) return;
    const std::string name = makeName();
    const OtherProcess server([&] { answer(name, ready[1]); });
    char byte = 0;
    [[maybe_unused]] const ssize_t told = ::read(ready[0], &byte, 1);
    ::close(ready[0]);
    ::close(ready[1]);
    qz::ext::PipeChannel channel;
    qz::ext::SystemFailure failure;
    channel.connect(name, -1, nullptr, &failure);
    const std::string message(Bytes, 'x');
    std::string received;
    for (auto _ : state) {
        if (!channel.send(message, -1, nullptr, &failure) ||
            !channel.receive(received, -1, nullptr, &failure))
            state.SkipWithError(failure.toString().c_str());
    }
}

const Check kStart("the library doesn't start", startsLibrary);
const Case kWay(kOneWay, "qz", measureOneWay, Clock::Wall);
const Case kSmall(kSmallRoundTrip, "qz", measureRoundTrip<kSmallBytes>, Clock::Wall);
const Case kLarge(kLargeRoundTrip, "qz", measureRoundTrip<kLargeBytes>, Clock::Wall);

}  // namespace

}  // namespace bench
