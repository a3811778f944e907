// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// Descriptors that belong to one process.

#include <functional>
#include <utility>

namespace qz::ext {

/// Owns a descriptor that no other process gets: it is close-on-exec if `open` makes it so, it is
/// none of the standard streams, and a child of `fork` has it closed before `fork` returns there.
/// So a child neither keeps a lock, a connection or a pipe alive nor releases it.
///
/// The object of a forked child reads as closed. Children of `_Fork`, `vfork` and of the bare
/// system calls run no handler; they have the descriptor until they execute a program.
class OwnDescriptor {
public:
    OwnDescriptor() = default;
    /// Opens a descriptor. No `fork` of another thread runs meanwhile, so `open` must not block.
    /// @param open returns a descriptor, or a negative value and the reason in `errno`.
    static OwnDescriptor Open(const std::function<int()>& open);
    /// Makes a pipe. @return false after a failure, with the reason in `errno`.
    static bool OpenPipe(OwnDescriptor& read, OwnDescriptor& write);
    OwnDescriptor(OwnDescriptor&& other) noexcept
        : mDescriptor(std::exchange(other.mDescriptor, -1)), mForkCount(other.mForkCount)
    {
    }
    OwnDescriptor& operator=(OwnDescriptor&& other) noexcept
    {
        OwnDescriptor taken(std::move(other));
        std::swap(mDescriptor, taken.mDescriptor);
        std::swap(mForkCount, taken.mForkCount);
        return *this;
    }
    /// Closes the descriptor and keeps `errno`.
    ~OwnDescriptor();

    /// Closes the descriptor, if there is one.
    void close() { *this = OwnDescriptor(); }
    bool isOpen() const { return get() >= 0; }
    /// The descriptor; -1 for none.
    int get() const;

private:
    explicit OwnDescriptor(int descriptor);

    int mDescriptor = -1;
    unsigned int mForkCount = 0;  // the forks between the first process and the owner
};

}  // namespace qz::ext
