// SPDX-License-Identifier: MIT
#include "PipePeer.h"

#include <cerrno>
#include <utility>

#include <poll.h>

namespace qz::ext {

using Step = MessageStream::Step;

PipeServer::Peer::Peer() = default;
PipeServer::Peer::~Peer() = default;

PipePeer::PipePeer(OwnDescriptor socket, const ucred& process, const PipeServer::Limits& limits)
    : mSocket(std::move(socket)), mProcess(process), mLimits(limits), mStream(limits.messageBytes)
{
}

PipePeer::~PipePeer() = default;

bool PipePeer::send(std::string_view message)
{
    if (!isOpen()) return false;
    const std::size_t before = mStream.getOutputBytes();
    if (message.size() <= mLimits.messageBytes &&
        before + MessageStream::kHeaderBytes + message.size() > mLimits.queuedBytes) {
        close({"send, too many bytes are queued", ENOBUFS});
        return false;
    }
    if (before == 0) mOutputStart = Clock::now();
    return mStream.append(message);
}

void PipePeer::close()
{
    close({"close by the server", ECONNABORTED});
}

void PipePeer::close(const SystemFailure& reason)
{
    if (isOpen()) mReason = reason;
}

short PipePeer::getEvents() const
{
    const short input = isPaused() ? 0 : POLLIN;
    const short output = mStream.getOutputBytes() > 0 ? POLLOUT : 0;
    return static_cast<short>(input | output);
}

bool PipePeer::hasStalledSince(Clock::time_point start) const
{
    return Clock::now() - start > std::chrono::milliseconds(mLimits.stallMs);
}

void PipePeer::receive(bool isReady, const PipeServer::MessageCallback& callback)
{
    const bool hadPart = mStream.hasInput();
    if (isReady && !isPaused()) mStream.receive(getSocket());
    std::string message;
    bool hasTaken = false;
    while (isOpen() && !isPaused() && mStream.take(message)) {
        hasTaken = true;
        callback(*this, message);
    }
    // While the peer is paused, nobody knows whether the client has sent the rest.
    if (!hadPart || hasTaken || isPaused()) mInputStart = Clock::now();
    mWasPaused = isPaused();
    if (mWasPaused) return;
    if (const SystemFailure failure = mStream.getFailure()) {
        close(failure);
    } else if (mStream.hasInput() && hasStalledSince(mInputStart) &&
               mStream.receive(getSocket()) == Step::MustWait) {
        // Nothing is left in the socket, so it wasn't a slow callback that kept the rest there.
        close({"receive, the rest of a message is missing", ETIMEDOUT});
    }
}

void PipePeer::sendQueued()
{
    if (!isOpen() || mStream.getOutputBytes() == 0) return;
    switch (mStream.send(getSocket())) {
        case Step::Moved:
            mOutputStart = Clock::now();
            break;
        case Step::MustWait:
            if (hasStalledSince(mOutputStart)) close({"send, the client reads nothing", ETIMEDOUT});
            break;
        case Step::Broken:
            close(mStream.getFailure());
            break;
    }
}

}  // namespace qz::ext
