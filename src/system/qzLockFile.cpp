// SPDX-License-Identifier: MIT
#include <qz/qzLockFile.h>

#include <cerrno>
#include <cstddef>
#include <new>
#include <utility>

#include <qz/SystemError.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "LockedFile.h"
#include "frame/base/StandardFile.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

void addError(std::string* errorMsg, const std::string& text)
{
    if (errorMsg == nullptr) return;
    if (!errorMsg->empty()) *errorMsg += ", ";
    *errorMsg += text;
}

std::string makeContent()
{
    constexpr std::size_t kUsualSize = 63;
    std::string content;
    content.reserve(kUsualSize);
    content += "Lock from PID : ";
    content += std::to_string(qzSystemUtils::GetCurrentProcessID());
    content += ", TID : ";
    content += qzThread::CurrentThreadId();
    return content;
}

}  // namespace

qzLockFile::qzLockFile() = default;

qzLockFile::~qzLockFile()
{
    try {
        releaseLock(/*removeFile=*/true, nullptr);
    } catch (const std::bad_alloc&) {
        // The file stays, and the lock must not.
        if (mFile != nullptr) std::fclose(mFile);
    }
}

bool qzLockFile::isLocked() const
{
    return mFile != nullptr;
}

bool qzLockFile::takeLockUtf8(const std::string& path, bool* wasThere, LockType type,
                              std::string* errorMsg)
{
    if (errorMsg != nullptr) errorMsg->clear();
    if (wasThere != nullptr) *wasThere = false;
    const std::string content = makeContent();
    mPath.reserve(path.size());  // now, because memory may be short later
    system::LockedFile taken;
    const system::LockFailure failure = taken.take(text::toLocal(path), type == LockShared);
    if (failure.text != nullptr) {
        addError(errorMsg, failure.text + SystemError(failure.error).toString());
        return isLocked();
    }
    if (wasThere != nullptr) *wasThere = taken.wasThere();
    mPath = path;
    // Compatibility: the stream of a lock that the object had stays open.
    mFile = taken.takeFile().release();
    std::fwrite(content.data(), 1, content.size(), mFile);
    std::fflush(mFile);
    return true;
}

bool qzLockFile::releaseLock(bool removeFile, std::string* errorMsg)
{
    if (errorMsg != nullptr) errorMsg->clear();
    if (!isLocked()) {
        addError(errorMsg, "File is not locked");
        return false;
    }
    // Before anything is released, because memory may be short.
    const std::string localPath = removeFile ? text::toLocal(mPath) : std::string();
    mPath.clear();
    const StandardFile file(std::exchange(mFile, nullptr));
    const int descriptor = ::fileno(file.get());
    if (system::isLockOfParent(descriptor)) return true;
    // The file is removed while it is locked: whoever has opened it will find another at the path.
    const bool isRemoved = !removeFile || (system::mayRemoveLocked(file.get(), localPath) &&
                                           std::remove(localPath.c_str()) == 0);
    const bool isUnlocked = system::unlockFile(descriptor);
    if (!isUnlocked)
        addError(errorMsg, "Fail to release lock on file, " + SystemError(errno).toString());
    if (!isRemoved) addError(errorMsg, "Fail to remove lock file");
    return isUnlocked && isRemoved;
}

}  // namespace qz
