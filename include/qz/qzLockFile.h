// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <string>

#include <qz/qzExport.h>

namespace qz {

/// Lets processes exclude one another through a file.
///
/// The lock is one of the system on the open file, not the presence of the file: when a process
/// ends, however that happens, its locks are free. A file that it leaves is taken over by the next
/// taker. Two objects of one process exclude each other as well. No call waits for a lock.
///
/// The file shows the process and thread of its last taker, for people; a longer older text keeps
/// its tail. What is given as an error text receives the reasons of a failure, with ", " between
/// them; it may be null.
/// Threads: an object is for one thread.
class QZ_API qzLockFile {
public:
    /// How the lock is held.
    enum LockType : int {
        LockExclusive = 0,  ///< By one holder alone.
        LockShared = 1,     ///< By any number of holders that share it.
    };

    /// Makes an object without a lock.
    qzLockFile();
    /// Releases the lock and removes the file. Keep the file with `releaseLock`, if others may hold
    /// a shared lock on it. In a forked child, the lock and the file stay with the parent.
    ~qzLockFile();
    qzLockFile(const qzLockFile&) = delete;
    qzLockFile& operator=(const qzLockFile&) = delete;

    /// Whether the object has a lock.
    bool isLocked() const;

    /// Takes a lock on a file, which is made if it is missing. A refused lock is a failure at once.
    ///
    /// Compatibility: the taker that makes the file holds it exclusively, whatever was required. An
    /// object that has a lock and takes another one loses the first, which stays in force until the
    /// process ends; if that fails, it keeps the first and the result is true.
    /// @param path in UTF-8; its folder must exist. A link is followed. A new file gets the
    ///     permissions 0666 less the umask.
    /// @param wasThere receives whether the lock was taken on a file that existed; may be null.
    /// @param errorMsg is emptied first.
    /// @return `isLocked`.
    bool takeLockUtf8(const std::string& path, bool* wasThere, LockType type,
                      std::string* errorMsg);

    /// Releases the lock.
    ///
    /// A file that is to be removed is removed while the lock is held, and only if it still is the
    /// one that the object has locked: so there are never two exclusive holders.
    /// @param removeFile whether the file is removed; that it is gone already is a failure.
    /// @param errorMsg is emptied first.
    /// @return false if there was no lock, or a step failed; the lock is gone all the same.
    bool releaseLock(bool removeFile, std::string* errorMsg);

    /// Checks the protocol in a folder, with files of its own.
    ///
    /// Compatibility: one of its steps takes a shared lock on a file that another shared taker has
    /// made, which fails here as that one holds it exclusively; so the result is false.
    static bool UnitTestUtf8(const std::string& folder);

private:
    friend class qzLockFileTestPeer;

    std::string mPath;
    std::FILE* mFile = nullptr;  // owned; a second take loses the first one
};

}  // namespace qz
