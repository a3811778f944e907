// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "CancellationBlock.h"

namespace qz::ext {

/// The first descriptor that isn't a standard stream.
constexpr int kFirstOtherDescriptor = 3;

/// Replaces a descriptor that has the number of a standard stream, which this process has closed.
/// Otherwise programs would inherit it in place of the stream, and what this process prints would
/// go there. @return one above them; -1 after a failure, with the reason in `errno`.
inline int moveAboveStreams(int descriptor)
{
    if (descriptor < 0 || descriptor >= kFirstOtherDescriptor) return descriptor;
    const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstOtherDescriptor);
    const CancellationBlock noCancellation;
    const int savedErrno = errno;
    ::close(descriptor);
    errno = savedErrno;
    return moved;
}

/// Owns a descriptor of the system and closes it, without a change of `errno`.
class FileDescriptor {
public:
    FileDescriptor() = default;
    /// Takes over a descriptor; a negative one counts as none.
    explicit FileDescriptor(int descriptor) : mDescriptor(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : mDescriptor(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        FileDescriptor taken(std::move(other));
        std::swap(mDescriptor, taken.mDescriptor);
        return *this;
    }
    ~FileDescriptor() { close(); }

    bool isOpen() const { return mDescriptor >= 0; }
    int get() const { return mDescriptor; }
    /// Hands the descriptor over to the caller.
    int release() { return std::exchange(mDescriptor, -1); }

    /// Closes the descriptor, if there is one.
    void close()
    {
        if (!isOpen()) return;
        const CancellationBlock noCancellation;
        const int savedErrno = errno;
        ::close(release());
        errno = savedErrno;
    }

private:
    int mDescriptor = -1;
};

}  // namespace qz::ext
