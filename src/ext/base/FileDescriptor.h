#pragma once

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace qz::ext {

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
        const int savedErrno = errno;
        ::close(release());
        errno = savedErrno;
    }

private:
    int mDescriptor = -1;
};

}  // namespace qz::ext
