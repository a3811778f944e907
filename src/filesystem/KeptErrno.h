#pragma once

#include <cerrno>

namespace qz::filesystem {

/// Keeps `errno` as a failed call left it, for callers that ask after it, while what belongs to the
/// failure is put in order.
class KeptErrno {
public:
    KeptErrno() = default;
    ~KeptErrno() { errno = mError; }
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;

    int get() const { return mError; }

private:
    const int mError = errno;
};

}  // namespace qz::filesystem
