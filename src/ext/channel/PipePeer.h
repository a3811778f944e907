// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include <sys/socket.h>

#include <qz/ext/PipeChannel.h>

#include "MessageStream.h"
#include "base/OwnDescriptor.h"

namespace qz::ext {

/// One connection of a server.
class PipePeer final : public PipeServer::Peer {
public:
    /// @param limits those of the server, which outlive the object.
    PipePeer(OwnDescriptor socket, const ucred& process, const PipeServer::Limits& limits);
    ~PipePeer() override;

    unsigned int getUid() const override { return mProcess.uid; }
    long getPid() const override { return mProcess.pid; }
    bool isOpen() const override { return !mReason; }
    bool send(std::string_view message) override;
    void close() override;

    /// Ends the use of the connection; the first reason stays.
    void close(const SystemFailure& reason);
    /// Why the connection is no longer used.
    const SystemFailure& getReason() const { return mReason; }

    int getSocket() const { return mSocket.get(); }
    /// What `poll` shall wait for.
    short getEvents() const;
    /// Whether the wait must end early to notice that the client stalls.
    bool hasTimer() const { return mStream.hasInput() || mStream.getOutputBytes() > 0; }
    /// Whether the server must not wait: received messages are left, and their answers have room
    /// again, or the connection was closed after the server had removed the closed ones.
    bool hasWork() const { return !isOpen() || (mWasPaused && !isPaused()); }

    /// Receives once and makes the callback for each message.
    /// @param isReady whether `poll` has reported bytes, an end or an error.
    void receive(bool isReady, const PipeServer::MessageCallback& callback);
    /// Sends once.
    void sendQueued();

private:
    using Clock = std::chrono::steady_clock;

    bool isPaused() const { return mStream.getOutputBytes() > mLimits.queuedBytes / 2; }
    bool hasStalledSince(Clock::time_point start) const;

    OwnDescriptor mSocket;
    const ucred mProcess;
    const PipeServer::Limits& mLimits;
    MessageStream mStream;
    SystemFailure mReason;
    bool mWasPaused = false;
    Clock::time_point mInputStart;   // when the message began that isn't complete
    Clock::time_point mOutputStart;  // when the client last took bytes
};

}  // namespace qz::ext
