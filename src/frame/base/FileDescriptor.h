// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/types.h>

namespace qz {

/// Owns a descriptor of the system and closes it.
///
/// What it opens is close-on-exec, and a signal breaks none of its calls. A failed call leaves the
/// reason in `errno`.
class FileDescriptor {
public:
    /// The mode of new files, before the umask.
    static constexpr mode_t kDefaultMode = 0666;

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
    /// Closes the descriptor and keeps `errno`.
    ~FileDescriptor();

    /// Opens a file, named in the local character set. An empty path names nothing. The descriptor
    /// is never that of a standard stream, even if the application has closed one.
    /// @param flags those of `open`; close-on-exec is added.
    static FileDescriptor Open(const char* localPath, int flags, mode_t mode = kDefaultMode);

    /// Takes over a new descriptor, and replaces it if it has the number of a standard stream that
    /// the application has closed. If that fails, it is closed.
    static FileDescriptor TakeAboveStreams(int descriptor);

    bool isOpen() const { return mDescriptor >= 0; }
    int get() const { return mDescriptor; }
    /// Hands the descriptor over to the caller.
    int release() { return std::exchange(mDescriptor, -1); }
    /// Closes the descriptor, if there is one. @return false when the system reports an error, as
    /// it may for data that was written before. The descriptor is gone all the same.
    bool close();

    /// Reads what there is, up to `size` bytes; 0 at the end, negative for an error.
    ssize_t read(char* buffer, std::size_t size) const;
    /// Writes all bytes unless an error comes first. @return how many have been written.
    std::size_t write(std::string_view bytes) const { return WriteTo(mDescriptor, bytes); }
    /// The same for a descriptor that nobody here owns, such as that of the standard output.
    static std::size_t WriteTo(int descriptor, std::string_view bytes);

    /// Waits until a non-blocking descriptor takes bytes again.
    /// @param timeoutMs negative for no limit.
    /// @return false at the limit, or if it never will.
    static bool AwaitSpace(int descriptor, int timeoutMs);

private:
    int mDescriptor = -1;
};

}  // namespace qz
