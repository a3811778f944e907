// SPDX-License-Identifier: MIT
#include "FileDescriptor.h"

#include <poll.h>
#include <unistd.h>

#include "ErrnoPreserver.h"

namespace qz {

namespace {

// If the application has closed a standard stream, the system gives its number to the next file,
// and what is printed would go into that file, or to the peer of that socket.
int moveFromStandardStreams(int descriptor)
{
    if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
    const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const ErrnoPreserver preserver;
    ::close(descriptor);
    return moved;
}

}  // namespace

FileDescriptor::~FileDescriptor()
{
    const ErrnoPreserver preserver;
    close();
}

FileDescriptor FileDescriptor::Open(const char* localPath, int flags, mode_t mode)
{
    int descriptor = -1;
    do {
        descriptor = ::open(localPath, flags | O_CLOEXEC, mode);
    } while (descriptor < 0 && errno == EINTR);
    return TakeAboveStreams(descriptor);
}

FileDescriptor FileDescriptor::TakeAboveStreams(int descriptor)
{
    return FileDescriptor(moveFromStandardStreams(descriptor));
}

bool FileDescriptor::close()
{
    if (!isOpen()) return true;
    // Never again after EINTR: Linux has closed it then, and another thread may have its number.
    return ::close(release()) == 0;
}

ssize_t FileDescriptor::read(char* buffer, std::size_t size) const
{
    ssize_t got = 0;
    do {
        got = ::read(mDescriptor, buffer, size);
    } while (got < 0 && errno == EINTR);
    return got;
}

std::size_t FileDescriptor::WriteTo(int descriptor, std::string_view bytes)
{
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(descriptor, bytes.data() + written, bytes.size() - written);
        if (count > 0) {
            written += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return written;
}

bool FileDescriptor::AwaitSpace(int descriptor, int timeoutMs)
{
    pollfd polled = {descriptor, POLLOUT, 0};
    int count = 0;
    do {
        count = ::poll(&polled, 1, timeoutMs);
    } while (count < 0 && errno == EINTR);
    return count > 0 && (polled.revents & POLLOUT) != 0;
}

}  // namespace qz
