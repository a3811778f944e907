// SPDX-License-Identifier: MIT
#include "LocalSocket.h"

#include <cerrno>
#include <chrono>
#include <thread>

#include <poll.h>
#include <sys/un.h>

#include "base/LocalText.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

// The system refuses more than net.core.somaxconn in any case.
constexpr int kBacklog = SOMAXCONN;
// A full queue of the server has no event that a client can wait for.
constexpr int kConnectPeriodMs = 5;

bool makeAddress(const std::string& localPath, sockaddr_un& address, SystemFailure* failure)
{
    address = {};
    address.sun_family = AF_UNIX;
    if (localPath.size() >= sizeof address.sun_path)
        return fail(failure, "use of the socket " + toUtf8(localPath), ENAMETOOLONG);
    localPath.copy(address.sun_path, localPath.size());
    return true;
}

}  // namespace

OwnDescriptor openSocket(SystemFailure* failure)
{
    OwnDescriptor opened = OwnDescriptor::Open(
        [] { return ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); });
    if (!opened.isOpen()) fail(failure, "socket", errno);
    return opened;
}

bool listenOn(const OwnDescriptor& socket, const std::string& localPath, SystemFailure* failure)
{
    sockaddr_un address;
    if (!makeAddress(localPath, address, failure)) return false;
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return fail(failure, "bind " + toUtf8(localPath), errno);
    if (::listen(socket.get(), kBacklog) != 0)
        return fail(failure, "listen " + toUtf8(localPath), errno);
    return true;
}

bool connectTo(const OwnDescriptor& socket, const std::string& localPath, const WaitLimit& limit,
               SystemFailure* failure)
{
    sockaddr_un address;
    if (!makeAddress(localPath, address, failure)) return false;
    const auto connectOnce = [&] {
        return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    };
    while (restart(connectOnce) != 0) {
        if (errno != EAGAIN) return fail(failure, "connect " + toUtf8(localPath), errno);
        if (const int error = limit.getError())
            return fail(failure, "connect " + toUtf8(localPath), error);
        std::this_thread::sleep_for(std::chrono::milliseconds(limit.getPauseMs(kConnectPeriodMs)));
    }
    return true;
}

bool findPeer(int socket, ucred& peer, SystemFailure* failure)
{
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return fail(failure, "SO_PEERCRED", errno);
    return true;
}

short waitForSocket(int socket, short events, const WaitLimit& limit, SystemFailure* failure)
{
    pollfd waiting = {socket, events, 0};
    int error = 0;
    // The last `poll` comes after the end of the time, so that a wait without time also polls.
    do {
        error = limit.getError();
        const int count = ::poll(&waiting, 1, error != 0 ? 0 : limit.getPauseMs());
        if (count > 0) return waiting.revents;
        if (count < 0 && errno != EINTR) error = errno;
    } while (error == 0);
    fail(failure, "wait for the peer", error);
    return 0;
}

}  // namespace qz::ext
