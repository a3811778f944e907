// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "frame/base/StandardFile.h"

namespace qz::system {

/// Why a lock could not be taken; no text for a success.
struct LockFailure {
    const char* text = nullptr;
    int error = 0;
};

/// Takes a lock of the system on a file at a path.
class LockedFile {
public:
    /// Takes the lock without waiting, and makes the file if it is missing; then the lock is
    /// exclusive. Afterwards the locked file is the one at the path.
    LockFailure take(const std::string& localPath, bool isShared);

    /// Whether the file existed.
    bool wasThere() const { return mWasThere; }
    /// Hands over the stream, which holds the lock until it is closed.
    StandardFile takeFile() { return std::move(mFile); }

private:
    StandardFile mFile;
    bool mWasThere = false;
};

/// Whether this process is a forked child, and its parent took the lock. The child shares it with
/// the parent, and would release it for both. False if the system doesn't answer.
bool isLockOfParent(int descriptor);

/// Releases a lock. @return false with the reason in `errno`.
bool unlockFile(int descriptor);

/// Whether this process may remove the file at the path: it still is the locked one, and no other
/// holder of a shared lock is removing it.
bool mayRemoveLocked(std::FILE* file, const std::string& localPath);

}  // namespace qz::system
