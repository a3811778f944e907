// SPDX-License-Identifier: MIT
#include <qz/ext/PipeChannel.h>

#include <cerrno>

#include <poll.h>
#include <unistd.h>

#include "LocalSocket.h"
#include "MessageStream.h"
#include "base/LocalText.h"
#include "base/PrivateFolder.h"

namespace qz::ext {

using Step = MessageStream::Step;

struct PipeChannel::Connection {
    OwnDescriptor socket;
    MessageStream stream;
    long peerPid;
};

PipeChannel::PipeChannel(unsigned long messageLimit) noexcept : mMessageLimit(messageLimit) {}
PipeChannel::~PipeChannel() = default;
PipeChannel::PipeChannel(PipeChannel&&) noexcept = default;
PipeChannel& PipeChannel::operator=(PipeChannel&&) noexcept = default;

bool PipeChannel::connect(const std::string& name, int timeoutMs,
                          const qzCancelInterfaceReadOnly* cancel, SystemFailure* failure)
{
    close();
    std::string localPath;
    if (!findPrivatePath(name, kSocketSuffix, localPath, failure)) return false;
    OwnDescriptor socket = openSocket(failure);
    ucred peer = {};
    if (!socket.isOpen() || !connectTo(socket, localPath, WaitLimit(timeoutMs, cancel), failure) ||
        !findPeer(socket.get(), peer, failure))
        return false;
    if (peer.uid != ::geteuid())
        return fail(failure, "connect to a server of user " + std::to_string(peer.uid), EACCES);
    mConnection = std::make_unique<Connection>(
        Connection{std::move(socket), MessageStream(mMessageLimit), peer.pid});
    return true;
}

bool PipeChannel::send(std::string_view message, int timeoutMs,
                       const qzCancelInterfaceReadOnly* cancel, SystemFailure* failure)
{
    if (!isConnected()) return fail(failure, "send", ENOTCONN);
    const int socket = mConnection->socket.get();
    MessageStream& stream = mConnection->stream;
    if (!stream.append(message))
        return fail(failure, "send, a message of " + std::to_string(message.size()) + " bytes",
                    EMSGSIZE);
    const WaitLimit limit(timeoutMs, cancel);
    while (stream.getOutputBytes() > 0) {
        const Step step = stream.send(socket);
        if (step == Step::Moved) continue;
        // A server that is itself sending may read nothing until its messages are received.
        const auto events = static_cast<short>(stream.canReceive() ? POLLOUT | POLLIN : POLLOUT);
        const short ready =
            step == Step::Broken ? short(0) : waitForSocket(socket, events, limit, failure);
        if (ready == 0) {
            if (step == Step::Broken) fail(failure, "send", stream.getFailure().error);
            close();
            return false;
        }
        if ((ready & POLLIN) != 0) stream.receive(socket);
    }
    return true;
}

bool PipeChannel::receive(std::string& message, int timeoutMs,
                          const qzCancelInterfaceReadOnly* cancel, SystemFailure* failure)
{
    if (!isConnected()) return fail(failure, "receive", ENOTCONN);
    const int socket = mConnection->socket.get();
    MessageStream& stream = mConnection->stream;
    const WaitLimit limit(timeoutMs, cancel);
    while (!stream.take(message)) {
        if (const SystemFailure reason = stream.getFailure()) {
            close();
            return fail(failure, reason.step, reason.error);
        }
        if (stream.receive(socket) == Step::MustWait &&
            waitForSocket(socket, POLLIN, limit, failure) == 0)
            return false;
    }
    return true;
}

void PipeChannel::close()
{
    mConnection.reset();
}

bool PipeChannel::isConnected() const
{
    return mConnection != nullptr && mConnection->socket.isOpen();
}

long PipeChannel::getPeerPid() const
{
    return isConnected() ? mConnection->peerPid : 0;
}

}  // namespace qz::ext
