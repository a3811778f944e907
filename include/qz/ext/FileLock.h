// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <qz/ext/SystemFailure.h>
#include <qz/qzExport.h>

namespace qz {
class qzCancelInterfaceReadOnly;
}

namespace qz::ext {

/// A process that holds a lock, as it has described itself in the lock file. Who may write to that
/// file can name any other process.
struct QZ_API LockHolder {
    /// Its process id, as that process sees it; 0 if unknown.
    long pid = 0;
    /// The name of its program in UTF-8, with "?" in place of what can't be shown; empty if
    /// unknown.
    std::string program;
};

/// Lets processes exclude one another through a file that stays.
///
/// The lock is one of the system on the open file (an open file description lock): it is free as
/// soon as its holder releases it or ends, however that happens. The file is never removed, so
/// waiting processes can't get locks on different files. If somebody else removes or replaces it,
/// the next taker makes a new one; so leave it alone while it is used, or check `isFileInPlace`.
/// Two objects of one process exclude each other as well. The locks of `qzLockFile` are of another
/// kind: never use both classes on one file.
///
/// A child of `fork` doesn't have the lock: there, the object reads as free, and neither the
/// child's life nor its end changes the lock of the parent. A program that the process executes
/// doesn't get the lock either.
///
/// @code
/// qz::ext::FileLock lock;
/// qz::ext::SystemFailure failure;
/// const int timeoutMs = 5000;
/// if (!lock.lockUtf8("/var/lib/shop/orders.lock", qz::ext::FileLock::Exclusive, timeoutMs,
///                    /*cancel=*/nullptr, &failure)) {
///     qz::logWarning() << failure.toString();  // names the holder if there is one
///     return;
/// }
/// changeOrders();
/// @endcode
///
/// Paths are in UTF-8, so the library must be started; one that can't be converted, is empty or
/// holds a zero byte is refused (EILSEQ). Where a function takes a failure, it receives the reason
/// if the result is false, and stays as it is otherwise; it may be null.
/// Threads: an object is for one thread.
class QZ_API FileLock {
public:
    /// How the lock is held.
    enum Mode : int {
        Exclusive = 0,  ///< By one holder alone.
        Shared = 1,     ///< By any number of holders that share it.
    };

    /// Makes an object without a lock.
    FileLock() noexcept;
    /// Releases the lock.
    ~FileLock();
    /// Takes over the lock of the other object, which has none then.
    FileLock(FileLock&& other) noexcept;
    /// Releases the lock and takes over that of the other object, which has none then.
    FileLock& operator=(FileLock&& other) noexcept;

    /// Takes a lock if it is free.
    ///
    /// A missing file is made, for the user alone; make it beforehand if others need rights. All
    /// takers need the right to write, for a shared lock as well. The file receives one line with
    /// the process id and the program. On a full disk the line is missing, and the lock is taken
    /// all the same.
    ///
    /// Refused are a symbolic link, a file with several names, one that is no regular file
    /// (EINVAL), and one with other content than such a line (EINVAL), because that would be
    /// overwritten.
    /// @param failure the error is EAGAIN if another holder has the lock, and EDEADLK if this
    ///     object has one.
    bool tryLockUtf8(const std::string& path, Mode mode, SystemFailure* failure = nullptr);

    /// Takes a lock, and waits until it is free. Waiting processes try again every 2 ms at the
    /// latest, in no fixed order: the first that tries while the lock is free gets it. A process
    /// that takes the lock again at once, in a loop, can keep the others waiting for seconds; it
    /// should leave the lock free about as long as it holds it.
    /// @param timeoutMs a negative time has no limit.
    /// @param cancel ends the wait; may be null.
    /// @param failure as for `tryLockUtf8`, and ETIMEDOUT or ECANCELED after a wait.
    bool lockUtf8(const std::string& path, Mode mode, int timeoutMs,
                  const qzCancelInterfaceReadOnly* cancel, SystemFailure* failure = nullptr);

    /// Releases the lock, if the object has one. The file stays.
    void unlock();

    /// Whether the object has a lock.
    bool isLocked() const;
    /// Whether the object has a lock, and the locked file still is the one at the path. If not,
    /// another process may have a lock on the file that is there now.
    bool isFileInPlace() const;

    /// Finds out who holds the lock of a file, without disturbing anybody.
    ///
    /// Of several that share a lock, the last taker is reported, even if it has released its lock.
    /// For a moment after a lock was taken, the holder before may be reported.
    /// @return nothing if the lock is free or the file can't be read.
    static std::optional<LockHolder> FindHolderUtf8(const std::string& path);

private:
    friend class SingleInstance;
    friend class PipeServer;
    struct Held;

    QZ_LOCAL bool tryLocal(const std::string& localPath, Mode mode, SystemFailure* failure);
    QZ_LOCAL static std::optional<LockHolder> FindHolderLocal(const std::string& localPath);

    std::unique_ptr<Held> mHeld;
};

/// Lets a program run once for each user.
///
/// The instances meet by a name, in a folder that only the user may enter: XDG_RUNTIME_DIR if it is
/// an absolute path, and otherwise one below /tmp with the claimed name and the user's number, such
/// as /tmp/orders-1000. All of them must have the same value of that variable. The library must be
/// started.
///
/// Whatever removes the file of the running instance lets a second one start, and it may be the
/// system: it can remove old files below /tmp, and XDG_RUNTIME_DIR when the user logs out. A
/// program that runs for days checks `isFileInPlace`.
///
/// @code
/// qz::ext::SingleInstance instance;
/// qz::ext::SystemFailure failure;
/// if (!instance.claim("orders", &failure)) {
///     std::cerr << "orders runs already, or can't be locked: " << failure.toString() << '\n';
///     return 1;
/// }
/// @endcode
///
/// Threads: an object is for one thread.
class QZ_API SingleInstance {
public:
    /// Makes an object without a claim.
    SingleInstance() noexcept = default;

    /// Claims the name until the end of the object or of the process.
    /// @param name in UTF-8; of 1 to 100 bytes, without a slash, and it begins with no dot.
    /// @param failure receives the reason if the result is false; may be null. The error is EAGAIN
    ///     if another instance runs, which the step then names.
    /// @return false if another instance runs, or the folder or file can't be used.
    bool claim(const std::string& name, SystemFailure* failure = nullptr);
    /// Releases the name.
    void release() { mLock.unlock(); }
    /// Whether this object has the name.
    bool isClaimed() const { return mLock.isLocked(); }
    /// Whether this object has the name, and its file still is the one that other instances find.
    /// If not, a second instance may run; to claim the name anew, release it first.
    bool isFileInPlace() const { return mLock.isFileInPlace(); }

    /// Finds the running instance of a name.
    /// @return nothing if there is none, or its folder can't be used.
    static std::optional<LockHolder> FindRunning(const std::string& name);

private:
    FileLock mLock;
};

}  // namespace qz::ext
