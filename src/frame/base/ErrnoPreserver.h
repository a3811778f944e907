// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

namespace qz {

/// Restores `errno` at the end of a scope to what it was at the start, so that a caller can read
/// the error of a failed call after the cleanup that follows it.
class ErrnoPreserver {
public:
    ErrnoPreserver() = default;
    ~ErrnoPreserver() { errno = mError; }
    ErrnoPreserver(const ErrnoPreserver&) = delete;
    ErrnoPreserver& operator=(const ErrnoPreserver&) = delete;

    int get() const { return mError; }

private:
    const int mError = errno;
};

}  // namespace qz
