// SPDX-License-Identifier: MIT
// Connects a pipe while the system reports that the connection takes its time; the waits and the
// clock are given, so that nothing here takes real time. The argument says how it goes on:
//
//   late      the connection is made at the second wait
//   refused   the connection fails at the second wait
//   never     nothing comes
//   broken    the first wait fails
//   unknown   the result of the connection can't be read
//
// Prints the result, how many waits there were and of how many milliseconds, and the time that they
// took. Another exit code than 0 stands for other numbers than those that every release hands to
// the system.

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>

#include <qz/qzNamedPipe.h>

#include "support/LibraryStart.h"
#include "support/NextFunction.h"

namespace {

std::string gWay;
bool gIsConnecting = false;
int gWaits = 0;
int gTimeoutMs = 0;
long gClockMs = 1'000'000;
int gBacklog = 0;
std::size_t gBoundExcess = 0;  // how much longer than its path an address is said to be
std::size_t gConnectedExcess = 0;

std::size_t getExcess(const sockaddr* address, socklen_t size)
{
    return size - std::strlen(reinterpret_cast<const sockaddr_un*>(address)->sun_path);
}

}  // namespace

extern "C" int bind(int socket, const sockaddr* address, socklen_t size) noexcept
{
    gBoundExcess = getExcess(address, size);
    return qz::support::findNext<int(int, const sockaddr*, socklen_t)>("bind")(socket, address,
                                                                               size);
}

extern "C" int listen(int socket, int backlog) noexcept
{
    gBacklog = backlog;
    return qz::support::findNext<int(int, int)>("listen")(socket, backlog);
}

extern "C" int connect(int socket, const sockaddr* address, socklen_t size)
{
    gIsConnecting = true;
    gConnectedExcess = getExcess(address, size);
    qz::support::findNext<int(int, const sockaddr*, socklen_t)>("connect")(socket, address, size);
    errno = EINPROGRESS;
    return -1;
}

extern "C" int poll(pollfd* descriptors, nfds_t count, int timeoutMs)
{
    if (!gIsConnecting)
        return qz::support::findNext<int(pollfd*, nfds_t, int)>("poll")(descriptors, count,
                                                                        timeoutMs);
    ++gWaits;
    gTimeoutMs = timeoutMs;
    gClockMs += timeoutMs;
    if (gWay == "broken") {
        errno = ENOMEM;
        return -1;
    }
    if (gWay == "never" || gWaits < 2) return 0;
    descriptors->revents = POLLOUT;
    return 1;
}

extern "C" int getsockopt(int /*socket*/, int /*level*/, int /*option*/, void* value,
                          socklen_t* /*size*/) noexcept
{
    *static_cast<int*>(value) = gWay == "refused" ? ECONNREFUSED : 0;
    return gWay == "unknown" ? -1 : 0;
}

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    if (clock != CLOCK_MONOTONIC)
        return qz::support::findNext<int(clockid_t, timespec*)>("clock_gettime")(clock, now);
    now->tv_sec = gClockMs / 1000;
    now->tv_nsec = gClockMs % 1000 * 1'000'000;
    return 0;
}

int main(int argumentCount, char** arguments)
{
    if (argumentCount < 2) return 1;
    gWay = arguments[1];
    const qz::support::LibraryStart library;
    qz::qzNamedPipeServer server;
    if (!server.listenUtf8("pipe")) return 2;
    qz::qzNamedPipe pipe;
    const long startMs = gClockMs;
    const bool isConnected = pipe.connectToNamedPipeServerUtf8("pipe");
    if (isConnected != pipe.isConnected()) return 3;
    if (gBacklog != 4096) return 4;
    if (gBoundExcess != 4 || gConnectedExcess != 4) return 5;
    std::cout << (isConnected ? "connected" : "not connected") << ", " << gWaits << " waits of "
              << gTimeoutMs << " ms, " << gClockMs - startMs << " ms";
    gIsConnecting = false;
}
