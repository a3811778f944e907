// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include <qz/ext/SystemFailure.h>
#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>
#include <qz/qzVariant.h>

namespace qz {
class qzCancelInterfaceReadOnly;
}

namespace qz::ext {

/// A device that replaces a file as a whole, or not at all.
///
/// What is written goes to a new file in the same folder. `commit` writes it to the disk and gives
/// it the name of the target. Without a `commit`, after a failed write and after a `commit` that
/// fails, the target is as it was and the new file is removed. A process that is killed, and a
/// power cut, leave the old target or the new one, never a part of either.
///
/// @code
/// qz::ext::AtomicFile file;
/// qz::ext::SystemFailure failure;
/// if (!file.openUtf8("/var/lib/shop/orders", &failure)) return report(failure);
/// file << "first line\n";
/// if (!file.commit(&failure)) return report(failure);  // a failed write shows here as well
/// @endcode
///
/// The target keeps its mode, its owner and, where there is /proc, its access control list; if the
/// system doesn't allow that, the target is not replaced. A new file gets the mode of any new file.
/// Other extended attributes of the old file are not kept, and its other names (hard links) keep
/// the old content. A symbolic link stays, and the file that it leads to is replaced or made; links
/// in the path of its folder are followed as the system does. Refused are folders (EISDIR),
/// devices, pipes and sockets (EINVAL), files that the user may not write to, links of /proc, and
/// in a folder where everybody may make files, such as /tmp, files and links of another user (all
/// EACCES). The folder must be readable and writable, and not append-only (EPERM).
///
/// Until `commit`, the new file is for its owner alone, and its name is ".saving-" and 26 random
/// letters and digits. It remains if the process is killed. If several writers commit to one
/// target, the last one wins as a whole.
///
/// Paths are in UTF-8, so the library must be started; one that can't be converted, is empty or
/// holds a zero byte is refused (EILSEQ). A child of `fork` doesn't have the file: there, the
/// object reads as closed and its destructor removes nothing. In a child of `_Fork` or `clone`, the
/// object must not be used but for the destructor, which removes nothing either.
/// Threads: an object is for one thread.
class QZ_API AtomicFile : public qzIoDevice {
public:
    /// Makes a device without a file.
    AtomicFile();
    /// Removes what was written since `openUtf8`, unless it was committed.
    ~AtomicFile() override;

    /// Makes the new file beside the target. What an earlier `openUtf8` began is discarded, and the
    /// error is cleared.
    /// @param failure receives the reason if the result is false; may be null.
    bool openUtf8(const std::string& path, SystemFailure* failure = nullptr);
    /// Lets the new file take the place of the target, and closes it.
    ///
    /// One failure comes after the replacement: if the folder can't be written to the disk, the new
    /// file is in place (see `isCommitted`), but a power cut may bring the old one back.
    /// @param failure receives the reason if the result is false, which is that of an earlier
    ///     failure if there is one; may be null.
    /// @return false for a file that isn't open or a device in error, and after a failure.
    bool commit(SystemFailure* failure = nullptr);
    /// Removes the new file and leaves the target as it is. The error stays.
    void discard();

    /// Whether there is a new file that waits for `commit`.
    bool isOpen() const;
    /// Whether the target was replaced since the last `openUtf8`.
    bool isCommitted() const;
    /// The first failure since `openUtf8`. `clearDeviceError` doesn't clear it, and nothing is
    /// written or committed after it.
    const SystemFailure& getFailure() const;

    /// Reads nothing. @return 0.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// Writes through a buffer, so that a failure may show at a later write or at `commit`.
    /// @return `size`, or 0 after a failure.
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// True: there is nothing to read.
    bool atEnd() const override;

private:
    struct QZ_LOCAL State;

    template <typename Step>
    QZ_LOCAL bool attempt(const Step& step);
    QZ_LOCAL bool refuse(const SystemFailure& reason);
    QZ_LOCAL bool writeOut();

    std::unique_ptr<State> mState;
};

/// Writes a tree of values as `SaveIniFile` does, with the same text, as a whole or not at all: see
/// `AtomicFile`. With `merge`, the content of the file is kept, and the values of `map` win.
/// Needs /proc.
/// @param failure receives the reason if the result is false, EINVAL for a value that has no text;
///     may be null.
QZ_API bool saveIniFileAtomically(const std::string& path, const qzVariant::qzVariantMapImpl& map,
                                  bool merge, SystemFailure* failure = nullptr);

/// Writes what is left to read of a device to a file, as a whole or not at all: see `AtomicFile`.
/// To save the whole content of a device with a position, move it to the first byte before.
/// @param failure receives the reason if the result is false; EIO for a source that is in error or
///     stops before its end. May be null.
QZ_API bool saveDeviceAtomically(const std::string& path, qzIoDevice& source,
                                 SystemFailure* failure = nullptr);

/// Copies a file, as a whole or not at all: the target is replaced as by `AtomicFile`, and gets the
/// permissions of the source, without the bits that change the user of a program. All errors of
/// reading and writing are reported; the `fsync` before the replacement reports what a close could.
/// @param sourcePath a regular file (otherwise EINVAL, or EISDIR), in UTF-8. Links are followed.
/// @param targetPath in UTF-8; EINVAL if it is the same file.
/// @param failure receives the reason if the result is false; may be null.
QZ_API bool copyFileChecked(const std::string& sourcePath, const std::string& targetPath,
                            SystemFailure* failure = nullptr);

/// What `removeTreeNoFollow` has done.
struct QZ_API RemovedTree {
    /// The files, links and folders that were removed.
    unsigned long removedCount = 0;
    /// How often an object couldn't be read or removed; a folder counts because of its content, and
    /// a cancel request counts once.
    unsigned long failureCount = 0;
    /// The first of these failures. The step names the object.
    SystemFailure failure;

    /// Whether nothing is left.
    explicit operator bool() const { return failureCount == 0; }
};

/// Removes a file, a link, or a folder with all its content, and nothing else.
///
/// No link is followed, except in the path of the root's own folder: a link is removed itself, also
/// one that takes the place of a folder during the work. A folder on which another file system is
/// mounted is not entered, the root included (EXDEV). A failure ends nothing: all that can be
/// removed is removed. What others remove at the same time is no failure. Folders may be nested to
/// any depth; about ten descriptors are used, and three are enough.
/// @param path in UTF-8. A path that ends in "." or "..", or leads to the root of the system, is
///     refused (EINVAL). A missing object is a failure (ENOENT).
/// @param cancel polled before each object; the failure is then ECANCELED. May be null.
QZ_API RemovedTree removeTreeNoFollow(const std::string& path,
                                      const qzCancelInterfaceReadOnly* cancel = nullptr);

}  // namespace qz::ext
