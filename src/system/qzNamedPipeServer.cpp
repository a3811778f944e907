// SPDX-License-Identifier: MIT
#include <cerrno>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <qz/qzLogObject.h>
#include <qz/qzNamedPipe.h>

#include "DescriptorWait.h"
#include "SocketAddress.h"
#include "frame/base/FileDescriptor.h"

namespace qz {

namespace {

constexpr int kBacklog = 4096;
constexpr int kMaxPending = 8;

using system::DescriptorWait;

bool fail(const char* text)
{
    logCritical() << text;
    return false;
}

FileDescriptor acceptConnection(int listeningSocket)
{
    int socket = -1;
    do {
        socket = ::accept4(listeningSocket, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    } while (socket < 0 && errno == EINTR);
    return FileDescriptor::TakeAboveStreams(socket);
}

}  // namespace

struct qzNamedPipeServer::Native {
    FileDescriptor socket;
};

qzNamedPipeServer::qzNamedPipeServer()
    : mNative(std::make_unique<Native>()), mMaxPending(kMaxPending)
{
}

qzNamedPipeServer::~qzNamedPipeServer()
{
    closeNamedPipeServer();
}

bool qzNamedPipeServer::listenUtf8(const std::string& name)
{
    if (!mName.empty()) return fail("Cannot listen twice in qzNamedPipeServer::listenUtf8");
    if (name.empty()) return fail("Socket name is empty in qzNamedPipeServer::listenUtf8");
    const std::string localPath = system::makeSocketPath(name);
    if (system::isSocketPathTooLong(localPath)) {
        return fail("Fail to create socket on qzNamedPipeServer::listenUtf8, name is too long");
    }
    std::string ownName = name;
    // The file of a dead server would keep its name for ever.
    ::unlink(localPath.c_str());
    if (!openSocket(localPath)) {
        mNative->socket = FileDescriptor();
        return false;
    }
    mName = std::move(ownName);
    return true;
}

bool qzNamedPipeServer::openSocket(const std::string& localPath)
{
    FileDescriptor& socket = mNative->socket;
    socket = system::openSocket();
    if (!socket.isOpen()) {
        return fail(
            "Cannot open socket in qzNamedPipeServer::listenUtf8, socket() returned "
            "INVALID_SOCKET");
    }
    if (!system::bindSocket(socket.get(), localPath))
        return fail("Fail to bind on qzNamedPipeServer::listenUtf8");
    if (::listen(socket.get(), kBacklog) != 0) {
        return fail(
            "Cannot listen to socket in qzNamedPipeServer::listenUtf8, listen() returned "
            "SOCKET_ERROR");
    }
    if (const int result = system::setNonBlocking(socket.get()); result != 0) {
        logCritical() << "Failed to set socket as non-blocking in qzNamedPipeServer::listenUtf8, "
                         "SetNonBlocking returned code "
                      << result;
        return false;
    }
    return true;
}

bool qzNamedPipeServer::waitForNewConnection(int timeoutMs, bool* timedOut)
{
    if (timedOut != nullptr) *timedOut = false;
    if (mName.empty()) return false;
    if (!mPending.empty()) return true;
    if (!waitAndAccept(timeoutMs) && timedOut != nullptr) *timedOut = true;
    return !mPending.empty();
}

void qzNamedPipeServer::processPipeServerEvents(int timeoutMs)
{
    if (mName.empty() || mPending.size() >= static_cast<std::size_t>(mMaxPending)) return;
    waitAndAccept(timeoutMs);
}

// Returns false when the time ran out.
bool qzNamedPipeServer::waitAndAccept(int timeoutMs)
{
    switch (system::waitForDescriptor(mNative->socket.get(), POLLIN | POLLPRI, timeoutMs)) {
        case DescriptorWait::TimedOut:
            return false;
        case DescriptorWait::Failed:
            closeNamedPipeServer();
            break;
        case DescriptorWait::Ready:
            acceptOne();
            break;
    }
    return true;
}

void qzNamedPipeServer::acceptOne()
{
    FileDescriptor socket = acceptConnection(mNative->socket.get());
    if (!socket.isOpen()) return;
    auto pipe = std::make_unique<qzNamedPipe>();
    mPending.push_back(pipe.get());
    pipe.release()->setSocket(socket.release());
}

void qzNamedPipeServer::closeNamedPipeServer()
{
    if (mName.empty()) return;
    for (qzNamedPipe* pipe : mPending)
        delete pipe;
    mPending.clear();
    mNative->socket = FileDescriptor();
    mName.clear();
}

}  // namespace qz
