// SPDX-License-Identifier: MIT
#include <qz/qzNamedPipe.h>

#include <cerrno>

#include <poll.h>
#include <sys/socket.h>

#include <qz/qzLogObject.h>
#include <qz/qzSystemUtils.h>

#include "DescriptorWait.h"
#include "SocketAddress.h"
#include "frame/base/FileDescriptor.h"

namespace qz {

namespace {

constexpr unsigned long kQueueSize = 10'240;
constexpr unsigned long kConnectTimeMs = 5000;
constexpr int kConnectPeriodMs = 10;
// What `select` knows as readable or exceptional; errors and hang-ups are reported in any case.
constexpr short kReadEvents = POLLIN | POLLPRI;
constexpr short kWriteEvents = POLLOUT | POLLPRI;

using system::DescriptorWait;

// Waits for the end of a connection attempt.
bool waitForConnection(int socket)
{
    const unsigned long startMs = qzSystemUtils::GetTimeBaseMs();
    do {
        const DescriptorWait wait =
            system::waitForDescriptor(socket, kWriteEvents, kConnectPeriodMs);
        if (wait == DescriptorWait::Failed) return false;
        if (wait == DescriptorWait::Ready) {
            int error = 0;
            socklen_t size = sizeof error;
            return ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
        }
    } while (qzSystemUtils::GetTimeBaseMs() - startMs < kConnectTimeMs);
    return false;
}

}  // namespace

struct qzNamedPipe::Native {
    FileDescriptor socket;
    bool writeChannelClosed : 1 = false;
    bool readChannelClosed : 1 = false;
    bool writeFailed : 1 = false;
    // Who set the socket. A forked child shares the connection with its parent, and must not end
    // it.
    long ownerPid = 0;

    void setSocket(FileDescriptor newSocket)
    {
        socket = std::move(newSocket);
        ownerPid = qzSystemUtils::GetCurrentProcessID();
    }
    void clearFlags()
    {
        writeChannelClosed = false;
        readChannelClosed = false;
        writeFailed = false;
    }
};

qzNamedPipe::qzNamedPipe()
    : mNative(std::make_unique<Native>()), mReadLimit(kQueueSize), mWriteReserve(kQueueSize)
{
    mReadQueue.reserve(mReadLimit);
    mWriteQueue.reserve(mWriteReserve);
}

qzNamedPipe::~qzNamedPipe()
{
    closeNamedPipe();
}

bool qzNamedPipe::connectToNamedPipeServerUtf8(const std::string& name)
{
    if (isConnected() || name.empty()) return false;
    mNative->clearFlags();
    const std::string localPath = system::makeSocketPath(name);
    if (system::isSocketPathTooLong(localPath)) {
        logCritical() << "Fail to create socket on qzNamedPipe::connectToNamedPipeServerUtf8, name "
                         "is too long";
        return false;
    }
    FileDescriptor socket = system::openSocket();
    if (!socket.isOpen() || system::setNonBlocking(socket.get()) != 0) return false;
    const bool isConnectedNow = system::connectSocket(socket.get(), localPath) ||
                                (errno == EINPROGRESS && waitForConnection(socket.get()));
    if (!isConnectedNow) return false;
    mName = name;
    mNative->setSocket(std::move(socket));
    return true;
}

void qzNamedPipe::processNamedPipeEvents(int timeoutMs, bool waitWhenIdle)
{
    if (!isConnected()) return;
    const bool isIdle = mReadQueue.empty() && mWriteQueue.empty();
    if (!mNative->readChannelClosed && mReadQueue.size() < mReadLimit)
        receive(waitWhenIdle && isIdle ? timeoutMs : 0);
    if (!mNative->writeChannelClosed && hasPendingWrite()) send();
}

void qzNamedPipe::receive(int timeoutMs)
{
    switch (system::waitForDescriptor(getSocket(), kReadEvents, timeoutMs)) {
        case DescriptorWait::Ready:
            receiveAvailable();
            break;
        case DescriptorWait::Failed:
            closeNamedPipe();
            break;
        case DescriptorWait::TimedOut:
            break;
    }
}

void qzNamedPipe::receiveAvailable()
{
    const std::size_t oldSize = mReadQueue.size();
    mReadQueue.resize(mReadLimit);
    ssize_t count = 0;
    do {
        count = ::recv(getSocket(), mReadQueue.data() + oldSize, mReadLimit - oldSize, 0);
    } while (count < 0 && errno == EINTR);
    // Compatibility: the queue keeps the zero bytes then.
    if (count < 0 && errno == EAGAIN) return;
    if (count <= 0) mNative->readChannelClosed = true;
    mReadQueue.resize(oldSize + (count > 0 ? static_cast<std::size_t>(count) : 0));
}

void qzNamedPipe::send()
{
    ssize_t count = 0;
    do {
        count = ::send(getSocket(), mWriteQueue.data(), mWriteQueue.size(), MSG_NOSIGNAL);
    } while (count < 0 && errno == EINTR);
    if (count >= 0) {
        mWriteQueue.erase(mWriteQueue.begin(), mWriteQueue.begin() + count);
    } else if (errno != EAGAIN) {
        mNative->writeChannelClosed = true;
        mNative->writeFailed = true;
        mWriteQueue.clear();
    }
}

void qzNamedPipe::closeNamedPipe()
{
    if (isConnected()) {
        if (mNative->ownerPid == qzSystemUtils::GetCurrentProcessID())
            ::shutdown(getSocket(), SHUT_WR);
        mNative->socket = FileDescriptor();
    }
    mName.clear();
    mReadQueue.clear();
    mWriteQueue.clear();
    mNative->clearFlags();
}

bool qzNamedPipe::isConnected() const
{
    return getSocket() != -1;
}

bool qzNamedPipe::isReadChannelClosed() const
{
    return mNative->readChannelClosed;
}

bool qzNamedPipe::isWriteChannelClosed() const
{
    return mNative->writeChannelClosed;
}

bool qzNamedPipe::hasWriteFailed() const
{
    return mNative->writeFailed;
}

bool qzNamedPipe::hasPendingWrite() const
{
    return !mWriteQueue.empty();
}

int qzNamedPipe::getSocket() const
{
    return mNative->socket.get();
}

void qzNamedPipe::setSocket(int socket)
{
    mNative->socket.release();
    mNative->setSocket(FileDescriptor(socket));
}

}  // namespace qz
